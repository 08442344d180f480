#include "runtime/simd/scalar.h"

#include "psfotf/kernels/kernels_impl.h"

namespace kyv::psfotf {

extern const PrecisionKernels<double> kernels_scalar_double;
const PrecisionKernels<double> kernels_scalar_double = make_kernels<simd::F64>();

}  // namespace kyv::psfotf
