// The words that all stages share: how things are counted, samples, and taps.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kyv::resize {

// Counts and places of pixels, samples and bytes: a row of an image fits the address space.
using Index = std::ptrdiff_t;

enum Depth : std::uint8_t { kDepth8, kDepth16, kDepths };  // bits of a sample

constexpr Index sample_bytes(Depth depth) noexcept { return depth == kDepth8 ? 1 : 2; }

constexpr Index rounded_up(Index n, Index multiple) noexcept {
  return (n + multiple - 1) / multiple * multiple;
}

// Taps of one block: the products of a block are summed from zero, the blocks' sums are added in order.
inline constexpr Index kTapBlock = 128;

// The taps of one destination index on its axis.
struct TapSpan {
  Index first = 0;  // source position of the first tap; may lie outside the source
  std::int32_t count = 0;
  std::uint32_t phase = 0;  // number of its row of weights

  [[gnu::always_inline]] constexpr Index end() const noexcept { return first + count; }
};

// One axis' weight table.
struct TapTable {
  const TapSpan* spans = nullptr;
  const float* weights = nullptr;  // `stride` floats per phase
  Index stride = 0;

  [[gnu::always_inline]] const float* weights_of(const TapSpan& span) const noexcept {
    return weights + static_cast<Index>(span.phase) * stride;
  }
};

// Whether `b` starts at one of the taps of `a` and ends with it or later: they share samples then.
[[gnu::always_inline]] inline bool overlap(const TapSpan& a, const TapSpan& b) noexcept {
  return b.first >= a.first && b.first < a.first + a.count && b.first + b.count >= a.first + a.count;
}

}  // namespace kyv::resize
