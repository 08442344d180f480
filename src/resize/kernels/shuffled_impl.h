// The row pass of few taps: a vector holds one pixel of several rows, shuffled out of their bytes.
#pragma once

#include "resize/kernels/shuffled.h"
#include "resize/kernels/unroll.h"

namespace kyv::resize {
namespace {

// One pixel of rows 0, 4, ... in v[0], of rows 1, 5, ... in v[1], and so on.
struct PixelSums {
  simd::F32 v[4];
};

// A window of each row, and the places of its pixels.
struct ShuffledWindow {
  Index offset;
  const std::uint8_t* places;
};

// The window from source position `first` on, as far as the row reaches.
template <Depth kDepth, int kChannels>
[[gnu::always_inline]] inline ShuffledWindow window_at(const ShuffledArgs& args, Index first) noexcept {
  constexpr Index kPixelBytes = kChannels * sample_bytes(kDepth);
  constexpr Index kReach = shuffled_reach(kPixelBytes);
  constexpr Index kLeft = 1 - shuffled_pixels(kDepth);
  const Index last = args.usable_size - kReach;
  if (static_cast<std::size_t>(first) <= static_cast<std::size_t>(last)) [[likely]] {
    return {first * kPixelBytes, args.places};
  }
  const auto places_of = [&](Index distance) noexcept {
    return args.places + distance * shuffled_pixels(kDepth) * kShuffledBytes;
  };
  if (first < 0) return {0, places_of(first < kLeft ? kLeft : first)};
  return {args.usable_size * kPixelBytes - kShuffledBytes,
          places_of(first < last + kReach ? first - last : kReach - 1)};
}

// The sums of one pixel of kTaps taps.
template <Depth kDepth, int kChannels, int kTaps>
[[gnu::always_inline]] inline PixelSums shuffled_taps(const ShuffledArgs& args, Index first,
                                                      const float* weights) noexcept {
  constexpr Index kPixels = shuffled_pixels(kDepth);
  PixelSums sums;
  unroll<0, 4>([&](auto row) { sums.v[row] = simd::broadcast(0.0f); });
  unroll<0, (kTaps + kPixels - 1) / kPixels>([&](auto number) {
    constexpr Index kFirst = number * kPixels;
    constexpr Index kEnd = kFirst + kPixels < kTaps ? kFirst + kPixels : kTaps;
    const ShuffledWindow window = window_at<kDepth, kChannels>(args, first + kFirst);
    const std::uint8_t* const source = args.source + window.offset;
    simd::Raw raw[4];
    unroll<0, 4>([&](auto row) { raw[row] = simd::load_quads(source + row * args.step, args.step); });
    unroll<kFirst, kEnd>([&](auto tap) {
      const simd::QuadPlaces places = simd::load_places(window.places + (tap - kFirst) * kShuffledBytes);
      const simd::F32 weight = simd::broadcast(weights[tap]);
      unroll<0, 4>([&](auto row) {
        sums.v[row] = simd::mul_add(weight, simd::quads_to_float(raw[row], places), sums.v[row]);
      });
    });
  });
  return sums;
}

template <Depth kDepth, int kChannels>
[[gnu::always_inline]] inline PixelSums shuffled_pixel(const ShuffledArgs& args,
                                                       const TapSpan& span) noexcept {
  const float* const weights = args.table.weights_of(span);
  return with_count<kShuffledTaps>(span.count, [&](auto taps) {
    return shuffled_taps<kDepth, kChannels, taps>(args, span.first, weights);
  });
}

// Flat, so that the sums stay in registers; with arguments of its own, which no store can change.
template <Depth kDepth, int kChannels>
[[gnu::flatten]] void shuffled_pass(const ShuffledArgs& given) noexcept {
  const ShuffledArgs args = given;
  Index offset = 0;
  for (Index i = 0; i < args.count; ++i, offset += kChannels) {
    const PixelSums sums = shuffled_pixel<kDepth, kChannels>(args, args.table.spans[args.first + i]);
    unroll<0, 4>([&](auto row) { simd::store_pixel(sums.v[row], args.out + row, offset); });
  }
}

constexpr ShuffledKernels shuffled_kernels() noexcept {
  return {.rows = simd::F32::kLanes,
          .pass = {{shuffled_pass<kDepth8, 3>, shuffled_pass<kDepth8, 4>},
                   {shuffled_pass<kDepth16, 3>, shuffled_pass<kDepth16, 4>}}};
}

}  // namespace
}  // namespace kyv::resize
