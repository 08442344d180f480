#include "resize/filtered/permuted_rows.h"

#include <cstring>
#include <limits>

namespace kyv::resize {
namespace {

constexpr Index kCopies = 2 * kPermutedRows;

// Writes a pixel `count` times, 8 bytes each time: what comes after a pixel is written later, or not used.
void repeat_pixel(const std::uint8_t* pixel, Index bytes, Index count, std::uint8_t* to) noexcept {
  if (count <= 0) return;
  std::uint64_t value = 0;
  for (Index i = 0; i < bytes; ++i) value |= std::uint64_t{pixel[i]} << (8 * i);
  for (Index i = 0; i < count; ++i, to += bytes) std::memcpy(to, &value, sizeof value);
}

}  // namespace

PermutedRoom PermutedRows::take_room(runtime::Arena& arena, const AxisGeometry& axis, Mode mode,
                                     std::int32_t channels) noexcept {
  PermutedRoom room;
  room.plan = take_permuted_plan(arena, axis, mode, channels);
  // The first positions of an end's groups lie within a reach or one block of taps of each other.
  room.end_samples = (2 * room.plan.most_reach + kTapBlock * channels + 63) / 64 * 64;
  room.ends = arena.take<std::uint8_t>(static_cast<std::uint64_t>(kCopies * room.end_samples * 2));
  return room;
}

PermutedRows::PermutedRows(const RowPassFacts& facts, const PermutedRoom& room,
                           const PermutedPlan& plan) noexcept
    : plan_(plan),
      format_(facts.format),
      usable_size_(facts.geometry.x.usable_size),
      copies_(room.ends),
      copy_bytes_(room.end_samples * sample_bytes(format_.depth)) {
  const PermutedShape& shape = plan.shape;
  const PermutedDepth& kernels = facts.kernels.permuted.depth[format_.depth];
  pass_ = kernels.pass[shape.window][shape.pixels - 1];
  const Index pixel_bytes = format_.pixel_bytes();
  args_ = {.lanes = plan.lanes,
           .weights = plan.weights,
           .weights_stride = plan.weights_stride,
           .taps = {shape.taps[0], shape.taps[1]},
           .lead = shape.lead,
           .code_step = format_.channels * static_cast<std::int32_t>(kernels.codes.step),
           .window_positions = shape.window_positions,
           .window_step = shape.window_positions * pixel_bytes,
           .pixel_bytes = pixel_bytes,
           .group_samples = shape.group_pixels * format_.channels,
           .channels = format_.channels};
  const Index groups = shape.group_count;
  if (facts.source_bytes() > facts.tuning.prefetched_source && groups > 1) {
    prefetched_ = (plan.groups[groups - 1].first - plan.groups[0].first) * pixel_bytes / (groups - 1);
  }
  find_ends(facts.last_span());
  std::fill_n(copies_, kCopies * copy_bytes_, std::uint8_t{0});

  constexpr auto kLanes = static_cast<std::int32_t>(kPermutedLanes);
  constexpr std::int32_t kOfSecond = std::numeric_limits<std::int32_t>::min() + kLanes;
  for (std::int32_t i = 0; i < 2 * (kLanes / format_.channels * format_.channels); ++i) {
    const std::int32_t pixel = i / format_.channels;
    interleave_[i] = pixel / 2 * format_.channels + i % format_.channels + pixel % 2 * kOfSecond;
  }
}

void PermutedRows::find_ends(const TapSpan& last_span) noexcept {
  const PermutedGroup* const groups = plan_.groups;
  const Index group_count = plan_.shape.group_count;
  const Index reach = plan_.shape.reach;
  while (left_.groups.end < group_count && groups[left_.groups.end].first < 0) ++left_.groups.end;
  if (left_.groups.end > 0) {
    left_.first = groups[0].first;
    const Index reached =
        groups[left_.groups.end - 1].first + (reach + format_.channels - 1) / format_.channels;
    left_.last = std::min(reached, last_span.end());
  }
  right_.groups.begin = right_.groups.end = group_count;
  while (right_.groups.begin > left_.groups.end &&
         groups[right_.groups.begin - 1].first * Index{format_.channels} + reach >
             usable_size_ * format_.channels) {
    --right_.groups.begin;
  }
  if (right_.groups.begin < right_.groups.end) {
    right_.first = groups[right_.groups.begin].first;
    right_.last = last_span.end();
  }
}

Index PermutedRows::run(Index first_row, const Strip& strip, const SourceRows& source,
                        const RowRing& ring) noexcept {
  const std::uint8_t* rows[kPermutedRows];
  float* targets[kPermutedRows];
  for (Index i = 0; i < kPermutedRows; ++i) rows[i] = source.row(std::min(first_row + i, source.end - 1));
  list_targets(first_row, kPermutedRows, source, ring, targets);
  const GroupRange groups{
      strip.first / plan_.shape.group_pixels,
      (strip.first + strip.count + plan_.shape.group_pixels - 1) / plan_.shape.group_pixels};

  // Filled anew for each part: a copy would wait for what was just stored.
  PermutedArgs args = args_;
  args.interleave = interleave_;
  run_end(left_, 0, rows, groups, targets, args);
  const bool is_followed = first_row + 2 * kPermutedRows <= source.end;
  args.rows = rows;
  args.origin = 0;
  args.ahead = is_followed ? kPermutedRows * source.step : 0;
  args.prefetched = is_followed ? prefetched_ : 0;
  run_groups({left_.groups.end, right_.groups.begin}, groups, targets, args);
  args.ahead = args.prefetched = 0;
  run_end(right_, 1, rows, groups, targets, args);
  return std::min(kPermutedRows, source.end - first_row);
}

void PermutedRows::run_end(const End& end, Index side, const std::uint8_t* const* rows,
                           const GroupRange& strip, float* const* targets,
                           PermutedArgs& args) const noexcept {
  if (std::max(end.groups.begin, strip.begin) >= std::min(end.groups.end, strip.end)) return;
  const std::uint8_t* copies[kPermutedRows];
  for (Index i = 0; i < kPermutedRows; ++i) {
    std::uint8_t* const copy = copies_ + (2 * i + side) * copy_bytes_;
    copy_end(end, rows[i], copy);
    copies[i] = copy;
  }
  args.rows = copies;
  args.origin = end.first;
  run_groups(end.groups, strip, targets, args);
}

// The groups of a part that lie in the strip, whose results begin at the targets.
void PermutedRows::run_groups(const GroupRange& part, const GroupRange& strip, float* const* targets,
                              PermutedArgs& args) const noexcept {
  const Index begin = std::max(part.begin, strip.begin);
  const Index end = std::min(part.end, strip.end);
  if (begin >= end) return;
  float* out[kPermutedRows];
  for (Index i = 0; i < kPermutedRows; ++i) out[i] = targets[i] + (begin - strip.begin) * args.group_samples;
  args.groups = plan_.groups + begin;
  args.count = end - begin;
  args.out = out;
  pass_(args);
}

void PermutedRows::copy_end(const End& end, const std::uint8_t* row, std::uint8_t* copy) const noexcept {
  const Index pixel = format_.pixel_bytes();
  const auto at = [&](Index position) noexcept { return copy + (position - end.first) * pixel; };
  const Index begin = std::clamp<Index>(end.first, 0, usable_size_);
  const Index stop = std::clamp<Index>(end.last, 0, usable_size_);
  repeat_pixel(row, pixel, std::min<Index>(end.last, 0) - end.first, copy);
  if (begin < stop) std::copy(row + begin * pixel, row + stop * pixel, at(begin));
  const Index beyond = std::max(end.first, usable_size_);
  repeat_pixel(row + (usable_size_ - 1) * pixel, pixel, end.last - beyond, at(beyond));
}

}  // namespace kyv::resize
