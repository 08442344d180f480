#include "resize/lane_rows.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "resize/weights.h"

namespace kyv::resize {
namespace {

constexpr std::size_t kCopies = 2 * kPermutedRows;
constexpr std::uint64_t kCachedBytes = std::uint64_t{1} << 20;  // of a source that the second cache holds

// Writes a pixel `count` times, 8 bytes each time: what comes after a pixel is written later, or not used.
void repeat_pixel(const std::uint8_t* pixel, std::size_t bytes, std::int64_t count,
                  std::uint8_t* to) noexcept {
  if (count <= 0) return;
  std::uint64_t value = 0;
  for (std::size_t i = 0; i < bytes; ++i) value |= std::uint64_t{pixel[i]} << (8 * i);
  for (std::int64_t i = 0; i < count; ++i, to += bytes) std::memcpy(to, &value, sizeof value);
}

}  // namespace

LaneRowsStorage take_lane_rows(Arena& arena, const AxisGeometry& axis, Mode mode,
                               std::int32_t channels) noexcept {
  LaneRowsStorage storage;
  storage.plan = take_lane_plan(arena, axis, mode, channels);
  // The first positions of an end's groups lie within a reach or one block of taps of each other.
  const std::int32_t reach = storage.plan.most_reach;
  const Index samples = 2 * reach + kTapBlock * channels;
  storage.end_samples = (static_cast<std::uint64_t>(samples) + 63) / 64 * 64;
  storage.ends = arena.take<std::uint8_t>(kCopies * storage.end_samples * 2);
  return storage;
}

LaneRows::LaneRows(const LaneRowsStorage& storage, const TapTable& table, const AxisGeometry& axis,
                   const LaneSource& source, const PermutedKernels& passes) noexcept
    : usable_size_(axis.usable_size),
      count_(axis.count),
      channels_(source.channels),
      pixel_bytes_(source.channels * source.sample_bytes),
      ends_memory_(storage.ends),
      end_bytes_(static_cast<std::size_t>(storage.end_samples) *
                 static_cast<std::size_t>(source.sample_bytes)) {
  const auto& by_window = passes.depth[source.sample_bytes - 1].pass;
  if (by_window[0][0] == nullptr) return;
  plan_ = build_lane_plan(storage.plan, table, count_, source, passes);
  if (plan_.pixels == 0) return;
  pass_ = by_window[plan_.wide ? 1 : 0][plan_.pixels - 1];
  find_ends(table);
  if (source.bytes > kCachedBytes && plan_.group_count > 1) {
    const std::int64_t positions = plan_.groups[plan_.group_count - 1].first - plan_.groups[0].first;
    group_bytes_ = static_cast<std::ptrdiff_t>(positions * pixel_bytes_ / (plan_.group_count - 1));
  }
  std::memset(ends_memory_, 0, kCopies * end_bytes_);

  constexpr auto kLanes = static_cast<std::int32_t>(kPermutedLanes);
  const std::int32_t samples = kLanes / channels_ * channels_;
  for (std::int32_t i = 0; i < 2 * samples; ++i) {
    const std::int32_t pixel = i / channels_;
    const std::int32_t lane = pixel / 2 * channels_ + i % channels_;
    const std::int32_t second = std::numeric_limits<std::int32_t>::min() + kLanes;
    interleave_[i] = lane + pixel % 2 * second;
  }
}

void LaneRows::find_ends(const TapTable& table) noexcept {
  const PermutedGroup* groups = plan_.groups;
  const TapSpan& span = table.spans[count_ - 1];
  const std::int64_t needed = span.first + span.count;
  const auto reach_of = [&](std::int32_t group) noexcept {
    return groups[group].first + (plan_.reach + channels_ - 1) / channels_;
  };

  while (left_.end < plan_.group_count && groups[left_.end].first < 0) ++left_.end;
  if (left_.end > 0) {
    left_.first = groups[0].first;
    left_.last = std::min<std::int64_t>(reach_of(left_.end - 1), needed);
  }
  right_.begin = right_.end = plan_.group_count;
  while (right_.begin > left_.end &&
         groups[right_.begin - 1].first * std::int64_t{channels_} + plan_.reach > usable_size_ * channels_) {
    --right_.begin;
  }
  if (right_.begin < right_.end) {
    right_.first = groups[right_.begin].first;
    right_.last = needed;
  }
}

void LaneRows::run(const std::uint8_t* const* rows, std::ptrdiff_t ahead, std::int32_t first,
                   std::int32_t count, float* const* out) noexcept {
  const std::int32_t begin = first / plan_.group_pixels;
  const std::int32_t end = (first + count + plan_.group_pixels - 1) / plan_.group_pixels;
  float* to[kPermutedRows];
  const auto from_group = [&](std::int32_t group) noexcept {
    const auto samples =
        static_cast<std::ptrdiff_t>(std::min(group, end) - begin) * plan_.group_pixels * channels_;
    for (std::int32_t i = 0; i < kPermutedRows; ++i) to[i] = out[i] + samples;
    return to;
  };
  const std::int32_t interior = std::max(begin, left_.end);
  const std::int32_t beyond = std::max(begin, right_.begin);
  run_end(left_, 0, rows, begin, std::min(left_.end, end), out);
  run_groups(rows, ahead, 0, interior, std::min(right_.begin, end), from_group(interior));
  run_end(right_, 1, rows, beyond, end, from_group(beyond));
}

void LaneRows::run_end(const End& end, int side, const std::uint8_t* const* rows, std::int32_t begin,
                       std::int32_t stop, float* const* out) noexcept {
  if (begin >= stop) return;
  const std::uint8_t* copies[kPermutedRows];
  for (std::int32_t i = 0; i < kPermutedRows; ++i) {
    std::uint8_t* copy = ends_memory_ + static_cast<std::size_t>(2 * i + side) * end_bytes_;
    copy_end(end, rows[i], copy);
    copies[i] = copy;
  }
  run_groups(copies, 0, end.first, begin, stop, out);
}

void LaneRows::run_groups(const std::uint8_t* const* rows, std::ptrdiff_t ahead, std::int64_t origin,
                          std::int32_t begin, std::int32_t stop, float* const* out) const noexcept {
  if (begin >= stop) return;
  PermutedArgs args;
  args.rows = rows;
  args.origin = origin;
  args.groups = plan_.groups + begin;
  args.count = stop - begin;
  args.lanes = plan_.lanes;
  args.weights = plan_.weights;
  args.weights_stride = plan_.weights_stride;
  args.taps[0] = plan_.taps[0];
  args.taps[1] = plan_.taps[1];
  args.lead = plan_.lead;
  args.code_step = plan_.code_step;
  args.window_positions = plan_.window_positions;
  args.window_step = static_cast<std::ptrdiff_t>(plan_.window_positions) * pixel_bytes_;
  args.pixel_bytes = pixel_bytes_;
  args.group_samples = static_cast<std::size_t>(plan_.group_pixels) * static_cast<std::size_t>(channels_);
  args.ahead = ahead;
  args.prefetched = ahead == 0 ? 0 : group_bytes_;
  args.channels = channels_;
  args.interleave = interleave_;
  args.out = out;
  pass_(args);
}

void LaneRows::copy_end(const End& end, const std::uint8_t* row, std::uint8_t* copy) const noexcept {
  const auto at = [&](std::int64_t position) noexcept {
    return static_cast<std::size_t>((position - end.first) * pixel_bytes_);
  };
  const auto pixel = static_cast<std::size_t>(pixel_bytes_);
  const std::int64_t begin = std::clamp<std::int64_t>(end.first, 0, usable_size_);
  const std::int64_t stop = std::clamp<std::int64_t>(end.last, 0, usable_size_);
  repeat_pixel(row, pixel, std::min<std::int64_t>(end.last, 0) - end.first, copy);
  if (begin < stop) {
    std::memcpy(copy + at(begin), row + begin * pixel_bytes_, static_cast<std::size_t>(stop - begin) * pixel);
  }
  const std::int64_t beyond = std::max(end.first, usable_size_);
  repeat_pixel(row + (usable_size_ - 1) * pixel_bytes_, pixel, end.last - beyond, copy + at(beyond));
}

}  // namespace kyv::resize
