#include "resize/filtered/folded_rows.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>

#include "runtime/memory_model.h"

namespace kyv::resize {
namespace {

constexpr double kLeastInverse = 2.0;
constexpr std::uint64_t kLeastRows = 8;     // as the shuffled pass takes, never fewer
constexpr std::uint64_t kMostRows = 16;     // as the transposed pass takes
constexpr std::uint64_t kSums = 128 << 10;  // that stay in the L2, unless fewer rows need more
constexpr std::uint64_t kSumsMultiple = 32;
constexpr Index kStripSamples = 4096;
constexpr Index kStripMultiple = 320;  // destination pixels: of 64 and 160
constexpr Index kAhead = 2048;         // bytes
constexpr Index kChunk = 1024;         // samples that are rounded together

// More doubtful samples than these: pictures of ramps and of two values were slower with folding to the end.
constexpr std::int64_t kSamplesPerDoubt = 32;
constexpr std::int64_t kFirstDoubts = 128;

constexpr Index kLargestSample = 255;
constexpr Index kLargestSum = 65535;
constexpr std::int32_t kMostShift = 6;  // of what the edges add: it keeps to 15 bits
constexpr double kWholePart = 32768.0;  // of an edge
constexpr double kLargestPart = 32767.0;

// Half the last place of a float: of sums, which are below 2^16, and of samples, below 2^8.
constexpr double kSumRounding = 0x1p-9;
constexpr double kSampleRounding = 0x1p-17;
constexpr double kMargin = 1.01;  // beside what is left out of the errors: products of two of them
constexpr float kNeverDoubtful = 0.75f;

// Whether no float is ever rounded, neither here nor in the defined sums: sums have 16 bits before the point,
// samples 8.
bool sums_fit_floats(const BuiltTable& x, const BuiltTable& y) noexcept {
  constexpr std::int32_t digits = std::numeric_limits<float>::digits;
  return 16 - x.last_place <= digits && 8 - x.last_place - y.last_place <= digits;
}

// Sums of so many rows fit 16 bits, and their edges 15.
std::int32_t most_shift(Index rows) noexcept {
  const auto fitting = static_cast<std::uint32_t>(kLargestSum / (kLargestSample * rows));
  return std::min(static_cast<std::int32_t>(std::bit_width(fitting)) - 1, kMostShift);
}

}  // namespace

// The source rows of a destination row: those with the weight `whole`, and one on either side with less.
struct FoldedRows::Box {
  double whole = 0.0;
  Index first = 0;  // row of weight `whole`, and one past the last
  Index end = 0;
  bool has_edges = false;
  std::uint16_t parts[2] = {};
  double error = 0.0;  // of a sum, at most
};

FoldedRoom FoldedRows::take_room(runtime::Arena& arena, const Geometry& geometry,
                                 std::int32_t channels) noexcept {
  FoldedRoom room;
  if (geometry.mode != Mode::kSuper || !(geometry.y.inverse >= kLeastInverse)) return room;
  const auto samples_of = [&](std::int32_t pixels) noexcept {
    return static_cast<std::uint64_t>(pixels) * static_cast<std::uint64_t>(channels);
  };
  const std::uint64_t row_samples =
      (samples_of(geometry.x.usable_size) + kSumsMultiple - 1) / kSumsMultiple * kSumsMultiple;
  const auto count = static_cast<std::uint64_t>(geometry.y.count);
  const std::uint64_t most = std::min(kMostRows, count);
  const std::uint64_t sums =
      std::max(std::min(kLeastRows, count) * row_samples, std::min(most * row_samples, kSums));
  room.row_samples = static_cast<Index>(row_samples);
  room.rows = static_cast<Index>(sums / row_samples);
  room.sums = arena.take<std::uint16_t>(sums);
  room.strip = std::min<Index>(geometry.x.count, kStripSamples / channels / kStripMultiple * kStripMultiple);
  const std::uint64_t pitch =
      RowRing::pitch_of(samples_of(static_cast<std::int32_t>(room.strip)), kFoldedTile);
  room.pitch = static_cast<Index>(pitch);
  room.results = arena.take<float>((most + 1) * pitch);
  return room;
}

bool FoldedRows::fits(const RowPassFacts& facts, const BuiltTable& y, const FoldedRoom& room) noexcept {
  const Index samples = Index{facts.geometry.x.usable_size} * facts.format.channels;
  const Index least = facts.kernels.folds.least_samples;
  return room.rows > 0 && facts.format.depth == kDepth8 && least > 0 && samples >= least &&
         facts.x.most_taps <= kTapBlock && y.most_taps <= kTapBlock;
}

FoldedRows::FoldedRows(const ResizeJob& job, const RowPassFacts& facts, const BuiltTable& y,
                       const FoldedRoom& room, const RowPassRoom& row_pass, RowPassProbe& probe) noexcept
    : job_(job),
      kernels_(facts.kernels),
      x_(facts.x),
      y_(y),
      room_(room),
      geometry_{.x = job.geometry.x,
                .y = {.count = job.geometry.y.count, .usable_size = job.geometry.y.count},
                .mode = Mode::kSuper},
      planned_(choose_row_pass({{kDepth16, job.format.channels}, geometry_, x_, kernels_, job.tuning},
                               row_pass, probe.wanted)),
      shift_(most_shift(y.most_taps)),
      has_exact_sums_(sums_fit_floats(x_, y)),
      is_streamed_(kernels_.bytes.stream != nullptr && job.has_large_destination()),
      doubts_left_(kFirstDoubts) {
  probe.chosen = planned_.choice;
}

Index FoldedRows::write() noexcept {
  const RowRing results(room_.results, room_.rows, room_.pitch);
  const Index samples = room_.strip * job_.format.channels;
  results.clear_slack(samples, rounded_up(samples, kFoldedTile) - samples);
  const std::int64_t count = job_.geometry.y.count;
  const auto least = std::min(static_cast<std::int64_t>(kLeastRows), count);
  const std::int64_t fitting = 2 * job_.tuning.ring_floats / room_.row_samples;
  const std::int64_t most = std::clamp<std::int64_t>(fitting, least, room_.rows);
  const std::int64_t batches = (count + most - 1) / most;
  std::int64_t written = 0;
  for (std::int64_t k = 1; k <= batches; ++k) {
    // Batches alike; where one would be too small, it has some rows of the one before.
    const std::int64_t end = std::max(count * k / batches, least);
    const std::int64_t first = std::min(written, end - least);
    if (!write_rows(static_cast<Index>(first), static_cast<Index>(end - first), results)) break;
    written = end;
  }
  if (is_streamed_) kernels_.bytes.stream_fence();
  return static_cast<Index>(written);
}

bool FoldedRows::write_rows(Index first, Index count, const RowRing& results) noexcept {
  Box boxes[kMostRows];
  for (Index i = 0; i < count; ++i) {
    if (!find_box(first + i, boxes[i])) return false;
    fold(boxes[i], room_.sums + i * room_.row_samples);
  }
  const SourceRows sums{.first = reinterpret_cast<const std::uint8_t*>(room_.sums),
                        .step = room_.row_samples * sample_bytes(kDepth16),
                        .usable_size = count,
                        .end = count};
  for (Index x = 0; x < job_.geometry.x.count; x += room_.strip) {
    const Strip strip{x, std::min<Index>(room_.strip, job_.geometry.x.count - x)};
    for (Index row = 0; row < count;) {
      row += with_row_pass(planned_.pass, [&](auto& pass) { return pass.run(row, strip, sums, results); });
    }
    for (Index i = 0; i < count; ++i) {
      if (!finish(first + i, boxes[i], strip, results.row(i))) return false;
    }
  }
  return true;
}

// False where weights are not those of a box.
bool FoldedRows::find_box(Index row, Box& box) const noexcept {
  const TapSpan& span = y_.table.spans[row];
  const float* const weights = y_.table.weights_of(span);
  const float whole = weights[span.count / 2];
  const Index last = span.count - 1;
  const bool edges[2] = {weights[0] != whole, weights[last] != whole};
  box = {.whole = whole,
         .first = span.first + (edges[0] ? 1 : 0),
         .end = span.end() - (edges[1] ? 1 : 0),
         .has_edges = edges[0] || edges[1],
         .error = edges[0] || edges[1] ? 0.5 : 0.0};
  for (Index i = 0; i < 2; ++i) {
    const double part = weights[i * last] / box.whole;
    if (!(part >= 0.0 && part <= 1.0)) return false;
    if (!edges[i]) continue;
    const double rounded = std::min(std::floor(part * kWholePart + 0.5), kLargestPart);
    box.parts[i] = static_cast<std::uint16_t>(rounded);
    box.error += std::abs(part - rounded / kWholePart) * static_cast<double>(kLargestSample << shift_);
  }
  return std::all_of(weights + (box.first - span.first), weights + (box.end - span.first),
                     [&](float weight) { return weight == whole; });
}

void FoldedRows::fold(const Box& box, std::uint16_t* sums) const noexcept {
  const std::uint8_t* rows[kTapBlock];
  for (Index i = box.first; i < box.end; ++i) rows[i - box.first] = source_row(i);
  const bool is_prefetched = job_.source_bytes() > job_.tuning.prefetched_source;
  FoldArgs args{.rows = rows,
                .count = box.end - box.first,
                .shift = shift_,
                .samples = Index{job_.geometry.x.usable_size} * job_.format.channels,
                .ahead = is_prefetched ? kAhead : 0};
  args.sums = sums;
  for (Index i = 0; i < 2 && box.has_edges; ++i) {
    args.edges[i] = source_row(i == 0 ? box.first - 1 : box.end);
    args.parts[i] = box.parts[i];
  }
  kernels_.folds.fold(args);
}

// Rounds a strip of a destination row. False where more samples are doubtful than pays.
//
// How far a value and the defined result may lie apart: each tap of either is one rounding, and the weights
// of an axis add up to 1. The scale and its product are two more.
bool FoldedRows::finish(Index row, const Box& box, const Strip& strip, const float* results) noexcept {
  const double unit = box.whole / (1 << shift_);
  const auto taps_x = static_cast<double>(x_.most_taps);
  const auto taps_y = static_cast<double>(y_.most_taps);
  const double error = (taps_x + taps_y + 2.0) * kSampleRounding + (taps_x * kSumRounding + box.error) * unit;
  FoldedValues values{.scale = static_cast<float>(unit),
                      .limit = has_exact_sums_ && !box.has_edges ? kNeverDoubtful
                                                                 : static_cast<float>(0.5 - kMargin * error)};
  const Index samples = strip.count * job_.format.channels;
  std::uint8_t* const dst =
      job_.first_destination() + row * job_.dst_step + strip.first * job_.format.pixel_bytes();
  alignas(runtime::kCacheLine) std::uint8_t staged[kChunk];
  for (Index x = 0; x < samples; x += kChunk) {
    values.sums = results + x;
    values.samples = std::min(kChunk, samples - x);
    values.dst = is_streamed_ ? staged : dst + x;
    Index doubtful[kChunk];
    const Index count = kernels_.folds.round(values, doubtful);
    doubts_left_ += values.samples / kSamplesPerDoubt - count;
    if (doubts_left_ < 0) return false;
    for (Index i = 0; i < count; ++i) {
      values.dst[doubtful[i]] = exact_sample(row, strip.first * job_.format.channels + x + doubtful[i]);
    }
    if (is_streamed_) kernels_.bytes.stream(staged, dst + x, values.samples);
  }
  return true;
}

std::uint8_t FoldedRows::exact_sample(Index row, Index sample) const noexcept {
  const Index channels = job_.format.channels;
  const TapSpan& column = x_.table.spans[sample / channels];
  const TapSpan& span = y_.table.spans[row];
  const std::uint8_t* rows[kTapBlock];
  for (Index i = 0; i < span.count; ++i) rows[i] = source_row(span.first + i) + sample % channels;
  return kernels_.folds.exact({.rows = rows,
                               .row_weights = y_.table.weights_of(span),
                               .row_count = span.count,
                               .weights = x_.table.weights_of(column),
                               .first = column.first,
                               .count = column.count,
                               .last = job_.geometry.x.usable_size - 1,
                               .pixel = channels});
}

const std::uint8_t* FoldedRows::source_row(Index position) const noexcept {
  const Index last = job_.geometry.y.usable_size - 1;
  return job_.first_source() + std::clamp<Index>(position, 0, last) * job_.src_step;
}

}  // namespace kyv::resize
