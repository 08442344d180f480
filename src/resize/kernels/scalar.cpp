#include "resize/kernels/simd_scalar.h"

#include "resize/kernels/transposition_scalar.h"

#include "resize/kernels/kernels_impl.h"

namespace kyv::resize {

extern const Kernels kernels_scalar;
const Kernels kernels_scalar = make_kernels({});

}  // namespace kyv::resize
