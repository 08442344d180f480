#include "runtime/simd/sse2.h"

#include "psfotf/kernels/kernels_impl.h"

namespace kyv::psfotf {

extern const PrecisionKernels<float> kernels_sse2_single;
const PrecisionKernels<float> kernels_sse2_single = make_kernels<simd::F32>();

}  // namespace kyv::psfotf
