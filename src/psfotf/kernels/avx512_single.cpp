#include "runtime/simd/avx512.h"

#include "psfotf/kernels/kernels_impl.h"
#include "psfotf/kernels/squares_of_8.h"

namespace kyv::psfotf {

extern const PrecisionKernels<float> kernels_avx512_single;
const PrecisionKernels<float> kernels_avx512_single = make_kernels<simd::F32>(SquareOf8<float>::code());

}  // namespace kyv::psfotf
