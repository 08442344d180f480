// The kernels of doubling, written once against compilers' vectors of integers.
#pragma once

#include "resize/kernels/doubling.h"
#include "resize/kernels/integer_vectors.h"

namespace kyv::resize {
namespace {

constexpr int kSixteenths = 4;  // a sum of both axes is of 2^this parts

// Where sample `lane` of pairs of doubled pixels is found: lanes of a sum have the sample of the left pixel,
// then that of the right one.
template <Index kChannels>
constexpr int lane_of_doubled(Index lane, Index lanes) noexcept {
  const Index pair = lane / (2 * kChannels);
  if ((pair + 1) * 2 * kChannels > lanes) return -1;  // not used
  const Index in_pair = lane % (2 * kChannels);
  return static_cast<int>(2 * (pair * kChannels + in_pair % kChannels) + in_pair / kChannels);
}

template <Index kChannels, class Doubled, std::size_t... kLane>
[[gnu::always_inline]] inline Doubled in_pixels(const Doubled& pairs,
                                                std::index_sequence<kLane...>) noexcept {
  return __builtin_shufflevector(pairs, pairs, lane_of_doubled<kChannels>(kLane, sizeof...(kLane))...);
}

// The last vector begins early enough to be whole, and finds some samples once more.
template <class V, Index kChannels>
[[gnu::always_inline]] inline void double_vectors(const DoublingArgs& args) noexcept {
  using Sample = typename V::Sample;
  using Sums = typename V::Sums;
  using Doubled [[gnu::vector_size(sizeof(Sums))]] = Sample;
  constexpr Index kBytes = sizeof(Sample);
  constexpr Index kWhole = V::kLanes / kChannels * kChannels;
  // Three parts of the near row and one of the far row.
  typename V::Sum line[kDoubledSamples + 2 * kChannels + V::kLanes];
  typename V::Sum* const mixed = line + kChannels;
  fill_line<V, kChannels, 1>(mixed, args.samples, args.left, args.right, [&](Index x) noexcept {
    const auto nearer = load_as_sums<V>(args.near_row + x * kBytes);
    return nearer + nearer + nearer + load_as_sums<V>(args.far_row + x * kBytes);
  });

  const auto double_vector = [&](Index x) noexcept {
    const Sums centre = load_sums<V>(mixed + x);
    const Sums thrice = centre + centre + centre;
    const Sums left = divide_rounded(thrice + load_sums<V>(mixed + x - kChannels), kSixteenths);
    const Sums right = divide_rounded(thrice + load_sums<V>(mixed + x + kChannels), kSixteenths);
    const auto pairs = reinterpret_cast<Doubled>(left | (right << (8 * kBytes)));
    const auto doubled =
        in_pixels<kChannels>(pairs, std::make_index_sequence<static_cast<std::size_t>(2 * V::kLanes)>());
    store_whole<2 * kWhole>(doubled, args.dst, 2 * x, 2 * args.samples);
  };
  const Index last = args.samples - kWhole;
  for (Index x = 0; x < last; x += kWhole) double_vector(x);
  double_vector(last);
}

template <Depth kDepth, Index kChannels>
void double_row(const DoublingArgs& given) noexcept {
  const DoublingArgs args = given;  // which no store can change
  using Long = IntegerVectors<kDepth, kSumBytes>;
  if (args.samples >= Long::kLanes) return double_vectors<Long, kChannels>(args);
  double_vectors<IntegerVectors<kDepth, kShortSumBytes>, kChannels>(args);
}

constexpr DoublingKernels doubling_kernels() noexcept {
  // RGB of 16 bits leaves a quarter of 32 bytes idle: in the caches it is faster by other ways.
  return {.least_samples = kShortSumBytes / 2,
          .write = {{double_row<kDepth8, 1>, double_row<kDepth8, 3>, double_row<kDepth8, 4>},
                    {double_row<kDepth16, 1>, kSumBytes == 32 ? nullptr : double_row<kDepth16, 3>,
                     double_row<kDepth16, 4>}}};
}

}  // namespace
}  // namespace kyv::resize
