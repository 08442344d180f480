#include "runtime/simd/sse2.h"

#include "psfotf/kernels/kernels_impl.h"

namespace kyv::psfotf {

extern const PrecisionKernels<double> kernels_sse2_double;
const PrecisionKernels<double> kernels_sse2_double = make_kernels<simd::F64>();

}  // namespace kyv::psfotf
