#include "runtime/simd/avx2.h"

#include "psfotf/kernels/kernels_impl.h"

namespace kyv::psfotf {

extern const PrecisionKernels<float> kernels_avx2_single;
const PrecisionKernels<float> kernels_avx2_single = make_kernels<simd::F32>();

}  // namespace kyv::psfotf
