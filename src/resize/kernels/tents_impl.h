// The kernels of tents, written once against compilers' vectors of integers.
#pragma once

#include "resize/kernels/bytes.h"
#include "resize/kernels/integer_vectors.h"
#include "resize/kernels/tents.h"

namespace kyv::resize {
namespace {

// The sums of 2 * kBlock rows with the weights of a tent, from byte `at` on. The two rows of a weight are
// added first; the sum of (2 i + 1) * pair i is a sum of sums, from the innermost pair on.
template <class V, Index kBlock>
[[gnu::always_inline]] inline typename V::Sums sum_tent_rows(const TentArgs& args, Index at) noexcept {
  using Sums = typename V::Sums;
  const auto pair = [&](Index i) noexcept {
    return load_as_sums<V>(args.rows[i] + at) + load_as_sums<V>(args.rows[2 * kBlock - 1 - i] + at);
  };
  Sums sum = pair(kBlock - 1);
  Sums sums = sum;
  for (Index i = kBlock - 2; i > 0; --i) {
    sum += pair(i);
    sums += sum;
  }
  return sum + pair(0) + sums + sums;
}

// A sample's pixel and its neighbour in the tent, half a block off and outside the block: on which side that
// is, and the weights of both.
template <Index kChannels, Index kBlock>
struct TentLane {
  Index in_block;

  constexpr explicit TentLane(Index sample) noexcept : in_block(sample / kChannels % kBlock) {}
  constexpr bool is_left() const noexcept { return in_block < kBlock / 2; }
  constexpr Index inner() const noexcept {
    return kBlock + 1 + 2 * (is_left() ? in_block : kBlock - 1 - in_block);
  }
  constexpr Index outer() const noexcept { return inner() - kBlock; }
};

template <class Sums, Index kChannels, Index kBlock, Index kBase, std::size_t... kLane>
[[gnu::always_inline]] inline Sums sum_tent_halves(Sums inner, Sums left, Sums right,
                                                   std::index_sequence<kLane...>) noexcept {
  using Lane = TentLane<kChannels, kBlock>;
  using Sum = std::remove_cvref_t<decltype(inner[0])>;
  constexpr auto kLanes = static_cast<int>(sizeof...(kLane));
  const Sums outer = __builtin_shufflevector(
      left, right, (Lane(kBase + static_cast<Index>(kLane)).is_left() ? int{kLane} : kLanes + int{kLane})...);
  if constexpr (kBlock == 2) {
    return inner + inner + inner + outer;
  } else {
    constexpr Sums kInner = {static_cast<Sum>(Lane(kBase + static_cast<Index>(kLane)).inner())...};
    constexpr Sums kOuter = {static_cast<Sum>(Lane(kBase + static_cast<Index>(kLane)).outer())...};
    return inner * kInner + outer * kOuter;
  }
}

// The sums of 2^kWidth neighbouring pixels, each with its neighbour in the tent, from sums of rows in a line:
// in as many lanes as are whole pixels. Of whole blocks they are tents. The line begins kBase samples after a
// block.
template <class V, class Sum, Index kChannels, Index kBlock, int kWidth, Index kBase = 0>
[[gnu::always_inline]] inline typename V::Sums sum_tents(const Sum* line) noexcept {
  using Sums = typename V::Sums;
  if constexpr (kWidth == 0) {
    constexpr Index kHalf = kBlock / 2 * kChannels;
    return sum_tent_halves<Sums, kChannels, kBlock, kBase>(
        load_sums<V>(line), load_sums<V>(line - kHalf), load_sums<V>(line + kHalf),
        std::make_index_sequence<static_cast<std::size_t>(V::kLanes)>());
  } else {
    constexpr Index kSecond = V::kLanes / kChannels * kChannels;
    constexpr Index kNext = kSecond << (kWidth - 1);
    const Sums a = sum_tents<V, Sum, kChannels, kBlock, kWidth - 1, kBase>(line);
    const Sums b = sum_tents<V, Sum, kChannels, kBlock, kWidth - 1, kBase + kNext>(line + kNext);
    return sum_pairs<V, kChannels, kSecond>(a, b,
                                            std::make_index_sequence<static_cast<std::size_t>(V::kLanes)>());
  }
}

// V of a line's sums, Wide of a tent's. The last vector begins early enough to be whole, and finds some
// samples once more.
template <class V, class Wide, Index kChannels, int kShift>
[[gnu::always_inline]] inline void tent_vectors(const TentArgs& args) noexcept {
  using Results [[gnu::vector_size(Wide::kLanes * sizeof(typename V::Sample))]] = typename V::Sample;
  constexpr Index kBytes = sizeof(typename V::Sample);
  constexpr Index kBlock = Index{1} << kShift;
  constexpr Index kHalo = kBlock / 2 * kChannels;
  constexpr Index kWhole = Wide::kLanes / kChannels * kChannels;
  typename V::Sum line[kTentSamples + 2 * kHalo + V::kLanes + (Wide::kLanes << kShift)];
  typename V::Sum* const sums = line + kHalo;
  fill_line<V, kChannels, kBlock / 2>(sums, args.samples << kShift, args.left, args.right,
                                      [&](Index x) noexcept {
                                        for (Index row = kBlock; args.ahead != 0 && row < 2 * kBlock; ++row) {
                                          prefetch<false>(args.rows[row] + args.ahead + x * kBytes);
                                        }
                                        return sum_tent_rows<V, kBlock>(args, x * kBytes);
                                      });
  const auto write = [&](Index x) noexcept {
    const auto tents = sum_tents<Wide, typename V::Sum, kChannels, kBlock, kShift>(sums + (x << kShift));
    const auto results = __builtin_convertvector(divide_rounded(tents, 4 * kShift + 2), Results);
    store_whole<kWhole>(results, args.dst, x, args.samples);
  };
  const Index last = args.samples - kWhole;
  for (Index x = 0; x < last; x += kWhole) write(x);
  write(last);
}

// Sums of a tent of 8-bit samples fit 16 bits at 2 : 1 alone.
template <Depth kDepth, Index kChannels, int kShift>
void tent_row(const TentArgs& given) noexcept {
  const TentArgs args = given;  // which no store can change
  constexpr Depth kWide = kShift == 1 ? kDepth : kDepth16;
  using Long = IntegerVectors<kDepth, kSumBytes>;
  if (args.samples >= Long::kLanes) {
    return tent_vectors<Long, IntegerVectors<kWide, kSumBytes>, kChannels, kShift>(args);
  }
  using Short = IntegerVectors<kDepth, kShortSumBytes>;
  tent_vectors<Short, IntegerVectors<kWide, kShortSumBytes>, kChannels, kShift>(args);
}

template <Index kChannels>
constexpr void list_tents(TentKernels& kernels) noexcept {
  auto& of_bytes = kernels.write[kDepth8][kChannels / 2];
  of_bytes[0] = tent_row<kDepth8, kChannels, 1>;
  of_bytes[1] = tent_row<kDepth8, kChannels, 2>;
  of_bytes[2] = tent_row<kDepth8, kChannels, 3>;
  kernels.write[kDepth16][kChannels / 2][0] = tent_row<kDepth16, kChannels, 1>;
}

constexpr TentKernels tent_kernels() noexcept {
  TentKernels kernels{.least_samples = kShortSumBytes / 2};
  list_tents<1>(kernels);
  list_tents<3>(kernels);
  list_tents<4>(kernels);
  return kernels;
}

}  // namespace
}  // namespace kyv::resize
