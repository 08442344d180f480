// Every array of a filtered resize, in the one work buffer.
#pragma once

#include "resize/filtered/folded_rows.h"

namespace kyv::resize {

// All sizes grow with the counts, the sizes, the inverse factors and the filter's radius, so that a buffer
// for larger ones always suffices. None is larger than the picture needs: system heaps are slow to give and
// take large blocks.
struct Workspace {
  TapTableRoom x;
  TapTableRoom y;
  RowPassRoom row_pass;
  FoldedRoom folded;        // in the place of the ring and the totals
  Index kept_rows = 0;      // source rows that the ring has to hold besides those of a batch
  Index most_rows = 0;      // that it ever holds
  Index longest_strip = 0;  // of sums that need totals
  Index ring_floats = 0;
  float* ring = nullptr;
  Index totals_pitch = 0;
  float* totals = nullptr;  // of kActiveRows destination rows

  Workspace(runtime::Arena& arena, const Geometry& geometry, std::int32_t channels) noexcept;

  Index ring_rows(Index rows_at_once) const noexcept { return std::min(kept_rows + rows_at_once, most_rows); }
};

// Floats of the ring beyond a row's results: what row passes write there, and column sums read.
inline constexpr Index kRingSlack = 32;
static_assert(std::max({kTransposedSlack, kPermutedSlack, kShuffledSlack, kColumnSlack}) <= kRingSlack);

// Destination rows that a source row contributes to, where they have totals.
inline constexpr Index kActiveRows = 8;

}  // namespace kyv::resize
