#include "runtime/simd/neon.h"

#include "psfotf/kernels/kernels_impl.h"

namespace kyv::psfotf {

extern const PrecisionKernels<double> kernels_neon_double;
const PrecisionKernels<double> kernels_neon_double = make_kernels<simd::F64>();

}  // namespace kyv::psfotf
