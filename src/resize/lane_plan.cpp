#include "resize/lane_plan.h"

#include <algorithm>
#include <array>

#include "resize/weights.h"

namespace kyv::resize {
namespace {

constexpr std::uint64_t kPatternFloats = std::uint64_t{1} << 18;  // patterns that stay in the second cache
constexpr Index kLanesFloats = sizeof(PatternLanes) / sizeof(float);
constexpr std::int32_t kSlackPositions = 8;  // positions of a group beyond the taps of one pixel

std::int32_t vector_pixels(std::int32_t channels) noexcept {
  return static_cast<std::int32_t>(kPermutedLanes) / channels;
}

constexpr std::int32_t kShortPositions[2] = {8, 12};  // by pixels of a lane
constexpr std::int64_t kWidePairTaps = 9;  // fewest taps for which two pixels make up for a wide window

// Finds the numbers that all groups have in common, then fills in groups and patterns.
class Builder {
 public:
  Builder(const LanePlanStorage& storage, const TapTable& table, std::int32_t count, const LaneSource& source,
          const PermutedKernels& passes, std::int32_t pixels) noexcept
      : storage_(storage),
        table_(table),
        count_(count),
        source_(source),
        passes_(passes),
        channels_(source.channels),
        lanes_(vector_pixels(channels_) * channels_),
        sample_bytes_(source.sample_bytes),
        codes_(passes.depth[sample_bytes_ - 1].codes),
        quarters_(passes.quarters) {
    plan_.code_step = channels_ * static_cast<std::int32_t>(codes_.step);
    plan_.pixels = pixels;
    plan_.group_pixels = pixels * vector_pixels(channels_);
    plan_.group_count = (count + plan_.group_pixels - 1) / plan_.group_pixels;
    plan_.groups = storage.groups;
  }

  LanePlan build() noexcept {
    if (!may_pay() || !measure()) return {};
    const auto lanes = reinterpret_cast<PatternLanes*>(storage_.patterns);
    const auto most = static_cast<Index>(storage_.pattern_floats) / (kLanesFloats + plan_.weights_stride);
    float* const weights = storage_.patterns + most * kLanesFloats;
    plan_.lanes = lanes;
    plan_.weights = weights;
    std::uint32_t patterns = 0;
    for (std::int32_t g = 0; g < plan_.group_count; ++g) {
      PermutedGroup& group = storage_.groups[g];
      const TapSpan* spans = table_.spans + g * plan_.group_pixels;
      group.first = static_cast<std::int32_t>(spans[0].first);
      std::int32_t& known = slot_of(g);
      if (known >= 0 && same_pattern(known, g)) {
        group.pattern = storage_.groups[known].pattern;
        continue;
      }
      known = g;
      if (patterns == most) return {};
      group.pattern = patterns++;
      fill_lanes(g, lanes[group.pattern]);
      fill_weights(g, weights + group.pattern * plan_.weights_stride);
    }
    return plan_;
  }

 private:
  std::int32_t pixels_of(std::int32_t group) const noexcept {
    return std::min(plan_.group_pixels, count_ - group * plan_.group_pixels);
  }

  // The place of a lane's sample at a group's first position, in samples; beyond the last lane, that one's.
  std::int64_t place_of(std::int32_t group, std::int32_t lane) const noexcept {
    const TapSpan* spans = table_.spans + group * plan_.group_pixels;
    const std::int32_t pixel =
        std::min(lane / channels_, (pixels_of(group) + plan_.pixels - 1) / plan_.pixels - 1);
    return (spans[pixel * plan_.pixels].first - spans[0].first) * channels_ + lane % channels_;
  }

  // Samples that the lanes [first, end) take at their first taps. With enlargements these need not ascend.
  struct Extent {
    std::int64_t begin = 0;
    std::int64_t end = 0;
  };

  Extent extent_of(std::int32_t group, std::int32_t first, std::int32_t end) const noexcept {
    Extent extent{place_of(group, first), 0};
    for (std::int32_t lane = first; lane < std::min(end, lanes_); ++lane) {
      const std::int64_t place = place_of(group, lane);
      extent = {std::min(extent.begin, place), std::max(extent.end, place + 1)};
    }
    return extent;
  }

  // The window of a lane starts where this does.
  std::int64_t window_of(std::int32_t group, std::int32_t lane) const noexcept {
    return quarters_ ? extent_of(group, lane / 4 * 4, lane / 4 * 4 + 4).begin : 0;
  }

  // The widest window of a group, and the place of the farthest one.
  struct Windows {
    std::int64_t widest = 0;
    std::int64_t farthest = 0;
  };

  Windows measure_windows() const noexcept {
    const std::int32_t window_lanes = quarters_ ? 4 : 16;
    Windows windows;
    for (std::int32_t g = 0; g < plan_.group_count; ++g) {
      for (std::int32_t lane = 0; lane < lanes_; lane += window_lanes) {
        const Extent extent =
            quarters_ ? extent_of(g, lane, lane + 4) : Extent{0, place_of(g, lanes_ - 1) + 1};
        windows.widest = std::max(windows.widest, extent.end - extent.begin);
        windows.farthest = std::max(windows.farthest, extent.begin);
      }
    }
    return windows;
  }

  // Taps, lead and reach; false where a group does not fit.
  bool measure() noexcept {
    std::int64_t taps[2] = {1, 0};
    std::int64_t lead = kTapBlock;
    for (std::int32_t i = 0; i < count_; ++i) {
      const TapSpan& span = table_.spans[i];
      const std::int32_t second = i % plan_.pixels;
      const std::int64_t from_first = span.first - table_.spans[i - second].first;
      if (from_first < 0 || (i > 0 && span.first < table_.spans[i - 1].first) || span.count > kTapBlock)
        return false;
      taps[second] = std::max(taps[second], from_first + span.count);
      if (second == 1) lead = std::min(lead, from_first);
    }
    lead = std::min(lead, taps[0]);
    const std::int64_t positions = std::max(taps[0], taps[1]);
    if (positions > storage_.most_positions) return false;
    const Windows windows = measure_windows();
    plan_.wide = !quarters_ && windows.widest * sample_bytes_ > kWindowBytes[kNarrowWindow];
    const Index bytes = quarters_ ? kQuarterBytes : kWindowBytes[plan_.wide ? kWideWindow : kNarrowWindow];
    const auto window = static_cast<std::int32_t>(bytes / sample_bytes_);
    if (windows.widest > window) return false;
    if (plan_.pixels == 2 && plan_.wide && taps[0] < kWidePairTaps) return false;

    plan_.taps[0] = static_cast<std::int32_t>(taps[0]);
    plan_.taps[1] = plan_.pixels == 1 ? 0 : static_cast<std::int32_t>(positions - lead);
    plan_.lead = static_cast<std::int32_t>(lead);
    plan_.window_positions = static_cast<std::int32_t>((window - windows.widest) / channels_ + 1);
    plan_.weights_stride = (plan_.taps[0] + plan_.taps[1]) * kPermutedLanes;
    const std::int64_t last_window = (positions - 1) / plan_.window_positions * plan_.window_positions;
    const std::int64_t reach = last_window * channels_ + windows.farthest + window;
    plan_.reach = static_cast<std::int32_t>(std::min<std::int64_t>(reach, storage_.most_reach));
    return reach <= storage_.most_reach && pays(positions);
  }

  // False where `pays` is sure to say no, known before the plan is measured. RGB fills quarters badly and is
  // left to blocks.
  bool may_pay() const noexcept {
    return !quarters_ || (channels_ != 3 && source_.bytes > passes_.large_source);
  }

  // Whether this is faster than blocks of rows, as measured. Two pixels that share a small window always
  // are, short sums nearly always. Else blocks win as long as the source is in the caches: beyond them, a
  // page of memory for each row of a block costs more. Windows of quarters are loaded often: grey sums must
  // make do with few of them, those of RGBA must be short beside the distance of the pixels. Where
  // registers are few, only short sums of large sources pay, and of several channels only those that are
  // short beside the distance of the pixels, too.
  bool pays(std::int64_t positions) const noexcept {
    constexpr bool kFewRegisters = sizeof(void*) == 4;
    const bool is_short = positions <= kShortPositions[plan_.pixels - 1];
    const bool is_large = source_.bytes > (is_short ? passes_.large_source : passes_.huge_source);
    const std::int64_t extent = table_.spans[count_ - 1].first - table_.spans[0].first;
    const std::int64_t distances = count_ - 1;
    if (kFewRegisters) {
      const bool is_light = channels_ == 1 || (!quarters_ && (plan_.taps[0] - 1) * distances < 2 * extent);
      if (!is_short || !is_large || !is_light) return false;
    }
    if (!quarters_) return is_large || is_short || (plan_.pixels == 2 && !plan_.wide);
    if (!is_large) return false;
    if (channels_ == 1) return (positions - 1) / plan_.window_positions <= plan_.pixels;
    return (plan_.taps[0] - 1) * distances < plan_.pixels * extent;
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

  // Lanes that idle take the first sample of the first window.
  void fill_lanes(std::int32_t group, PatternLanes& lanes) const noexcept {
    lanes = {};
    std::fill_n(lanes.codes, kPermutedLanes, codes_.first);
    for (std::int32_t lane = 0; lane < lanes_; ++lane) {
      const std::int64_t window = window_of(group, lane);
      const auto place = static_cast<std::uint32_t>(place_of(group, lane) - window);
      lanes.codes[lane] = codes_.first + place * codes_.step;
      lanes.windows[lane / 4] = static_cast<std::int32_t>(window) * sample_bytes_;
    }
  }

  void fill_weights(std::int32_t group, float* weights) const noexcept {
    std::fill_n(weights, plan_.weights_stride, 0.0f);
    const TapSpan* spans = table_.spans + group * plan_.group_pixels;
    for (std::int32_t i = 0; i < pixels_of(group); ++i) {
      const std::int32_t second = i % plan_.pixels;
      const TapSpan& first = spans[i - second];
      const std::int32_t lane = i / plan_.pixels * channels_;
      const std::int64_t skipped = second == 0 ? 0 : spans[i].first - first.first - plan_.lead;
      float* to = weights + (second * plan_.taps[0] + skipped) * kPermutedLanes + lane;
      const float* from = table_.weights_of(spans[i]);
      for (std::int32_t tap = 0; tap < spans[i].count; ++tap, to += kPermutedLanes) {
        std::fill_n(to, channels_, from[tap]);
      }
    }
  }

  const LanePlanStorage& storage_;
  const TapTable& table_;
  const std::int32_t count_;
  const LaneSource& source_;
  const PermutedKernels& passes_;
  const std::int32_t channels_;
  const std::int32_t lanes_;  // that are used
  const std::int32_t sample_bytes_;
  const PlaceCodes codes_;
  const bool quarters_;
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
  const auto groups = static_cast<std::uint64_t>(axis.count / vector_pixels(channels)) + 1;
  LanePlanStorage storage;
  storage.most_positions = static_cast<std::int32_t>(taps) + kSlackPositions;
  storage.most_reach = storage.most_positions * channels + kWindowBytes[1];
  storage.pattern_floats = std::min(groups * (taps + kSlackPositions + 2) * kPermutedLanes, kPatternFloats);
  storage.groups = arena.take<PermutedGroup>(groups);
  storage.patterns = arena.take<float>(storage.pattern_floats);
  return storage;
}

LanePlan build_lane_plan(const LanePlanStorage& storage, const TapTable& table, std::int32_t count,
                         const LaneSource& source, const PermutedKernels& passes) noexcept {
  const auto build = [&](std::int32_t pixels) noexcept {
    return Builder(storage, table, count, source, passes, pixels).build();
  };
  const LanePlan pairs = build(2);
  return pairs.pixels != 0 ? pairs : build(1);
}

}  // namespace kyv::resize
