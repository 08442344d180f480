// The row pass whose lanes are destination samples of one row: the source's bytes are permuted to the lanes.
//
// A Pick has a type Window and two functions: `load(address, windows)` reads one, and `pick(window, codes)`
// is kPermutedLanes floats, lane i holding the sample whose place codes[i] tells. It works on up to kRows
// rows at a time.
#pragma once

#include "resize/kernels/bytes.h"
#include "resize/kernels/permuted.h"
#include "resize/kernels/unroll.h"
#include "runtime/memory_model.h"

namespace kyv::resize {
namespace {

// With 8 registers windows stay in memory, and four sums are all that there is room for.
constexpr bool kWindowsInMemory = runtime::kFewRegisters;
template <class Pick, int kPixels>
constexpr int rows_at_once() noexcept {
  constexpr int kMost = 4 / kPixels;
  return kWindowsInMemory && kMost < Pick::kRows ? kMost : Pick::kRows;
}

// Keeps windows in memory: compilers would load them before a loop, and then store them for want of
// registers.
template <class Windows>
[[gnu::always_inline]] inline void leave_in_memory(Windows& windows) noexcept {
  asm inline("" : "+m"(windows));
}

// With 16 registers the weights of one pixel stay in memory, where each row's multiply-add reads them: they
// would take the registers of a window, and that would be stored and loaded again.
constexpr bool kWeightsInMemory = simd::kRegisters == 16;

// The weights at `from` as if they had never been loaded before.
[[gnu::always_inline]] inline simd::LaneFloats load_weights_again(const float* from) noexcept {
  asm inline("" : "+r"(from));
  return simd::load_lane_floats(from);
}

// The windows of the rows and the lanes' places in them, for the next `left` positions.
struct WindowCursor {
  simd::Lanes codes;
  Index offset;  // bytes from the rows' starts to the next window
  Index left = 0;
};

template <class Pick, int kRows>
struct RowWindows {
  typename Pick::Window v[kRows];
};

template <int kPixels, int kRows>
struct GroupSums {
  simd::LaneFloats v[kPixels][kRows];
};

// Loads the rows' windows at the cursor, which moves on by one.
template <class Pick, int kRows>
[[gnu::always_inline]] inline void load_windows(const PermutedArgs& args, int first_row,
                                                const PatternLanes& lanes, WindowCursor& cursor,
                                                RowWindows<Pick, kRows>& windows) noexcept {
  unroll<0, kRows>([&](auto row) {
    windows.v[row] = Pick::load(args.rows[first_row + row] + cursor.offset, lanes.windows);
  });
  cursor.offset += args.window_step;
  cursor.codes = simd::load_lanes(lanes.codes);
  cursor.left = args.window_positions;
}

// Adds the samples at the next `count` positions to the sums [kFirst, kEnd) of every lane. With `kLoaded` the
// windows that are there serve all of them.
template <class Pick, bool kLoaded, int kFirst, int kEnd, int kPixels, int kRows>
[[gnu::always_inline]] inline void add_positions(const PermutedArgs& args, int first_row,
                                                 const PatternLanes& lanes, simd::Lanes step,
                                                 WindowCursor& cursor, RowWindows<Pick, kRows>& windows,
                                                 GroupSums<kPixels, kRows>& sums,
                                                 const float* const (&weights)[2], Index count) noexcept {
  const float* w[2] = {weights[0], weights[1]};
  while (count > 0) {
    if (!kLoaded && cursor.left == 0) load_windows<Pick>(args, first_row, lanes, cursor, windows);
    const Index run = kLoaded || count < cursor.left ? count : cursor.left;
    count -= run;
    if constexpr (!kLoaded) cursor.left -= run;
    for (Index i = 0; i < run; ++i) {
      if constexpr (kWindowsInMemory) leave_in_memory(windows);
      simd::LaneFloats weight[2];
      unroll<kFirst, kEnd>([&](auto pixel) {
        weight[pixel] = simd::load_lane_floats(w[pixel]);
        w[pixel] += kPermutedLanes;
      });
      unroll<0, kRows>([&](auto row) {
        const simd::LaneFloats samples = Pick::pick(windows.v[row], cursor.codes);
        unroll<kFirst, kEnd>([&](auto pixel) {
          if constexpr (kWeightsInMemory && kPixels == 1 && row > 0) {
            weight[pixel] = load_weights_again(w[pixel] - kPermutedLanes);
          }
          sums.v[pixel][row] = simd::mul_add(weight[pixel], samples, sums.v[pixel][row]);
        });
      });
      cursor.codes = simd::advance(cursor.codes, step);
    }
  }
}

template <int kPixels, int kRows>
[[gnu::always_inline]] inline void store_sums(const PermutedArgs& args, int first_row,
                                              const GroupSums<kPixels, kRows>& sums, Index at) noexcept {
  unroll<0, kRows>([&](auto row) {
    float* const out = args.out[first_row + row] + at;
    if constexpr (kPixels == 1) {
      simd::store_lane_floats(out, sums.v[0][row]);
    } else {
      simd::store_interleaved(out, sums.v[0][row], sums.v[1][row], args.interleave, args.channels);
    }
  });
}

// Prefetches what the next rows' groups begin with, `offset` bytes from the rows' starts.
template <int kRows>
[[gnu::always_inline]] inline void prefetch_ahead(const PermutedArgs& args, int first_row,
                                                  Index offset) noexcept {
  constexpr auto kLine = static_cast<Index>(runtime::kCacheLine);
  for (Index byte = 0; byte < args.prefetched; byte += kLine) {
    unroll<0, kRows>(
        [&](auto row) { prefetch<true>(args.rows[first_row + row] + offset + args.ahead + byte); });
  }
}

// One group, of the rows from `first_row` on that are computed at once.
template <class Pick, int kPixels, bool kOneWindow>
[[gnu::always_inline]] inline void permuted_group(const PermutedArgs& args, Index number, int first_row,
                                                  simd::Lanes step) noexcept {
  const PermutedGroup& group = args.groups[number];
  const PatternLanes& lanes = args.lanes[group.pattern];
  const float* first_weights = args.weights + static_cast<Index>(group.pattern) * args.weights_stride;
  const float* weights[2] = {first_weights, first_weights + args.taps[0] * kPermutedLanes};

  constexpr int kRows = rows_at_once<Pick, kPixels>();
  WindowCursor cursor;
  RowWindows<Pick, kRows> windows;
  cursor.offset = (group.first - args.origin) * args.pixel_bytes;
  prefetch_ahead<kRows>(args, first_row, cursor.offset);
  if constexpr (kOneWindow) load_windows<Pick>(args, first_row, lanes, cursor, windows);
  GroupSums<kPixels, kRows> sums;
  unroll<0, kPixels>([&](auto pixel) {
    unroll<0, kRows>([&](auto row) { sums.v[pixel][row] = simd::zero_lane_floats(); });
  });
  if constexpr (kPixels == 1) {
    add_positions<Pick, kOneWindow, 0, 1>(args, first_row, lanes, step, cursor, windows, sums, weights,
                                          args.taps[0]);
  } else {
    const Index shared = args.taps[0] - args.lead;
    add_positions<Pick, kOneWindow, 0, 1>(args, first_row, lanes, step, cursor, windows, sums, weights,
                                          args.lead);
    weights[0] += args.lead * kPermutedLanes;
    add_positions<Pick, kOneWindow, 0, 2>(args, first_row, lanes, step, cursor, windows, sums, weights,
                                          shared);
    weights[1] += shared * kPermutedLanes;
    add_positions<Pick, kOneWindow, 1, 2>(args, first_row, lanes, step, cursor, windows, sums, weights,
                                          args.taps[1] - shared);
  }
  store_sums(args, first_row, sums, number * args.group_samples);
}

template <class Pick, int kPixels, bool kOneWindow>
[[gnu::always_inline]] inline void permuted_groups(const PermutedArgs& args) noexcept {
  const simd::Lanes step = simd::broadcast_lanes(args.code_step);
  for (Index i = 0; i < args.count; ++i) {
    for (int row = 0; row < kPermutedRows; row += rows_at_once<Pick, kPixels>())
      permuted_group<Pick, kPixels, kOneWindow>(args, i, row, step);
  }
}

// With 8 registers what counts the positions of a window lies in memory, too: short sums, all of one window,
// are 1.04 times as fast without in the mean of 36 requests.
template <class Pick, int kPixels>
void permuted_pass(const PermutedArgs& args) noexcept {
  if constexpr (runtime::kFewRegisters && kPixels == 1) {
    if (args.taps[0] <= args.window_positions) return permuted_groups<Pick, kPixels, true>(args);
  }
  permuted_groups<Pick, kPixels, false>(args);
}

}  // namespace
}  // namespace kyv::resize
