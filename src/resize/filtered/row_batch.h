// Source rows that are transposed and computed together.
#pragma once

#include "resize/filtered/row_pass.h"

namespace kyv::resize {

inline constexpr Index kMostLanes = 16;
inline constexpr Index kGreyGroups = 4;  // groups of rows of a grey batch: as many sums as RGBA has
inline constexpr Index kMostBatchRows = kGreyGroups * kMostLanes;

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

}  // namespace kyv::resize
