// The plan of the row pass with running sums: which sums are open at a source position, and their weights
// there.
#pragma once

#include <optional>

#include "resize/filtered/permuted_plan.h"

namespace kyv::resize {

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

// Lies in the room of a permuted plan. Nothing where sums do not begin and end in order, where more of them
// are open at a position than there are kernels for, or where the weights outgrow the room.
std::optional<RunningPlan> plan_running_sums(const TapTable& table, Index count,
                                             const PermutedPlanRoom& room) noexcept;

}  // namespace kyv::resize
