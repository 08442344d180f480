// Source rows that are transposed and computed together.
#pragma once

#include "resize/filtered/row_pass.h"
#include "runtime/memory_model.h"

namespace kyv::resize {

inline constexpr Index kMostLanes = 16;
inline constexpr Index kGreyGroups = 4;  // groups of rows of a grey batch: as many sums as RGBA has
inline constexpr Index kMostBatchRows = kGreyGroups * kMostLanes;
inline constexpr auto kBatchLine = static_cast<Index>(runtime::kCacheLine);

// Where rows are missing, the last one stands in.
struct RowBatch {
  Index first = 0;
  Index rows = 0;
  Index groups = 1;
  Index sample = 0;  // floats of one converted sample
  Index pixel = 0;   // floats of one converted pixel
  const std::uint8_t* sources[kMostBatchRows];
  float* targets[kMostBatchRows];

  RowBatch(Index first_row, Index group_count, Index lanes, Index channels, const SourceRows& source,
           const RowRing& ring) noexcept
      : first(first_row), groups(group_count), sample(groups * lanes), pixel(sample * channels) {
    rows = std::min(sample, source.end - first);
    for (Index i = 0; i < sample; ++i) sources[i] = source.row(first + std::min(i, rows - 1));
    list_targets(first, sample, source, ring, targets);
  }
};

// Bytes [begin, end) of the rows behind a batch, as many as it has, which are fetched while it is summed.
class NextBatch {
 public:
  NextBatch(const RowBatch& batch, const SourceRows& source, Index begin, Index end) noexcept
      : source_(source),
        first_(batch.first + batch.rows),
        begin_(begin),
        row_lines_((end - begin + kBatchLine - 1) / kBatchLine),
        lines_(std::int64_t{std::min(batch.sample, source.end - first_)} * row_lines_) {}

  // Parts [from, to) of `whole`, into the L2: one row after the other, as memory likes it. Inlined because
  // compilers drop calls of functions that only prefetch.
  [[gnu::always_inline]] void prefetch(Index from, Index to, Index whole) const noexcept {
    const auto end = static_cast<Index>(lines_ * to / whole);
    for (auto line = static_cast<Index>(lines_ * from / whole); line < end;) {
      const Index row = line / row_lines_;
      const Index row_end = std::min(end, (row + 1) * row_lines_);
      const std::uint8_t* const bytes = source_.row(first_ + row) + begin_;
      for (Index at = line - row * row_lines_; at < row_end - row * row_lines_; ++at)
        resize::prefetch<false>(bytes + at * kBatchLine);
      line = row_end;
    }
  }

 private:
  const SourceRows& source_;
  Index first_;
  Index begin_;
  Index row_lines_;
  std::int64_t lines_;
};

}  // namespace kyv::resize
