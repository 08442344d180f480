// Compilers' own vectors of whole numbers: samples, and sums of twice their size. Only what widens samples is
// code of an instruction set's own.
//
// A unit includes its simd header first, whose words say how long vectors are.
#pragma once

#include <type_traits>
#include <utility>

#include "resize/kernels/taps.h"

namespace kyv::resize {
namespace {

constexpr Index kSumBytes = sizeof(simd::Words);  // of a vector of sums
constexpr Index kShortSumBytes = 16;

// kBytes bytes of sums of 8-bit or 16-bit samples, and as many samples.
template <Depth kDepth, Index kBytes>
struct IntegerVectors {
  using Sample = std::conditional_t<kDepth == kDepth8, std::uint8_t, std::uint16_t>;
  using Sum = std::conditional_t<kDepth == kDepth8, std::uint16_t, std::uint32_t>;
  static constexpr Index kLanes = kBytes / static_cast<Index>(sizeof(Sum));
  using Samples [[gnu::vector_size(kLanes * sizeof(Sample))]] = Sample;
  using Sums [[gnu::vector_size(kBytes)]] = Sum;
};

template <class V>
[[gnu::always_inline]] inline typename V::Sums load_as_sums(const std::uint8_t* p) noexcept {
  if constexpr (std::is_same_v<typename V::Sums, simd::Words>) {
    return simd::load_words(p);
  } else if constexpr (std::is_same_v<typename V::Sums, simd::Longs>) {
    return simd::load_longs(p);
  } else {
    typename V::Samples samples;
    __builtin_memcpy(&samples, p, sizeof samples);
    return __builtin_convertvector(samples, typename V::Sums);
  }
}

// The sums of a line, as they are, or widened from words.
template <class V, class Sum>
[[gnu::always_inline]] inline typename V::Sums load_sums(const Sum* line) noexcept {
  if constexpr (sizeof(Sum) == sizeof(typename V::Sum)) {
    typename V::Sums sums;
    __builtin_memcpy(&sums, line, sizeof sums);
    return sums;
  } else {
    return load_as_sums<V>(reinterpret_cast<const std::uint8_t*>(line));
  }
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

// Fills a line of sums: sum_at(x) for `samples` samples, and kHalo pixels on either side of them. `left` and
// `right` of these may be asked for, the others are like the outermost one.
template <class V, Index kChannels, Index kHalo, class SumAt>
[[gnu::always_inline]] inline void fill_line(typename V::Sum* line, Index samples, Index left, Index right,
                                             const SumAt& sum_at) noexcept {
  const auto fill = [&](Index x) noexcept {
    const typename V::Sums sums = sum_at(x);
    __builtin_memcpy(line + x, &sums, sizeof sums);
  };
  const Index first = -left * kChannels;
  const Index end = samples + right * kChannels;
  for (Index x = first; x < end - V::kLanes; x += V::kLanes) fill(x);
  fill(end - V::kLanes);
  for (Index x = first - 1; x >= -kHalo * kChannels; --x) line[x] = line[x + kChannels];
  for (Index x = end; x < samples + kHalo * kChannels; ++x) line[x] = line[x - kChannels];
  const typename V::Sums zeros = {};
  __builtin_memcpy(line + samples + kHalo * kChannels, &zeros, sizeof zeros);
}

// Divided by 2^shift and rounded to nearest, ties to even.
template <class Sums>
[[gnu::always_inline]] inline Sums divide_rounded(Sums sums, int shift) noexcept {
  using Sum = std::remove_cvref_t<decltype(sums[0])>;
  return (sums + ((sums >> shift) & 1) + static_cast<Sum>((1 << shift) / 2 - 1)) >> shift;
}

// Writes the first kWhole of a vector's samples to place `x` of a row of `samples`. What follows them is
// written, too, where it lies within the row: the next vector has it.
template <Index kWhole, class Vector>
[[gnu::always_inline]] inline void store_whole(Vector vector, std::uint8_t* row, Index x,
                                               Index samples) noexcept {
  constexpr Index kSample = sizeof(vector[0]);
  constexpr Index kLanes = static_cast<Index>(sizeof vector) / kSample;
  if (kWhole == kLanes || x + kLanes <= samples) {
    __builtin_memcpy(row + x * kSample, &vector, sizeof vector);
  } else {
    const Vector part = vector;  // in memory here alone
    __builtin_memcpy(row + x * kSample, &part, static_cast<std::size_t>(kWhole * kSample));
  }
}

}  // namespace
}  // namespace kyv::resize
