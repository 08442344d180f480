// The row pass whose lanes are destination samples of one row: the source's bytes are permuted to the lanes.
//
// A Pick has a type Window and two functions: `load(address, places)` reads one, and `pick(window, index)` is
// kLaneCount floats, lane i holding the sample that index[i] names. It works on up to kRows rows at a time.
#pragma once

#include "resize/kernels/kernels.h"
#include "resize/kernels/unroll.h"

namespace kyv::resize {
namespace {

// With 8 registers windows stay in memory, and four sums are all that there is room for.
constexpr bool kFewLaneRegisters = sizeof(void*) == 4;
template <class Pick, int kPixels>
constexpr int rows_at_once() noexcept {
  constexpr int kMost = 4 / kPixels;
  return kFewLaneRegisters && kMost < Pick::kRows ? kMost : Pick::kRows;
}

// Keeps windows in memory: compilers would load them before a loop, and then store them for want of
// registers.
template <class Windows>
[[gnu::always_inline]] inline void leave_in_memory(Windows& windows) noexcept {
  asm inline("" : "+m"(windows));
}

// The windows of the rows and the lanes' places in them, for the next `left` positions.
struct LaneCursor {
  simd::Lanes index;
  std::ptrdiff_t offset;  // bytes from the rows' starts to the next window
  std::int32_t left = 0;
};

template <class Pick, int kRows>
struct LaneWindows {
  typename Pick::Window v[kRows];
};

template <int kPixels, int kRows>
struct LaneSums {
  simd::LaneFloats v[kPixels][kRows];
};

// Adds the samples at the next `count` positions to the sums [kFirst, kEnd) of every lane.
template <class Pick, int kFirst, int kEnd, int kPixels, int kRows>
[[gnu::always_inline]] inline void add_positions(const LanePassArgs& args, int first_row,
                                                 const float* pattern, simd::Lanes step, LaneCursor& cursor,
                                                 LaneWindows<Pick, kRows>& windows,
                                                 LaneSums<kPixels, kRows>& sums,
                                                 const float* const (&weights)[2],
                                                 std::int32_t count) noexcept {
  const float* w[2] = {weights[0], weights[1]};
  while (count > 0) {
    if (cursor.left == 0) {
      unroll<0, kRows>([&](auto row) {
        windows.v[row] = Pick::load(args.rows[first_row + row] + cursor.offset, pattern + kLaneCount);
      });
      cursor.offset += args.window_step;
      cursor.index = simd::load_lanes(pattern);
      cursor.left = args.window_positions;
    }
    const std::int32_t run = count < cursor.left ? count : cursor.left;
    count -= run;
    cursor.left -= run;
    for (std::int32_t i = 0; i < run; ++i) {
      if constexpr (kFewLaneRegisters) leave_in_memory(windows);
      simd::LaneFloats weight[2];
      unroll<kFirst, kEnd>([&](auto pixel) {
        weight[pixel] = simd::load_lane_floats(w[pixel]);
        w[pixel] += kLaneCount;
      });
      unroll<0, kRows>([&](auto row) {
        const simd::LaneFloats samples = Pick::pick(windows.v[row], cursor.index);
        unroll<kFirst, kEnd>([&](auto pixel) {
          sums.v[pixel][row] = simd::mul_add(weight[pixel], samples, sums.v[pixel][row]);
        });
      });
      cursor.index = simd::advance(cursor.index, step);
    }
  }
}

template <int kPixels, int kRows>
[[gnu::always_inline]] inline void store_sums(const LanePassArgs& args, int first_row,
                                              const LaneSums<kPixels, kRows>& sums, std::size_t at) noexcept {
  unroll<0, kRows>([&](auto row) {
    float* const out = args.out[first_row + row] + at;
    if constexpr (kPixels == 1) {
      simd::store_lane_floats(out, sums.v[0][row]);
    } else {
      simd::store_interleaved(out, sums.v[0][row], sums.v[1][row], args.interleave, args.channels);
    }
  });
}

// Fetches what the next rows' groups begin with, `offset` bytes from the rows' starts.
template <int kRows>
[[gnu::always_inline]] inline void fetch_ahead(const LanePassArgs& args, int first_row,
                                               std::ptrdiff_t offset) noexcept {
  constexpr std::ptrdiff_t kLine = 64;
  for (std::ptrdiff_t byte = 0; byte < args.fetched; byte += kLine) {
    unroll<0, kRows>([&](auto row) { fetch<true>(args.rows[first_row + row] + offset + args.ahead + byte); });
  }
}

// One group, of the rows from `first_row` on that are computed at once.
template <class Pick, int kPixels>
[[gnu::always_inline]] inline void lane_group(const LanePassArgs& args, std::int32_t number, int first_row,
                                              simd::Lanes step) noexcept {
  const LaneGroup& group = args.groups[number];
  const float* pattern = args.patterns + group.pattern * args.stride;
  const float* weights[2] = {pattern + 2 * kLaneCount, pattern + (2 + args.taps[0]) * kLaneCount};

  constexpr int kRows = rows_at_once<Pick, kPixels>();
  LaneCursor cursor;
  LaneWindows<Pick, kRows> windows;
  cursor.offset = static_cast<std::ptrdiff_t>(group.first - args.origin) * args.pixel_bytes;
  fetch_ahead<kRows>(args, first_row, cursor.offset);
  LaneSums<kPixels, kRows> sums;
  unroll<0, kPixels>([&](auto pixel) {
    unroll<0, kRows>([&](auto row) { sums.v[pixel][row] = simd::zero_lane_floats(); });
  });
  if constexpr (kPixels == 1) {
    add_positions<Pick, 0, 1>(args, first_row, pattern, step, cursor, windows, sums, weights, args.taps[0]);
  } else {
    const std::int32_t shared = args.taps[0] - args.lead;
    add_positions<Pick, 0, 1>(args, first_row, pattern, step, cursor, windows, sums, weights, args.lead);
    weights[0] += args.lead * kLaneCount;
    add_positions<Pick, 0, 2>(args, first_row, pattern, step, cursor, windows, sums, weights, shared);
    weights[1] += shared * kLaneCount;
    add_positions<Pick, 1, 2>(args, first_row, pattern, step, cursor, windows, sums, weights,
                              args.taps[1] - shared);
  }
  store_sums(args, first_row, sums, static_cast<std::size_t>(number) * args.group_samples);
}

template <class Pick, int kPixels>
void lane_pass(const LanePassArgs& args) noexcept {
  const simd::Lanes step = simd::broadcast_lanes(args.index_step);
  for (std::int32_t i = 0; i < args.count; ++i) {
    for (int row = 0; row < kLaneRows; row += rows_at_once<Pick, kPixels>())
      lane_group<Pick, kPixels>(args, i, row, step);
  }
}

}  // namespace
}  // namespace kyv::resize
