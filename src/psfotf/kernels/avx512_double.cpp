#include "runtime/simd/avx512.h"

#include "psfotf/kernels/kernels_impl.h"

namespace kyv::psfotf {

extern const PrecisionKernels<double> kernels_avx512_double;
const PrecisionKernels<double> kernels_avx512_double = make_kernels<simd::F64>();

}  // namespace kyv::psfotf
