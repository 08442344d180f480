// The plan of the permuted row pass: groups of destination pixels, and the patterns that they share.
#pragma once

#include <array>

#include "resize/filtered/row_pass.h"
#include "runtime/arena.h"

namespace kyv::resize {

// Most taps of pixels with windows of their own: the copies of a row's ends grow with their distance.
inline constexpr Index kMostLaneTaps = 64;

// A plan's arrays in the work buffer.
struct PermutedPlanRoom {
  PermutedGroup* groups = nullptr;
  float* patterns = nullptr;  // the lanes of all patterns, then their weights
  Index pattern_floats = 0;
  Index most_positions = 0;  // source positions of a group
  Index most_reach = 0;      // samples from its first position to the end of its last window
};

PermutedPlanRoom take_permuted_plan(runtime::Arena& arena, const AxisGeometry& axis, Mode mode,
                                    std::int32_t channels) noexcept;

// What all groups have in common.
struct PermutedShape {
  Index pixels = 0;  // of a lane, 1 or 2
  WindowSize window = kNarrowWindow;
  Index group_pixels = 0;  // destination pixels of a group
  Index group_count = 0;
  Index positions = 0;  // source positions of a group
  Index reach = 0;      // samples from a group's first position to the end of its last window
  Index taps[kMostLanePixels] = {};
  Index lead = 0;
  Index window_positions = 0;
};

struct PermutedPlan {
  PermutedShape shape;
  const PermutedGroup* groups = nullptr;
  const PatternLanes* lanes = nullptr;
  const float* weights = nullptr;
  Index weights_stride = 0;
};

// Makes a plan for 1 or 2 pixels of a lane: first the shape, then groups and patterns.
class PermutedPlanner {
 public:
  PermutedPlanner(const RowPassFacts& facts, const PermutedPlanRoom& room, Index pixels) noexcept;

  // Nothing where a sum has more than one block of taps or the samples of a group do not fit a window.
  std::optional<PermutedShape> measure() const noexcept;
  // Nothing where the patterns outgrow their room.
  std::optional<PermutedPlan> fill(const PermutedShape& shape) noexcept;

 private:
  // Samples that some lanes take at their first taps. With enlargements these need not ascend.
  struct Extent {
    Index begin = 0;
    Index end = 0;
  };

  const TapSpan* spans_of(Index group) const noexcept { return table_.spans + group * group_pixels_; }
  Index pixels_of(Index group) const noexcept {
    return std::min(group_pixels_, count_ - group * group_pixels_);
  }
  Index place_of(Index group, Index lane) const noexcept;
  Extent extent_of(Index group, Index first, Index end) const noexcept;
  Extent widest_window() const noexcept;
  WindowSize window_of(Index bytes) const noexcept;
  bool measure_taps(PermutedShape& shape) const noexcept;
  bool same_pattern(Index a, Index b) const noexcept;
  std::size_t slot_of(Index group) const noexcept;
  void fill_lanes(const PermutedShape& shape, Index group, PatternLanes& lanes) const noexcept;
  void fill_weights(const PermutedShape& shape, Index group, float* weights) const noexcept;

  const PermutedKernels& kernels_;
  const PermutedPlanRoom& room_;
  const TapTable table_;
  const PixelFormat format_;
  const Index count_;       // destination pixels
  const Index used_lanes_;  // whole pixels
  const Index pixels_;      // of a lane
  const Index group_pixels_;
  const Index window_lanes_;  // that share a window
};

}  // namespace kyv::resize
