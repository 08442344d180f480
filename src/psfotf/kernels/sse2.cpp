#include "runtime/simd/sse2.h"

#include "psfotf/kernels/kernels_impl.h"

namespace kyv::psfotf {

extern const Kernels kernels_scalar;
extern const Kernels kernels_sse2;
const Kernels kernels_sse2 = make_kernels(&kernels_scalar);

}  // namespace kyv::psfotf
