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

// Lines [begin, end) of what the rows from `first_row` on have from byte `offset` on, `row_lines` of each,
// into the L2: one row after the other, as memory likes it.
[[gnu::always_inline]] inline void prefetch_lines(const SourceRows& source, Index first_row, Index offset,
                                                  Index row_lines, Index begin, Index end) noexcept {
  for (Index line = begin; line < end;) {
    const Index row = line / row_lines;
    const Index row_end = std::min(end, (row + 1) * row_lines);
    const std::uint8_t* const from = source.row(first_row + row) + offset;
    for (Index at = line - row * row_lines; at < row_end - row * row_lines; ++at)
      prefetch<false>(from + at * kBatchLine);
    line = row_end;
  }
}

}  // namespace kyv::resize
