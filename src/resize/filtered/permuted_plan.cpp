#include "resize/filtered/permuted_plan.h"

#include "runtime/memory_model.h"

namespace kyv::resize {
namespace {

constexpr Index kPatternFloats = runtime::kL2Bytes / sizeof(float);
constexpr Index kLanesFloats = sizeof(PatternLanes) / sizeof(float);
constexpr Index kSlackPositions = 8;  // of a group beyond the taps of one pixel
constexpr Index kQuarterLanes = 4;    // lanes that share a window of kQuarterBytes
constexpr std::size_t kRecentPatterns = 64;

Index vector_pixels(std::int32_t channels) noexcept { return kPermutedLanes / channels; }

}  // namespace

PermutedPlanRoom take_permuted_plan(runtime::Arena& arena, const AxisGeometry& axis, Mode mode,
                                    std::int32_t channels) noexcept {
  const auto taps = static_cast<Index>(std::min<std::uint64_t>(tap_room(axis, mode), kTapBlock));
  const auto groups = static_cast<std::uint64_t>(axis.count / vector_pixels(channels)) + 1;
  PermutedPlanRoom room;
  room.most_positions = taps + kSlackPositions;
  room.most_reach = room.most_positions * channels + kWindowBytes[kWideWindow];
  if (!runtime::kFewRegisters && channels == 1) {
    // No less for a larger factor, which has no such windows: room for that suffices for a smaller one.
    const double inverse = std::min(axis.inverse, static_cast<double>(kMostLaneTaps));
    const auto apart = static_cast<Index>(inverse * (kPermutedLanes - 1)) + 2;
    room.most_reach = std::max(room.most_reach, room.most_positions + apart + kWindowBytes[kLaneWindows]);
  }
  const auto pattern_floats = static_cast<std::uint64_t>((room.most_positions + 2) * kPermutedLanes);
  room.pattern_floats = static_cast<Index>(std::min<std::uint64_t>(groups * pattern_floats, kPatternFloats));
  room.groups = arena.take<PermutedGroup>(groups);
  room.patterns = arena.take<float>(static_cast<std::uint64_t>(room.pattern_floats));
  return room;
}

PermutedPlanner::PermutedPlanner(const RowPassFacts& facts, const PermutedPlanRoom& room,
                                 Index pixels) noexcept
    : kernels_(facts.kernels.permuted),
      room_(room),
      table_(facts.x.table),
      format_(facts.format),
      count_(facts.geometry.x.count),
      used_lanes_(vector_pixels(format_.channels) * format_.channels),
      pixels_(pixels),
      group_pixels_(pixels * vector_pixels(format_.channels)),
      window_lanes_(kernels_.quarters ? kQuarterLanes : kPermutedLanes) {}

std::optional<PermutedShape> PermutedPlanner::measure() const noexcept {
  if (kernels_.depth[format_.depth].pass[kNarrowWindow][pixels_ - 1] == nullptr) return std::nullopt;
  PermutedShape shape;
  shape.pixels = pixels_;
  shape.group_pixels = group_pixels_;
  shape.group_count = (count_ + group_pixels_ - 1) / group_pixels_;
  if (!measure_taps(shape) || shape.positions > room_.most_positions) return std::nullopt;

  Extent window = widest_window();
  const Index bytes = sample_bytes(format_.depth);
  if (!kernels_.quarters) shape.window = window_of(window.end * bytes);
  const Index samples = (kernels_.quarters ? kQuarterBytes : kWindowBytes[shape.window]) / bytes;
  if (shape.window == kLaneWindows) {
    if (shape.positions > kMostLaneTaps) return std::nullopt;
    window = {window.end - 1, 1};
    shape.taps[0] = shape.positions = rounded_up(shape.positions, kLaneWindowTaps);
  }
  if (window.end > samples) return std::nullopt;
  shape.window_positions = (samples - window.end) / format_.channels + 1;
  const Index last_window = (shape.positions - 1) / shape.window_positions * shape.window_positions;
  shape.reach = last_window * format_.channels + window.begin + samples;
  if (shape.reach > room_.most_reach) return std::nullopt;
  return shape;
}

// The smallest window that holds so many bytes, or else one for each lane where there are such.
WindowSize PermutedPlanner::window_of(Index bytes) const noexcept {
  if (bytes <= kWindowBytes[kNarrowWindow]) return kNarrowWindow;
  const bool has_lane_windows =
      format_.channels == 1 && pixels_ == 1 && kernels_.depth[format_.depth].pass[kLaneWindows][0] != nullptr;
  return bytes <= kWindowBytes[kWideWindow] || !has_lane_windows ? kWideWindow : kLaneWindows;
}

// Taps, lead and positions; false where a group does not fit.
bool PermutedPlanner::measure_taps(PermutedShape& shape) const noexcept {
  Index taps[kMostLanePixels] = {1, 0};
  Index lead = kTapBlock;
  for (Index i = 0; i < count_; ++i) {
    const TapSpan& span = table_.spans[i];
    const Index second = i % pixels_;
    const Index from_first = span.first - table_.spans[i - second].first;
    if (from_first < 0 || (i > 0 && span.first < table_.spans[i - 1].first) || span.count > kTapBlock) {
      return false;
    }
    taps[second] = std::max(taps[second], from_first + span.count);
    if (second == 1) lead = std::min(lead, from_first);
  }
  shape.positions = std::max(taps[0], taps[1]);
  shape.lead = std::min(lead, taps[0]);
  shape.taps[0] = taps[0];
  shape.taps[1] = pixels_ == 1 ? 0 : shape.positions - shape.lead;
  return true;
}

std::optional<PermutedPlan> PermutedPlanner::fill(const PermutedShape& shape) noexcept {
  PermutedPlan plan{.shape = shape, .weights_stride = (shape.taps[0] + shape.taps[1]) * kPermutedLanes};
  const Index most = room_.pattern_floats / (kLanesFloats + plan.weights_stride);
  auto* const lanes = reinterpret_cast<PatternLanes*>(room_.patterns);
  float* const weights = room_.patterns + most * kLanesFloats;
  Index recent[kRecentPatterns];  // groups whose patterns are known
  std::fill_n(recent, kRecentPatterns, -1);
  std::uint32_t patterns = 0;
  for (Index g = 0; g < shape.group_count; ++g) {
    PermutedGroup& group = room_.groups[g];
    group.first = static_cast<std::int32_t>(spans_of(g)->first);
    Index& known = recent[slot_of(g)];
    if (known >= 0 && same_pattern(known, g)) {
      group.pattern = room_.groups[known].pattern;
      continue;
    }
    known = g;
    if (static_cast<Index>(patterns) == most) return std::nullopt;
    group.pattern = patterns++;
    fill_lanes(shape, g, lanes[group.pattern]);
    fill_weights(shape, g, weights + group.pattern * plan.weights_stride);
  }
  plan.groups = room_.groups;
  plan.lanes = lanes;
  plan.weights = weights;
  return plan;
}

// The place of a lane's sample at a group's first position, in samples; beyond the last lane, that one's.
Index PermutedPlanner::place_of(Index group, Index lane) const noexcept {
  const TapSpan* const spans = spans_of(group);
  const Index last = (pixels_of(group) + pixels_ - 1) / pixels_ - 1;
  const Index pixel = std::min(lane / format_.channels, last);
  return (spans[pixel * pixels_].first - spans[0].first) * format_.channels + lane % format_.channels;
}

PermutedPlanner::Extent PermutedPlanner::extent_of(Index group, Index first, Index end) const noexcept {
  Extent extent{place_of(group, first), 0};
  for (Index lane = first; lane < std::min(end, used_lanes_); ++lane) {
    const Index place = place_of(group, lane);
    extent = {std::min(extent.begin, place), std::max(extent.end, place + 1)};
  }
  return extent;
}

// The place of the farthest window, and the samples of the widest.
PermutedPlanner::Extent PermutedPlanner::widest_window() const noexcept {
  Extent window;
  for (Index g = 0; g * group_pixels_ < count_; ++g) {
    if (!kernels_.quarters) {
      window.end = std::max(window.end, place_of(g, used_lanes_ - 1) + 1);
      continue;
    }
    for (Index lane = 0; lane < used_lanes_; lane += window_lanes_) {
      const Extent extent = extent_of(g, lane, lane + window_lanes_);
      window = {std::max(window.begin, extent.begin), std::max(window.end, extent.end - extent.begin)};
    }
  }
  return window;
}

// Groups of equal patterns have equal slots.
std::size_t PermutedPlanner::slot_of(Index group) const noexcept {
  const TapSpan* const spans = spans_of(group);
  std::uint64_t hash = 0;
  for (Index i = 0; i < pixels_of(group); ++i) {
    const auto place = static_cast<std::uint64_t>(spans[i].first - spans[0].first);
    hash = (hash ^ (place << 32) ^ spans[i].phase) * 0x9E3779B97F4A7C15u;
    hash ^= hash >> 29;
  }
  return static_cast<std::size_t>(hash % kRecentPatterns);
}

bool PermutedPlanner::same_pattern(Index a, Index b) const noexcept {
  const TapSpan* const x = spans_of(a);
  const TapSpan* const y = spans_of(b);
  if (pixels_of(a) != pixels_of(b)) return false;
  for (Index i = 0; i < pixels_of(a); ++i) {
    if (x[i].phase != y[i].phase || x[i].first - x[0].first != y[i].first - y[0].first) return false;
  }
  return true;
}

// Lanes that idle take the first sample of the first window.
void PermutedPlanner::fill_lanes(const PermutedShape& shape, Index group,
                                 PatternLanes& lanes) const noexcept {
  const PlaceCodes codes = kernels_.depth[format_.depth].codes;
  lanes = {};
  if (shape.window == kLaneWindows) {
    for (Index lane = 0; lane < kPermutedLanes; ++lane) {
      lanes.windows[lane] = static_cast<std::int32_t>(place_of(group, lane) * sample_bytes(format_.depth));
    }
    return;
  }
  std::fill_n(lanes.codes, kPermutedLanes, codes.first);
  for (Index first = 0; first < used_lanes_; first += kQuarterLanes) {
    const Index window = kernels_.quarters ? extent_of(group, first, first + kQuarterLanes).begin : 0;
    lanes.windows[first / kQuarterLanes] = static_cast<std::int32_t>(window * sample_bytes(format_.depth));
    for (Index lane = first; lane < std::min(first + kQuarterLanes, used_lanes_); ++lane) {
      lanes.codes[lane] =
          codes.first + static_cast<std::uint32_t>(place_of(group, lane) - window) * codes.step;
    }
  }
}

void PermutedPlanner::fill_weights(const PermutedShape& shape, Index group, float* weights) const noexcept {
  std::fill_n(weights, (shape.taps[0] + shape.taps[1]) * kPermutedLanes, 0.0f);
  const TapSpan* const spans = spans_of(group);
  for (Index i = 0; i < pixels_of(group); ++i) {
    const Index second = i % pixels_;
    const Index lane = i / pixels_ * format_.channels;
    const Index skipped = second == 0 ? 0 : spans[i].first - spans[i - second].first - shape.lead;
    float* to = weights + (second * shape.taps[0] + skipped) * kPermutedLanes + lane;
    const float* const from = table_.weights_of(spans[i]);
    for (Index tap = 0; tap < spans[i].count; ++tap, to += kPermutedLanes) {
      std::fill_n(to, format_.channels, from[tap]);
    }
  }
}

}  // namespace kyv::resize
