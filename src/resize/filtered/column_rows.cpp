#include "resize/filtered/column_rows.h"

#include <limits>

#include "runtime/memory_model.h"

namespace kyv::resize {
namespace {

// Samples that are finished for all rows together: those of a destination row's taps stay in the L1, but for
// sums of many taps, whose chunks would be too short to stream. Whole groups: the last one of a row ends
// where the ring's slack was cleared.
constexpr Index kChunkTaps = 8192;
constexpr Index kLeastChunk = 512;

// Samples of a destination row that go past the caches together.
constexpr Index kStreamedSamples = 1024;

// Of products that are multiples of 2^last_place.
ColumnSumKind kind_of_sums(std::int32_t last_place, Depth depth) noexcept {
  if (sums_fit_doubles(last_place, depth)) return ColumnSumKind::kExact;
  const std::int32_t smallest = std::numeric_limits<float>::min_exponent - std::numeric_limits<float>::digits;
  return last_place >= smallest ? ColumnSumKind::kNormal : ColumnSumKind::kAny;
}

}  // namespace

ColumnRows::ColumnRows(const ResizeJob& job, const BuiltTable& table, std::int32_t row_last_place,
                       const Workspace& work, const Kernels& kernels) noexcept
    : job_(job),
      kernels_(kernels),
      work_(work),
      table_(table.table),
      count_(job.geometry.y.count),
      last_source_(job.geometry.y.usable_size - 1),
      sum_kind_(kind_of_sums(row_last_place + table.last_place, job.format.depth)),
      streamed_(kernels.bytes.stream != nullptr && job.has_large_destination()) {}

void ColumnRows::begin(const Strip& strip, Index row) noexcept {
  strip_ = strip;
  samples_ = strip.count * job_.format.channels;
  next_row_ = row;
}

void ColumnRows::write_above(Index end, const RowRing& ring) noexcept {
  if (table_.stride > kTapBlock) {
    write_long_sums(end, ring);
  } else {
    write_short_sums(end, ring);
  }
}

void ColumnRows::finish() const noexcept {
  if (streamed_) kernels_.bytes.stream_fence();
}

// Chunk by chunk, so that the ring is read from the L1.
void ColumnRows::write_short_sums(Index end, const RowRing& ring) noexcept {
  const Index first = next_row_;
  while (next_row_ < count_ && is_complete(table_.spans[next_row_], end)) {
    const bool pair = starts_pair(next_row_);
    if (pair && !is_complete(table_.spans[next_row_ + 1], end)) break;
    next_row_ += pair ? 2 : 1;
  }
  const Index fitting = kChunkTaps / table_.stride / kColumnGroup * kColumnGroup;
  const Index most = streamed_ ? kStreamedSamples : std::max(fitting, kLeastChunk);
  for (Index x = 0; x < samples_; x += most) {
    for (Index row = first; row < next_row_;) {
      const Index rows = starts_pair(row) ? 2 : 1;
      write_chunk(row, rows, x, std::min(most, samples_ - x), ring);
      row += rows;
    }
  }
}

// Samples [x, x + samples) of one or two destination rows.
void ColumnRows::write_chunk(Index row, Index rows, Index x, Index samples,
                             const RowRing& ring) const noexcept {
  const TapSpan* const span = table_.spans + row;
  const TapSpan& last = span[rows - 1];
  const float* taps[3 * kTapBlock];
  ring.list(span->first, last.end(), last_source_, x, taps);

  alignas(runtime::kCacheLine) std::uint8_t staged[2][sizeof(std::uint16_t) * kStreamedSamples];
  ColumnArgs args{.rows = taps, .lead = last.first - span->first, .samples = samples, .kind = sum_kind_};
  for (Index r = 0; r < rows; ++r) {
    args.weights[r] = table_.weights_of(span[r]);
    args.count[r] = span[r].count;
    args.dst[r] = streamed_ ? staged[r] : destination(row + r, x);
  }
  kernels_.columns.sum[job_.format.depth](args);
  for (Index r = 0; streamed_ && r < rows; ++r) {
    kernels_.bytes.stream(staged[r], destination(row + r, x), samples * sample_bytes(job_.format.depth));
  }
}

// Rows of several blocks of taps: each block is summed as soon as its source rows are there.
void ColumnRows::write_long_sums(Index end, const RowRing& ring) noexcept {
  for (Index row = next_row_; row < count_; ++row) {
    const TapSpan& span = table_.spans[row];
    Index& done = taps_done_[row % kActiveRows];
    float* const totals = work_.totals + row % kActiveRows * work_.totals_pitch;
    while (done < span.count) {
      const Index taps = std::min<Index>(kTapBlock, span.count - done);
      if (std::clamp<Index>(span.first + done + taps - 1, 0, last_source_) >= end) break;
      add_block(span, done, taps, ring, totals);
      done += taps;
    }
    if (done == 0) return;
    if (done < span.count) continue;
    kernels_.columns.round[job_.format.depth](totals, samples_, destination(row, 0));
    done = 0;
    next_row_ = row + 1;
  }
}

void ColumnRows::add_block(const TapSpan& span, Index done, Index taps, const RowRing& ring,
                           float* totals) const noexcept {
  const float* rows[kTapBlock];
  ring.list(span.first + done, span.first + done + taps, last_source_, 0, rows);
  kernels_.columns.add_block({.rows = rows,
                              .weights = {table_.weights_of(span) + done, nullptr},
                              .count = {taps, 0},
                              .samples = samples_},
                             done == 0, totals);
}

}  // namespace kyv::resize
