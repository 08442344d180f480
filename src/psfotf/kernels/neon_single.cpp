#include "runtime/simd/neon.h"

#include "psfotf/kernels/kernels_impl.h"

namespace kyv::psfotf {

extern const PrecisionKernels<float> kernels_neon_single;
const PrecisionKernels<float> kernels_neon_single = make_kernels<simd::F32>();

}  // namespace kyv::psfotf
