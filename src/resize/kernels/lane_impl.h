// The row pass whose lanes are destination samples of one row: the source's bytes are permuted to the lanes.
//
// A Pick has a type Window and two functions: `load(address)` reads one, and `pick(window, index)` is a
// vector of floats, lane i holding the window's sample number index[i].
#pragma once

#include "resize/kernels/kernels.h"
#include "resize/kernels/unroll.h"

namespace kyv::resize {
namespace {

static_assert(kLaneCount == simd::F32::kLanes);

// The windows of the rows and the lanes' places in them, for the next `left` positions.
template <class Pick>
struct LaneCursor {
  typename Pick::Window windows[kLaneRows];
  simd::Lanes index;
  std::ptrdiff_t offset;  // bytes from the rows' starts to the next window
  std::int32_t left = 0;
};

template <int kPixels>
struct LaneSums {
  simd::F32 v[kPixels][kLaneRows];
};

// Adds the samples at the next `count` positions to the sums [kFirst, kEnd) of every lane.
template <class Pick, int kFirst, int kEnd, int kPixels>
[[gnu::always_inline]] inline void add_positions(const LanePassArgs& args, simd::Lanes first_index,
                                                 simd::Lanes step, LaneCursor<Pick>& cursor,
                                                 LaneSums<kPixels>& sums, const float* const (&weights)[2],
                                                 std::int32_t count) noexcept {
  const float* w[2] = {weights[0], weights[1]};
  while (count > 0) {
    if (cursor.left == 0) {
      unroll<0, kLaneRows>(
          [&](auto row) { cursor.windows[row] = Pick::load(args.rows[row] + cursor.offset); });
      cursor.offset += args.window_step;
      cursor.index = first_index;
      cursor.left = args.window_positions;
    }
    const std::int32_t run = count < cursor.left ? count : cursor.left;
    count -= run;
    cursor.left -= run;
    for (std::int32_t i = 0; i < run; ++i) {
      simd::F32 weight[2];
      unroll<kFirst, kEnd>([&](auto pixel) {
        weight[pixel] = simd::load(w[pixel]);
        w[pixel] += kLaneCount;
      });
      unroll<0, kLaneRows>([&](auto row) {
        const simd::F32 samples = Pick::pick(cursor.windows[row], cursor.index);
        unroll<kFirst, kEnd>([&](auto pixel) {
          sums.v[pixel][row] = simd::mul_add(weight[pixel], samples, sums.v[pixel][row]);
        });
      });
      cursor.index = simd::advance(cursor.index, step);
    }
  }
}

template <int kPixels>
[[gnu::always_inline]] inline void store_sums(const LanePassArgs& args, const LaneSums<kPixels>& sums,
                                              std::size_t at) noexcept {
  unroll<0, kLaneRows>([&](auto row) {
    float* const out = args.out[row] + at;
    if constexpr (kPixels == 1) {
      simd::store(out, sums.v[0][row]);
    } else {
      simd::store_interleaved(out, sums.v[0][row], sums.v[1][row], args.interleave);
    }
  });
}

template <class Pick, int kPixels>
void lane_pass(const LanePassArgs& args) noexcept {
  const simd::Lanes step = simd::broadcast_lanes(args.channels);
  for (std::int32_t i = 0; i < args.count; ++i) {
    const LaneGroup& group = args.groups[i];
    const float* pattern = args.patterns + group.pattern * args.stride;
    const simd::Lanes index = simd::load_lanes(pattern);
    const float* weights[2] = {pattern + kLaneCount, pattern + (1 + args.taps[0]) * kLaneCount};

    LaneCursor<Pick> cursor;
    cursor.offset = static_cast<std::ptrdiff_t>(group.first - args.origin) * args.pixel_bytes;
    LaneSums<kPixels> sums;
    unroll<0, kPixels>([&](auto pixel) {
      unroll<0, kLaneRows>([&](auto row) { sums.v[pixel][row] = simd::broadcast(0.0f); });
    });
    if constexpr (kPixels == 1) {
      add_positions<Pick, 0, 1>(args, index, step, cursor, sums, weights, args.taps[0]);
    } else {
      const std::int32_t shared = args.taps[0] - args.lead;
      add_positions<Pick, 0, 1>(args, index, step, cursor, sums, weights, args.lead);
      weights[0] += args.lead * kLaneCount;
      add_positions<Pick, 0, 2>(args, index, step, cursor, sums, weights, shared);
      weights[1] += shared * kLaneCount;
      add_positions<Pick, 1, 2>(args, index, step, cursor, sums, weights, args.taps[1] - shared);
    }
    store_sums(args, sums, static_cast<std::size_t>(i) * args.group_samples);
  }
}

struct NarrowWords {
  using Window = simd::NarrowWindow;
  static Window load(const std::uint8_t* p) noexcept { return simd::load_narrow(p); }
  static simd::F32 pick(Window window, simd::Lanes index) noexcept { return simd::pick_words(window, index); }
};

struct WideWords {
  using Window = simd::WideWindow;
  static Window load(const std::uint8_t* p) noexcept { return simd::load_wide(p); }
  static simd::F32 pick(Window window, simd::Lanes index) noexcept { return simd::pick_words(window, index); }
};

constexpr LaneDepth kLaneWords{{{lane_pass<NarrowWords, 1>, lane_pass<NarrowWords, 2>},
                                {lane_pass<WideWords, 1>, lane_pass<WideWords, 2>}}};

}  // namespace
}  // namespace kyv::resize
