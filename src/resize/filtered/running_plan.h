// The plan of the row pass with running sums: which sums are open at a source position, and their weights
// there.
#pragma once

#include <optional>

#include "resize/filtered/row_pass.h"
#include "runtime/arena.h"

namespace kyv::resize {

// A plan's arrays in the work buffer: ends, then weights.
struct RunningPlanRoom {
  float* numbers = nullptr;
  Index count = 0;
};

// For the weights of each position from the first tap to the last, or fewer; but no less than for
// `least_weights`.
RunningPlanRoom take_running_plan(runtime::Arena& arena, const AxisGeometry& axis, Mode mode,
                                  Index least_weights) noexcept;

struct RunningPlan {
  TapTable table;
  Index count = 0;                     // destination pixels
  Index sums = 0;                      // that are open at a position, at most
  Index origin = 0;                    // first position of `weights`
  const std::int32_t* ends = nullptr;  // of each sum, and a number beyond all positions
  const float* weights = nullptr;      // [position][sum], the one that ends first in front

  const float* weights_at(Index position) const noexcept { return weights + (position - origin) * sums; }
  // The first position that the sum of a pixel needs.
  Index begin_of(Index pixel) const noexcept;
  // The pixel whose sum ends next at `position`, where that of `pixel` begins.
  Index first_open(Index pixel, Index position) const noexcept;
};

// Nothing where sums do not begin and end in order, where more of them are open at a position than there are
// kernels for, or where the weights outgrow the room.
std::optional<RunningPlan> plan_running_sums(const TapTable& table, Index count,
                                             const RunningPlanRoom& room) noexcept;

}  // namespace kyv::resize
