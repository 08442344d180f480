// The kernel sets of the psfotf service: the tables of their units, each with the set to fall back on.
#include "psfotf/kernels/kernels.h"

namespace kyv::psfotf {

extern const PrecisionKernels<float> kernels_scalar_single;
extern const PrecisionKernels<double> kernels_scalar_double;
extern const PrecisionKernels<float> kernels_neon_single;
extern const PrecisionKernels<double> kernels_neon_double;
extern const PrecisionKernels<float> kernels_sse2_single;
extern const PrecisionKernels<double> kernels_sse2_double;
extern const PrecisionKernels<double> kernels_fma_double;
extern const PrecisionKernels<float> kernels_avx2_single;
extern const PrecisionKernels<double> kernels_avx2_double;
extern const PrecisionKernels<float> kernels_avx512_single;
extern const PrecisionKernels<double> kernels_avx512_double;

extern const Kernels kernels_scalar;
extern const Kernels kernels_neon;
extern const Kernels kernels_sse2;
extern const Kernels kernels_fma;
extern const Kernels kernels_avx2;
extern const Kernels kernels_avx512;

constinit const Kernels kernels_scalar{kernels_scalar_single, kernels_scalar_double, nullptr};
#ifdef __aarch64__
constinit const Kernels kernels_neon{kernels_neon_single, kernels_neon_double, &kernels_scalar};
#else
constinit const Kernels kernels_sse2{kernels_sse2_single, kernels_sse2_double, &kernels_scalar};
// Between these two, pairs of doubles with AVX2's multiply-adds.
constinit const Kernels kernels_fma{kernels_sse2_single, kernels_fma_double, &kernels_sse2};
constinit const Kernels kernels_avx2{kernels_avx2_single, kernels_avx2_double, &kernels_fma};
#ifndef KYVMATH_WITHOUT_AVX512
constinit const Kernels kernels_avx512{kernels_avx512_single, kernels_avx512_double, &kernels_avx2};
#endif
#endif

}  // namespace kyv::psfotf
