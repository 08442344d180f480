#include "resize/filtered/running_plan.h"

#include <limits>

#include "resize/kernels/running.h"
#include "runtime/memory_model.h"

namespace kyv::resize {
namespace {

constexpr std::uint64_t kMostWeights = runtime::kL2Bytes / sizeof(float);

struct Extent {
  Index begin = 0;
  Index end = 0;
};

// The positions from the first tap of a weight other than 0 to the last.
Extent extent_of(const TapTable& table, const TapSpan& span) noexcept {
  const float* const weights = table.weights_of(span);
  Index begin = 0;
  Index end = span.count;
  while (begin + 1 < end && weights[begin] == 0.0f) ++begin;
  while (begin + 1 < end && weights[end - 1] == 0.0f) --end;
  return {span.first + begin, span.first + end};
}

// Fills in `ends`, and what of the plan follows from them.
bool list_ends(RunningPlan& plan, std::int32_t* ends) noexcept {
  Index begin = std::numeric_limits<Index>::min();
  Index open = 0;  // first pixel whose sum has not ended at `begin`
  for (Index i = 0; i < plan.count; ++i) {
    const Extent extent = extent_of(plan.table, plan.table.spans[i]);
    ends[i] = static_cast<std::int32_t>(extent.end);
    if (extent.begin < begin || (i > 0 && ends[i] < ends[i - 1])) return false;
    if (i == 0) plan.origin = extent.begin;
    begin = extent.begin;
    while (ends[open] <= begin) ++open;
    plan.sums = std::max(plan.sums, i - open + 1);
  }
  ends[plan.count] = std::numeric_limits<std::int32_t>::max();
  plan.ends = ends;
  if (plan.sums > 2) plan.sums = rounded_up(plan.sums, 2);
  return plan.sums <= kMostRunningSums;
}

void list_weights(RunningPlan& plan, float* weights, Index floats) noexcept {
  std::fill_n(weights, floats, 0.0f);
  for (Index i = 0; i < plan.count; ++i) {
    const TapSpan& span = plan.table.spans[i];
    const Extent extent = extent_of(plan.table, span);
    Index open = plan.first_open(i, extent.begin);
    for (Index position = extent.begin; position < extent.end; ++position) {
      while (plan.ends[open] <= position) ++open;
      weights[(position - plan.origin) * plan.sums + i - open] =
          plan.table.weights_of(span)[position - span.first];
    }
  }
  plan.weights = weights;
}

}  // namespace

RunningPlanRoom take_running_plan(runtime::Arena& arena, const AxisGeometry& axis, Mode mode,
                                  Index least_weights) noexcept {
  const std::uint64_t taps = tap_room(axis, mode);
  const auto count = static_cast<std::uint64_t>(axis.count);
  const std::uint64_t reached = static_cast<std::uint64_t>(axis.usable_size) + 2 * taps;
  const std::uint64_t weights =
      std::max(std::min(reached * kMostRunningSums, (count + kMostRunningSums) * (taps + 2)),
               static_cast<std::uint64_t>(least_weights));
  RunningPlanRoom room;
  room.count = static_cast<Index>(std::min<std::uint64_t>(weights, kMostWeights) + count + 1);
  room.numbers = arena.take<float>(static_cast<std::uint64_t>(room.count));
  return room;
}

Index RunningPlan::begin_of(Index pixel) const noexcept { return extent_of(table, table.spans[pixel]).begin; }

Index RunningPlan::first_open(Index pixel, Index position) const noexcept {
  while (pixel > 0 && ends[pixel - 1] > position) --pixel;
  return pixel;
}

std::optional<RunningPlan> plan_running_sums(const TapTable& table, Index count,
                                             const RunningPlanRoom& room) noexcept {
  const Index floats = room.count - (count + 1);
  if (floats <= 0) return std::nullopt;
  RunningPlan plan{.table = table, .count = count};
  // The room is raw memory, as any arena's: whole numbers lie before the floats.
  // cppcheck-suppress invalidPointerCast
  if (!list_ends(plan, reinterpret_cast<std::int32_t*>(room.numbers))) return std::nullopt;
  const Index needed = (plan.ends[count - 1] - plan.origin) * plan.sums;
  if (needed > floats) return std::nullopt;
  list_weights(plan, room.numbers + count + 1, needed);
  return plan;
}

}  // namespace kyv::resize
