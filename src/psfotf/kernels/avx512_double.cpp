#include "runtime/simd/avx512.h"

#include "psfotf/kernels/kernels_impl.h"
#include "psfotf/kernels/squares_of_8.h"

namespace kyv::psfotf {

extern const PrecisionKernels<double> kernels_avx512_double;
const PrecisionKernels<double> kernels_avx512_double = make_kernels<simd::F64>(SquareOf8<double>::code());

}  // namespace kyv::psfotf
