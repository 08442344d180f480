// Grey pixels that lie too far apart for a window of two vectors: each lane has 16 bytes of the row for
// itself, which are transposed, so that a vector holds the same few taps of every lane.
#pragma once

#include "resize/kernels/permuted_impl.h"

namespace kyv::resize {
namespace {

// The windows of a row, transposed: [taps that share a 32-bit lane].
struct LaneWindows {
  simd::F32 v[4];
};

[[gnu::always_inline]] inline LaneWindows load_lane_windows(const std::uint8_t* p,
                                                            const std::int32_t* places) noexcept {
  LaneWindows windows;
  unroll<0, 4>([&](auto i) { windows.v[i] = simd::as_floats(simd::load_quads_at(p, places + i)); });
  simd::transpose_quads(windows.v[0], windows.v[1], windows.v[2], windows.v[3]);
  return windows;
}

template <int kBits>
[[gnu::always_inline]] inline void lane_windows_group(const PermutedArgs& args, Index number) noexcept {
  constexpr int kTaps = 32 / kBits;  // of a 32-bit lane
  constexpr Index kWindowTaps = 4 * kTaps;
  const PermutedGroup& group = args.groups[number];
  const std::int32_t* const places = args.lanes[group.pattern].windows;
  const float* weights = args.weights + static_cast<Index>(group.pattern) * args.weights_stride;
  Index offset = (group.first - args.origin) * args.pixel_bytes;
  prefetch_ahead<kPermutedRows>(args, 0, offset);
  GroupSums<1, kPermutedRows> sums;
  unroll<0, kPermutedRows>([&](auto row) { sums.v[0][row] = simd::zero_lane_floats(); });
  for (Index left = args.taps[0]; left > 0; left -= kWindowTaps) {
    LaneWindows windows[kPermutedRows];
    unroll<0, kPermutedRows>(
        [&](auto row) { windows[row] = load_lane_windows(args.rows[row] + offset, places); });
    offset += kWindowBytes[kLaneWindows];
    unroll<0, 4>([&](auto i) {
      if (left <= i * kTaps) return;
      unroll<0, kTaps>([&](auto tap) {
        const simd::LaneFloats weight = simd::load_lane_floats(weights);
        weights += kPermutedLanes;
        unroll<0, kPermutedRows>([&](auto row) {
          const simd::F32 samples = simd::field_to_float<kBits, tap>(simd::as_raw(windows[row].v[i]));
          sums.v[0][row] = simd::mul_add(weight, samples, sums.v[0][row]);
        });
      });
    });
  }
  store_sums(args, 0, sums, number * args.group_samples);
}

template <int kBits>
void lane_windows_pass(const PermutedArgs& args) noexcept {
  for (Index i = 0; i < args.count; ++i) lane_windows_group<kBits>(args, i);
}

// The windows of four rows take sixteen registers.
template <int kBits>
constexpr PermutedPass* lane_windows_kernel() noexcept {
  return sizeof(void*) == 8 ? lane_windows_pass<kBits> : nullptr;
}

}  // namespace
}  // namespace kyv::resize
