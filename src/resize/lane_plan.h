// The plan of a row pass across one row: groups of destination pixels, and the patterns that they share.
#pragma once

#include <cstddef>
#include <cstdint>

#include "resize/arena.h"
#include "resize/geometry.h"
#include "resize/kernels/kernels.h"

namespace kyv::resize {

// A plan's arrays in the work buffer.
struct LanePlanStorage {
  PermutedGroup* groups = nullptr;
  float* patterns = nullptr;  // the lanes of all patterns, then their weights
  std::uint64_t pattern_floats = 0;
  std::int32_t most_positions = 0;  // source positions of a group
  std::int32_t most_reach = 0;      // samples from its first position to the end of its last window
};

LanePlanStorage take_lane_plan(Arena& arena, const AxisGeometry& axis, Mode mode,
                               std::int32_t channels) noexcept;

struct LanePlan {
  std::int32_t pixels = 0;        // of a lane, 1 or 2; 0: there is no plan
  bool wide = false;              // whether it takes the larger window
  std::int32_t group_pixels = 0;  // destination pixels of a group
  std::int32_t group_count = 0;
  std::int32_t reach = 0;  // samples from a group's first position to the end of its last window
  const PermutedGroup* groups = nullptr;
  const PatternLanes* lanes = nullptr;
  const float* weights = nullptr;
  Index weights_stride = 0;
  std::int32_t taps[2] = {};
  std::int32_t lead = 0;
  std::int32_t window_positions = 0;
  std::int32_t code_step = 0;
};

// What is read: its pixels and its size.
struct LaneSource {
  std::int32_t channels = 0;
  std::int32_t sample_bytes = 0;
  std::uint64_t bytes = 0;
};

// Two pixels of a lane if their samples fit a window, else one, else none. There is no plan either where a
// sum has more than one block of taps, where the patterns outgrow their room, or where blocks of rows are
// faster.
LanePlan build_lane_plan(const LanePlanStorage& storage, const TapTable& table, std::int32_t count,
                         const LaneSource& source, const PermutedKernels& passes) noexcept;

}  // namespace kyv::resize
