// The kernels of the resize service, written once against the vector type of runtime/simd.
// A unit includes its simd header first, then what suits it, then this one.
#pragma once

#include "resize/kernels/bytes_impl.h"
#include "resize/kernels/columns_impl.h"
#include "resize/kernels/kernels.h"
#include "resize/kernels/transposed_impl.h"
#include "resize/kernels/weights_impl.h"

namespace kyv::resize {
namespace {

// What every set gives, and its own kernels of bytes and row passes.
constexpr Kernels make_kernels(ByteKernels bytes, FoldKernels folds = {}, IntegerKernels integers = {},
                               RunningKernels running = {}, PermutedKernels permuted = {},
                               ShuffledKernels shuffled = {}) noexcept {
  // Where the multiply-add is fused, both entries are the same function.
  constexpr bool kShortcut = !simd::kHasFusedMultiplyAdd;
  return {
      .transposed = {.lanes = simd::F32::kLanes,
                     .rgb_groups = kRgbGroups,
                     .load = {{load_rows<8, kSampleVectors>, load_rows<8, kPixelVectors>},
                              {load_rows<16, kSampleVectors>, load_rows<16, kPixelVectors>}},
                     .sum = {{transposed_sums<1, false>, transposed_sums<1, kShortcut>},
                             {transposed_sums<3 * kRgbGroups, false>,
                              transposed_sums<3 * kRgbGroups, kShortcut>},
                             {transposed_sums<4, false>, transposed_sums<4, kShortcut>}},
                     .store = {store_rows<kSampleVectors>, store_rows<kPixelVectors>}},
      .running = running,
      .permuted = permuted,
      .shuffled = shuffled,
      .columns = {.sum = {column_sums<8>, column_sums<16>},
                  .add_block = add_column_block,
                  .round = {round_row<8>, round_row<16>}},
      .folds = folds,
      .integers = integers,
      .bytes = bytes,
      .lanczos = lanczos_weights,
  };
}

}  // namespace
}  // namespace kyv::resize
