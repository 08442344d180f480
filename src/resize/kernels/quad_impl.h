// The row pass of few taps: a vector holds one pixel of several rows, permuted out of their bytes.
#pragma once

#include "resize/kernels/kernels.h"
#include "resize/kernels/unroll.h"

namespace kyv::resize {
namespace {

// One pixel of rows 0, 4, ... in v[0], of rows 1, 5, ... in v[1], and so on.
struct QuadSums {
  simd::F32 v[4];
};

// A window of each row, and the quads that tell the places of its pixels.
struct QuadWindow {
  std::ptrdiff_t offset;
  const std::uint8_t* places;
};

// The window from source position `first` on, as far as the row reaches.
template <int kBits, int kChannels>
[[gnu::always_inline]] inline QuadWindow window_at(const QuadPassArgs& args, std::int64_t first) noexcept {
  constexpr std::int64_t kPixelBytes = kChannels * kBits / 8;
  constexpr std::int64_t kReach = quad_reach(kPixelBytes);
  constexpr std::int64_t kLeft = 1 - kQuadPixels<kBits>;
  const std::int64_t last = args.usable_size - kReach;
  if (static_cast<std::uint64_t>(first) <= static_cast<std::uint64_t>(last)) [[likely]] {
    return {static_cast<std::ptrdiff_t>(first * kPixelBytes), args.places};
  }
  const auto places_of = [&](std::int64_t distance) noexcept {
    return args.places + distance * kQuadPixels<kBits> * kQuadBytes;
  };
  if (first < 0) return {0, places_of(first < kLeft ? kLeft : first)};
  return {static_cast<std::ptrdiff_t>(args.usable_size * kPixelBytes - kQuadBytes),
          places_of(first < last + kReach ? first - last : kReach - 1)};
}

// The sums of one pixel of kTaps taps.
template <int kBits, int kChannels, int kTaps>
[[gnu::always_inline]] inline QuadSums quad_taps(const QuadPassArgs& args, std::int64_t first,
                                                 const float* weights) noexcept {
  constexpr int kPixels = kQuadPixels<kBits>;
  QuadSums sums;
  unroll<0, 4>([&](auto row) { sums.v[row] = simd::broadcast(0.0f); });
  unroll<0, (kTaps + kPixels - 1) / kPixels>([&](auto number) {
    constexpr int kFirst = number * kPixels;
    constexpr int kEnd = kFirst + kPixels < kTaps ? kFirst + kPixels : kTaps;
    const QuadWindow window = window_at<kBits, kChannels>(args, first + kFirst);
    const std::uint8_t* const source = args.source + window.offset;
    simd::Raw raw[4];
    unroll<0, 4>([&](auto row) { raw[row] = simd::load_quads(source + row * args.step, args.step); });
    unroll<kFirst, kEnd>([&](auto tap) {
      const simd::QuadPlaces places = simd::load_places(window.places + (tap - kFirst) * kQuadBytes);
      const simd::F32 weight = simd::broadcast(weights[tap]);
      unroll<0, 4>([&](auto row) {
        sums.v[row] = simd::mul_add(weight, simd::quads_to_float(raw[row], places), sums.v[row]);
      });
    });
  });
  return sums;
}

template <int kBits, int kChannels>
[[gnu::always_inline]] inline QuadSums quad_pixel(const QuadPassArgs& args, const TapSpan& span) noexcept {
  const float* const weights = args.table.weights + span.phase * args.table.stride;
  return with_count<kQuadTaps>(
      span.count, [&](auto taps) { return quad_taps<kBits, kChannels, taps>(args, span.first, weights); });
}

// Flat, so that the sums stay in registers; with arguments of its own, which no store can change.
template <int kBits, int kChannels>
[[gnu::flatten]] void quad_pass(const QuadPassArgs& given) noexcept {
  const QuadPassArgs args = given;
  std::size_t offset = 0;
  for (std::int32_t i = 0; i < args.count; ++i, offset += kChannels) {
    const QuadSums sums = quad_pixel<kBits, kChannels>(args, args.table.spans[args.first + i]);
    unroll<0, 4>([&](auto row) { simd::store_pixel(sums.v[row], args.out + row, offset); });
  }
}

constexpr QuadPasses kQuadPasses{
    .rows = simd::F32::kLanes,
    .pass = {{quad_pass<8, 3>, quad_pass<8, 4>}, {quad_pass<16, 3>, quad_pass<16, 4>}}};

}  // namespace
}  // namespace kyv::resize
