// The kernels of folded rows, written against the words and floats of an instruction set.
#pragma once

#include "resize/kernels/bytes.h"
#include "resize/kernels/folds.h"
#include "resize/kernels/unroll.h"
#include "runtime/memory_model.h"

namespace kyv::resize {
namespace {

using simd::Words;

constexpr Index kWords = sizeof(Words) / sizeof(std::uint16_t);
constexpr int kFoldVectors = 4;  // of a tile: what a row's pointer costs is shared
constexpr auto kFoldedLine = static_cast<Index>(runtime::kCacheLine);

// kVectors vectors of sums from sample `x` on.
template <int kVectors, bool kEdges>
[[gnu::always_inline]] inline void fold_tile(const FoldArgs& args, Index x) noexcept {
  Words sums[kVectors] = {};
  for (Index row = 0; row < args.count; ++row) {
    const std::uint8_t* const p = args.rows[row] + x;
    for (Index at = 0; args.ahead != 0 && at < kVectors * kWords; at += kFoldedLine) {
      prefetch<false>(p + args.ahead + at);
    }
    unroll<0, kVectors>([&](auto i) { sums[i] += simd::load_words(p + i * kWords); });
  }
  const auto shift = static_cast<std::uint16_t>(args.shift);
  unroll<0, kVectors>([&](auto i) {
    sums[i] <<= shift;
    if constexpr (kEdges) {
      const Words above = simd::load_words(args.edges[0] + x + i * kWords) << shift;
      const Words below = simd::load_words(args.edges[1] + x + i * kWords) << shift;
      sums[i] += simd::sum_parts(above, below, args.parts);
    }
    __builtin_memcpy(args.sums + x + i * kWords, &sums[i], sizeof sums[i]);
  });
}

// The last tile begins early enough to be whole, and finds some sums once more.
template <int kVectors, bool kEdges>
void fold_tiles(const FoldArgs& given) noexcept {
  const FoldArgs args = given;  // which no store can change
  const Index last = args.samples - kVectors * kWords;
  for (Index x = 0;; x = x + kVectors * kWords < last ? x + kVectors * kWords : last) {
    fold_tile<kVectors, kEdges>(args, x);
    if (x == last) return;
  }
}

template <bool kEdges>
void fold_row(const FoldArgs& args) noexcept {
  if (args.samples < kFoldVectors * kWords) return fold_tiles<1, kEdges>(args);
  fold_tiles<kFoldVectors, kEdges>(args);
}

void fold(const FoldArgs& args) noexcept {
  if (args.edges[0] == nullptr) return fold_row<false>(args);
  fold_row<true>(args);
}

// Adding and subtracting it rounds to a whole number, ties to even: floats from 2^23 on have no fractions.
constexpr float kToWhole = 12582912.0f;

// Lanes of kVectors vectors are a tile; each has a bit for a doubtful value.
Index round_folded(const FoldedValues& v, Index* doubtful) noexcept {
  using simd::F32;
  constexpr int kVectors = static_cast<int>(kFoldedTile) / F32::kLanes;
  const F32 scale = simd::broadcast(v.scale);
  const F32 to_whole = simd::broadcast(kToWhole);
  const F32 limit = simd::broadcast(v.limit * v.limit);
  Index count = 0;
  for (Index x = 0; x < v.samples; x += kFoldedTile) {
    F32 values[kVectors];
    std::uint64_t doubts = 0;
    unroll<0, kVectors>([&](auto i) {
      values[i] = simd::load(v.sums + x + i * F32::kLanes) * scale;
      const F32 rest = values[i] - ((values[i] + to_whole) - to_whole);
      doubts |= std::uint64_t{simd::lanes_less(limit, rest * rest)} << (i * F32::kLanes);
    });
    const Index samples = v.samples - x < kFoldedTile ? v.samples - x : kFoldedTile;
    std::uint8_t bytes[kFoldedTile];
    std::uint8_t* const to = samples == kFoldedTile ? v.dst + x : bytes;
    unroll<0, kVectors / 4>([&](auto i) {
      simd::store_rounded(to + i * (4 * F32::kLanes), values[4 * i], values[4 * i + 1], values[4 * i + 2],
                          values[4 * i + 3]);
    });
    if (to == bytes) __builtin_memcpy(v.dst + x, bytes, static_cast<std::size_t>(samples));
    // Compilers write the instruction that counts zeros as one that older processors lack.
    for (Index place = x; doubts != 0;) {
      const int step = (doubts & 0xFF) == 0 ? 8 : 1;
      if ((doubts & 1) != 0 && place < v.samples) doubtful[count++] = place;
      place += step;
      doubts >>= step;
    }
  }
  return count;
}

inline Index byte_of_tap(const SampleTaps& taps, Index tap) noexcept {
  const Index position = taps.first + tap < 0 ? 0 : taps.first + tap;
  return (position < taps.last ? position : taps.last) * taps.pixel;
}

// The row results of kRows rows from `row` on: side by side, as each sum waits for itself.
template <int kRows>
[[gnu::always_inline]] inline void sum_rows(const SampleTaps& taps, Index row, float* results) noexcept {
  float sums[kRows] = {};
  for (Index tap = 0; tap < taps.count; ++tap) {
    const Index byte = byte_of_tap(taps, tap);
    const float weight = taps.weights[tap];
    unroll<0, kRows>([&](auto i) {
      const auto sample = static_cast<float>(taps.rows[row + i][byte]);
      sums[i] = __builtin_fmaf(weight, sample, sums[i]);
    });
  }
  unroll<0, kRows>([&](auto i) { results[row + i] = sums[i]; });
}

std::uint8_t sum_fused(const SampleTaps& taps) noexcept {
  float results[kTapBlock];
  Index row = 0;
  for (; taps.row_count - row >= 4; row += 4) sum_rows<4>(taps, row, results);
  for (; row < taps.row_count; ++row) sum_rows<1>(taps, row, results);
  float sum = 0.0f;
  for (row = 0; row < taps.row_count; ++row) {
    sum = __builtin_fmaf(taps.row_weights[row], results[row], sum);
  }
  return static_cast<std::uint8_t>((sum + kToWhole) - kToWhole);
}

// Lanes are rows, the last one repeated.
[[maybe_unused]] std::uint8_t sum_lanes(const SampleTaps& taps) noexcept {
  constexpr Index kLanes = simd::F32::kLanes;
  float results[kTapBlock + kLanes];
  for (Index row = 0; row < taps.row_count; row += kLanes) {
    simd::Sum sum = simd::zero_sum();
    for (Index tap = 0; tap < taps.count; ++tap) {
      const Index byte = byte_of_tap(taps, tap);
      float samples[kLanes];
      for (Index i = 0; i < kLanes; ++i) {
        samples[i] = taps.rows[row + i < taps.row_count ? row + i : taps.row_count - 1][byte];
      }
      sum = simd::accumulate_any(simd::load_weight(taps.weights + tap), simd::load_samples(samples), sum);
    }
    simd::store(results + row, simd::value_of(sum));
  }
  simd::Sum sum = simd::zero_sum();
  for (Index row = 0; row < taps.row_count; ++row) {
    const simd::F32 result = simd::broadcast(results[row]);
    float samples[kLanes];
    simd::store(samples, result);
    sum = simd::accumulate_any(simd::load_weight(taps.row_weights + row), simd::load_samples(samples), sum);
  }
  float lanes[kLanes];
  simd::store(lanes, simd::value_of(sum));
  return static_cast<std::uint8_t>((lanes[0] + kToWhole) - kToWhole);
}

constexpr FoldKernels fold_kernels() noexcept {
  return {.least_samples = kWords,
          .fold = fold,
          .round = round_folded,
          .exact = simd::kHasFusedMultiplyAdd ? sum_fused : sum_lanes};
}

}  // namespace
}  // namespace kyv::resize
