// The kernels of block means, written once against compilers' vectors of integers: they need no operation
// that differs between instruction sets.
#pragma once

#include "resize/kernels/bytes.h"
#include "resize/kernels/integer_vectors.h"
#include "resize/kernels/means.h"
#include "runtime/memory_model.h"

namespace kyv::resize {
namespace {

// Sums of the rows of kLanes samples from `p` on.
template <class V>
[[gnu::always_inline]] inline typename V::Sums sum_block_rows(const MeanArgs& args,
                                                              const std::uint8_t* p) noexcept {
  typename V::Sums sums = load_as_sums<V>(p);
  for (Index row = 1; row < args.rows; ++row) sums += load_as_sums<V>(p + row * args.src_step);
  return sums;
}

// The sums of blocks 2^kWidth pixels wide from `p` on: in as many lanes as are whole pixels.
template <class V, Index kChannels, int kWidth>
[[gnu::always_inline]] inline typename V::Sums sum_blocks(const MeanArgs& args,
                                                          const std::uint8_t* p) noexcept {
  if constexpr (kWidth == 0) {
    return sum_block_rows<V>(args, p);
  } else {
    constexpr Index kWhole = V::kLanes / kChannels * kChannels;
    // Nothing beyond the blocks is read.
    constexpr Index kSecond = kWidth == 1 ? 2 * kWhole - V::kLanes : kWhole;
    constexpr Index kBytes = (kSecond << (kWidth - 1)) * static_cast<Index>(sizeof(typename V::Sample));
    const auto a = sum_blocks<V, kChannels, kWidth - 1>(args, p);
    const auto b = sum_blocks<V, kChannels, kWidth - 1>(args, p + kBytes);
    return sum_pairs<V, kChannels, kSecond>(a, b, std::make_index_sequence<V::kLanes>());
  }
}

// Prefetches what lies `args.ahead` bytes beyond the kBytes bytes from `p` on in each row of the blocks.
template <Index kBytes>
[[gnu::always_inline]] inline void prefetch_blocks(const MeanArgs& args, const std::uint8_t* p) noexcept {
  if (args.ahead == 0) return;
  p += args.ahead;
  for (Index row = 0; row < args.rows; ++row, p += args.src_step) {
    for (Index at = 0; at < kBytes; at += static_cast<Index>(runtime::kCacheLine)) prefetch<false>(p + at);
  }
}

// The last vector begins early enough to be whole, and finds some means once more.
template <class V, Index kChannels, int kWidth>
[[gnu::always_inline]] inline void mean_vectors(const MeanArgs& args) noexcept {
  using Sample = typename V::Sample;
  constexpr Index kWhole = kWidth == 0 ? V::kLanes : V::kLanes / kChannels * kChannels;
  const Index last = args.samples - kWhole;
  for (Index x = 0;; x = x + kWhole < last ? x + kWhole : last) {
    const std::uint8_t* const blocks = args.src + (x << kWidth) * static_cast<Index>(sizeof(Sample));
    prefetch_blocks<(kWhole << kWidth) * static_cast<Index>(sizeof(Sample))>(args, blocks);
    const auto means = divide_rounded(sum_blocks<V, kChannels, kWidth>(args, blocks), args.shift);
    store_whole<kWhole>(__builtin_convertvector(means, typename V::Samples), args.dst, x, args.samples);
    if (x == last) return;
  }
}

template <Depth kDepth, Index kChannels, int kWidth>
void mean_row(const MeanArgs& given) noexcept {
  const MeanArgs args = given;  // which no store can change
  using Long = IntegerVectors<kDepth, kSumBytes>;
  if (args.samples >= Long::kLanes) return mean_vectors<Long, kChannels, kWidth>(args);
  mean_vectors<IntegerVectors<kDepth, kShortSumBytes>, kChannels, kWidth>(args);
}

// Whether the means of blocks so wide pay: vectors of 16 bytes need many shuffles for RGB of bytes.
template <Depth kDepth, Index kChannels>
constexpr bool pays(int width) noexcept {
  return kSumBytes > kShortSumBytes || width <= 1 || kChannels != 3 || kDepth != kDepth8;
}

template <Depth kDepth, Index kChannels>
constexpr void list_means(MeanKernels& kernels) noexcept {
  auto& means = kernels.mean[kDepth][kChannels / 2];
  means[0] = mean_row<kDepth, kChannels, 0>;
  if (pays<kDepth, kChannels>(1)) means[1] = mean_row<kDepth, kChannels, 1>;
  if (pays<kDepth, kChannels>(2)) means[2] = mean_row<kDepth, kChannels, 2>;
}

constexpr MeanKernels mean_kernels() noexcept {
  MeanKernels kernels{.least_samples = kShortSumBytes / 2};
  list_means<kDepth8, 1>(kernels);
  list_means<kDepth8, 3>(kernels);
  list_means<kDepth8, 4>(kernels);
  list_means<kDepth16, 1>(kernels);
  list_means<kDepth16, 3>(kernels);
  list_means<kDepth16, 4>(kernels);
  return kernels;
}

}  // namespace
}  // namespace kyv::resize
