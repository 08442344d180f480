// Two doubles to a vector on processors with AVX2: for planes of two rows or very few columns.
#include "runtime/simd/sse2.h"

#include "psfotf/kernels/kernels_impl.h"

namespace kyv::psfotf {

extern const PrecisionKernels<double> kernels_fma_double;
const PrecisionKernels<double> kernels_fma_double = make_thin_kernels<simd::F64>();

}  // namespace kyv::psfotf
