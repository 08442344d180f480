#include "runtime/simd/scalar.h"

#include "psfotf/kernels/kernels_impl.h"

namespace kyv::psfotf {

extern const Kernels kernels_scalar;
const Kernels kernels_scalar = make_kernels(nullptr);

}  // namespace kyv::psfotf
