#include "runtime/simd/scalar.h"

#include "psfotf/kernels/kernels_impl.h"

namespace kyv::psfotf {

extern const PrecisionKernels<float> kernels_scalar_single;
const PrecisionKernels<float> kernels_scalar_single = make_kernels<simd::F32>();

}  // namespace kyv::psfotf
