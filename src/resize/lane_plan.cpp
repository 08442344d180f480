#include "resize/lane_plan.h"

#include <algorithm>
#include <array>
#include <bit>

#include "resize/weights.h"

namespace kyv::resize {
namespace {

constexpr std::uint64_t kPatternFloats = std::uint64_t{1} << 18;  // patterns that stay in the second cache
constexpr std::int32_t kSlackPositions = 8;  // positions of a group beyond the taps of one pixel

// Where registers are few, wide windows live in memory; they, and samples that serve one pixel only, pay for
// short sums. For others, blocks of rows are faster.
constexpr std::int32_t kMostCostlyPositions = sizeof(void*) == 8 ? 2 * kTapBlock : 12;

std::int32_t vector_pixels(std::int32_t channels) noexcept { return kLaneCount / channels; }

// Finds the numbers that all groups have in common, then fills in groups and patterns.
class Builder {
 public:
  Builder(const LanePlanStorage& storage, const TapTable& table, std::int32_t count, std::int32_t channels,
          std::int32_t pixels) noexcept
      : storage_(storage), table_(table), count_(count), channels_(channels) {
    plan_.pixels = pixels;
    plan_.group_pixels = pixels * vector_pixels(channels);
    plan_.group_count = (count + plan_.group_pixels - 1) / plan_.group_pixels;
    plan_.groups = storage.groups;
    plan_.patterns = storage.patterns;
  }

  LanePlan build(std::int32_t sample_bytes) noexcept {
    if (!measure(sample_bytes)) return {};
    std::uint32_t patterns = 0;
    for (std::int32_t g = 0; g < plan_.group_count; ++g) {
      LaneGroup& group = storage_.groups[g];
      const TapSpan* spans = table_.spans + g * plan_.group_pixels;
      group.first = static_cast<std::int32_t>(spans[0].first);
      std::int32_t& known = slot_of(g);
      if (known >= 0 && same_pattern(known, g)) {
        group.pattern = storage_.groups[known].pattern;
        continue;
      }
      known = g;
      if ((patterns + 1) * plan_.stride > storage_.pattern_floats) return {};
      group.pattern = patterns++;
      fill_pattern(g, storage_.patterns + group.pattern * plan_.stride);
    }
    return plan_;
  }

 private:
  std::int32_t pixels_of(std::int32_t group) const noexcept {
    return std::min(plan_.group_pixels, count_ - group * plan_.group_pixels);
  }

  // Taps, lead and reach; false where a group does not fit.
  bool measure(std::int32_t sample_bytes) noexcept {
    std::int64_t taps[2] = {1, 0};
    std::int64_t lead = kTapBlock;
    std::int64_t farthest = 0;
    for (std::int32_t i = 0; i < count_; ++i) {
      const TapSpan& span = table_.spans[i];
      const std::int32_t second = i % plan_.pixels;
      const std::int64_t from_first = span.first - table_.spans[i - second].first;
      const std::int64_t from_group =
          span.first - table_.spans[i / plan_.group_pixels * plan_.group_pixels].first;
      if (from_first < 0 || from_group < 0 || span.count > kTapBlock) return false;
      taps[second] = std::max(taps[second], from_first + span.count);
      if (second == 1) lead = std::min(lead, from_first);
      if (second == 0) farthest = std::max(farthest, from_group);
    }
    lead = std::min(lead, taps[0]);
    const std::int64_t positions = std::max(taps[0], taps[1]);
    const std::int64_t samples = (farthest + 1) * channels_;
    plan_.wide = samples * sample_bytes > kLaneWindows[0];
    const std::int32_t window = kLaneWindows[plan_.wide ? 1 : 0] / sample_bytes;
    if (positions > storage_.most_positions || samples > window) return false;
    if ((plan_.wide || plan_.pixels == 1) && positions > kMostCostlyPositions) return false;

    plan_.taps[0] = static_cast<std::int32_t>(taps[0]);
    plan_.taps[1] = plan_.pixels == 1 ? 0 : static_cast<std::int32_t>(positions - lead);
    plan_.lead = static_cast<std::int32_t>(lead);
    plan_.window_positions = static_cast<std::int32_t>((window - samples) / channels_ + 1);
    plan_.stride = static_cast<std::size_t>(1 + plan_.taps[0] + plan_.taps[1]) * kLaneCount;
    const std::int64_t last_window = (positions - 1) / plan_.window_positions * plan_.window_positions;
    plan_.reach = static_cast<std::int32_t>(last_window * channels_ + window);
    return true;
  }

  // Groups of equal patterns have equal slots.
  std::int32_t& slot_of(std::int32_t group) noexcept {
    const TapSpan* spans = table_.spans + group * plan_.group_pixels;
    std::uint64_t hash = 0;
    for (std::int32_t i = 0; i < pixels_of(group); ++i) {
      const auto place = static_cast<std::uint64_t>(spans[i].first - spans[0].first);
      hash = (hash ^ (place << 32) ^ spans[i].phase) * 0x9E3779B97F4A7C15u;
      hash ^= hash >> 29;
    }
    return recent_[static_cast<std::size_t>(hash % recent_.size())];
  }

  bool same_pattern(std::int32_t a, std::int32_t b) const noexcept {
    const TapSpan* x = table_.spans + a * plan_.group_pixels;
    const TapSpan* y = table_.spans + b * plan_.group_pixels;
    if (pixels_of(a) != pixels_of(b)) return false;
    for (std::int32_t i = 0; i < pixels_of(a); ++i) {
      if (x[i].phase != y[i].phase || x[i].first - x[0].first != y[i].first - y[0].first) return false;
    }
    return true;
  }

  void fill_pattern(std::int32_t group, float* pattern) const noexcept {
    std::fill_n(pattern, plan_.stride, 0.0f);
    const TapSpan* spans = table_.spans + group * plan_.group_pixels;
    for (std::int32_t i = 0; i < pixels_of(group); ++i) {
      const std::int32_t second = i % plan_.pixels;
      const TapSpan& first = spans[i - second];
      const std::int32_t lane = i / plan_.pixels * channels_;
      if (second == 0) {
        const auto index = static_cast<std::uint32_t>((first.first - spans[0].first) * channels_);
        for (std::int32_t c = 0; c < channels_; ++c) {
          pattern[lane + c] = std::bit_cast<float>(index + static_cast<std::uint32_t>(c));
        }
      }
      const std::int64_t skipped = second == 0 ? 0 : spans[i].first - first.first - plan_.lead;
      float* to = pattern + (1 + second * plan_.taps[0] + skipped) * kLaneCount + lane;
      const float* weights = table_.weights + spans[i].phase * table_.stride;
      for (std::int32_t tap = 0; tap < spans[i].count; ++tap, to += kLaneCount) {
        std::fill_n(to, channels_, weights[tap]);
      }
    }
  }

  const LanePlanStorage& storage_;
  const TapTable& table_;
  const std::int32_t count_;
  const std::int32_t channels_;
  LanePlan plan_;
  std::array<std::int32_t, 64> recent_ = [] {
    std::array<std::int32_t, 64> none;
    none.fill(-1);
    return none;
  }();
};

}  // namespace

LanePlanStorage take_lane_plan(Arena& arena, const AxisGeometry& axis, Mode mode,
                               std::int32_t channels) noexcept {
  const std::uint64_t taps = std::min<std::uint64_t>(tap_room(axis, mode), kTapBlock);
  const auto groups = static_cast<std::uint64_t>(axis.count / vector_pixels(channels) + 1);
  LanePlanStorage storage;
  storage.most_positions = static_cast<std::int32_t>(taps) + kSlackPositions;
  storage.pattern_floats = std::min(groups * (taps + kSlackPositions + 2) * kLaneCount, kPatternFloats);
  storage.groups = arena.take<LaneGroup>(groups);
  storage.patterns = arena.take<float>(storage.pattern_floats);
  return storage;
}

LanePlan build_lane_plan(const LanePlanStorage& storage, const TapTable& table, std::int32_t count,
                         std::int32_t channels, std::int32_t sample_bytes) noexcept {
  const LanePlan pairs = Builder(storage, table, count, channels, 2).build(sample_bytes);
  return pairs.pixels != 0 ? pairs : Builder(storage, table, count, channels, 1).build(sample_bytes);
}

}  // namespace kyv::resize
