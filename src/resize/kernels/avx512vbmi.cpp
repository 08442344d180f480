#include "resize/kernels/simd_avx512vbmi.h"

#include "resize/kernels/folds_impl.h"
#include "resize/kernels/integer_kernels.h"
#include "resize/kernels/lane_windows.h"
#include "resize/kernels/permuted_windows.h"
#include "resize/kernels/running_impl.h"
#include "resize/kernels/transposition_vector.h"

#include "resize/kernels/kernels_impl.h"

namespace kyv::resize {
namespace {

constexpr PermutedKernels kPermuted{
    .depth = {permuted_vectors<simd::NarrowWindow, simd::WideWindow, 8>(lane_windows_kernel<8>()),
              permuted_vectors<simd::NarrowWindow, simd::WideWindow, 16>(lane_windows_kernel<16>())},
    .quarters = false};

}  // namespace

extern const Kernels kernels_avx512vbmi;
const Kernels kernels_avx512vbmi = make_kernels(byte_kernels<simd::VectorPicker>(), fold_kernels(),
                                                integer_kernels(), running_kernels(), kPermuted);

}  // namespace kyv::resize
