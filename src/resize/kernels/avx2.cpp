#include "resize/kernels/simd_avx2.h"

#include "resize/kernels/folds_impl.h"
#include "resize/kernels/integer_kernels.h"
#include "resize/kernels/permuted_windows.h"
#include "resize/kernels/running_impl.h"
#include "resize/kernels/shuffled_impl.h"
#include "resize/kernels/transposition_vector.h"

#include "resize/kernels/kernels_impl.h"

namespace kyv::resize {
namespace {

// A byte of a shuffle whose top bit is set becomes 0.
constexpr PermutedKernels kPermuted{
    .depth = {permuted_quarters<simd::QuarterWindows, 8>({.first = 0x80808000u, .step = 1}),
              permuted_quarters<simd::QuarterWindows, 16>({.first = 0x80800100u, .step = 0x0202u})},
    .quarters = true};

}  // namespace

extern const Kernels kernels_avx2;
const Kernels kernels_avx2 = make_kernels(byte_kernels<simd::QuadPicker>(), fold_kernels(), integer_kernels(),
                                          running_kernels(), kPermuted, shuffled_kernels());

}  // namespace kyv::resize
