// The kernels of block means, written once against compilers' vectors of integers: they need no operation
// that differs between instruction sets.
#pragma once

#include <type_traits>
#include <utility>

#include "resize/kernels/bytes.h"
#include "resize/kernels/means.h"
#include "runtime/memory_model.h"

namespace kyv::resize {
namespace {

constexpr Index kSumBytes = sizeof(simd::Words);  // of a vector of sums
constexpr Index kShortSumBytes = 16;

// kBytes bytes of sums of 8-bit or 16-bit samples, and as many samples.
template <Depth kDepth, Index kBytes>
struct MeanVectors {
  using Sample = std::conditional_t<kDepth == kDepth8, std::uint8_t, std::uint16_t>;
  using Sum = std::conditional_t<kDepth == kDepth8, std::uint16_t, std::uint32_t>;
  static constexpr Index kLanes = kBytes / static_cast<Index>(sizeof(Sum));
  using Samples [[gnu::vector_size(kLanes * sizeof(Sample))]] = Sample;
  using Sums [[gnu::vector_size(kBytes)]] = Sum;
};

template <class V>
[[gnu::always_inline]] inline typename V::Sums load_as_sums(const std::uint8_t* p) noexcept {
  typename V::Samples samples;
  __builtin_memcpy(&samples, p, sizeof samples);
  return __builtin_convertvector(samples, typename V::Sums);
}

// Sums of the rows of kLanes samples from `p` on.
template <class V>
[[gnu::always_inline]] inline typename V::Sums sum_block_rows(const MeanArgs& args,
                                                              const std::uint8_t* p) noexcept {
  typename V::Sums sums = load_as_sums<V>(p);
  for (Index row = 1; row < args.rows; ++row) sums += load_as_sums<V>(p + row * args.src_step);
  return sums;
}

// Which of two vectors' lanes holds channel `lane % kChannels` of the left or right pixel of a pair. The
// second vector begins `second` samples after the first.
template <class V, Index kChannels>
constexpr int lane_of(Index lane, Index right, Index second) noexcept {
  const Index sample = (2 * (lane / kChannels) + right) * kChannels + lane % kChannels;
  if (lane >= V::kLanes / kChannels * kChannels) return -1;  // not used
  return static_cast<int>(sample < second ? sample : V::kLanes + sample - second);
}

// The sums of neighbouring pixels of two vectors.
template <class V, Index kChannels, Index kSecond, class Sums, std::size_t... kLane>
[[gnu::always_inline]] inline Sums sum_pairs(const Sums& a, const Sums& b,
                                             std::index_sequence<kLane...>) noexcept {
  return __builtin_shufflevector(a, b, lane_of<V, kChannels>(kLane, 0, kSecond)...) +
         __builtin_shufflevector(a, b, lane_of<V, kChannels>(kLane, 1, kSecond)...);
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
  const auto below_half = static_cast<typename V::Sum>((1 << args.shift) / 2 - 1);
  const Index last = args.samples - kWhole;
  for (Index x = 0;; x = x + kWhole < last ? x + kWhole : last) {
    const std::uint8_t* const blocks = args.src + (x << kWidth) * static_cast<Index>(sizeof(Sample));
    prefetch_blocks<(kWhole << kWidth) * static_cast<Index>(sizeof(Sample))>(args, blocks);
    typename V::Sums sums = sum_blocks<V, kChannels, kWidth>(args, blocks);
    sums += ((sums >> args.shift) & 1) + below_half;
    const auto means = __builtin_convertvector(sums >> args.shift, typename V::Samples);
    __builtin_memcpy(args.dst + x * static_cast<Index>(sizeof(Sample)), &means, kWhole * sizeof(Sample));
    if (x == last) return;
  }
}

template <Depth kDepth, Index kChannels, int kWidth>
void mean_row(const MeanArgs& given) noexcept {
  const MeanArgs args = given;  // which no store can change
  using Long = MeanVectors<kDepth, kSumBytes>;
  if (args.samples >= Long::kLanes) return mean_vectors<Long, kChannels, kWidth>(args);
  mean_vectors<MeanVectors<kDepth, kShortSumBytes>, kChannels, kWidth>(args);
}

// Whether the means of blocks so wide pay. Only vectors of 64 bytes are permuted by one instruction; without
// it colours take longer than by other ways where their shuffles are many.
template <Depth kDepth, Index kChannels>
constexpr bool pays(int width) noexcept {
  if (kSumBytes == 64 || kChannels == 1 || width == 0) return true;
  if (kSumBytes == 32) return width == 1 && !(kChannels == 3 && kDepth == kDepth16);
  return width == 1 || !(kChannels == 3 && kDepth == kDepth8);
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
