// What every row pass is told and how it is used.
//
// A row pass turns source rows into row results: floats, one for each destination sample of a strip, in the
// ring. It never sees a destination row. There are four, each a class with
//   a plan from facts and room, if it fits: plan(), a planner, or a constructor where everything fits;
//                        whether it is the fastest one is not its business
//   rows_at_once()       source rows that a run takes; the ring has room for as many beside those it keeps
//   strip_multiple()     destination pixels of which a strip's width is a multiple, unless the row ends
//   run(first_row, strip, source, ring)
//                        row results of the rows from `first_row` on; how many rows that were
#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>

#include "resize/filtered/row_ring.h"
#include "resize/filtered/tap_table.h"
#include "resize/job.h"
#include "resize/kernels/kernels.h"

namespace kyv::resize {

enum class RowPassKind : std::uint8_t { kTransposed, kRunning, kPermuted, kShuffled };

struct RowPassChoice {
  RowPassKind kind = RowPassKind::kTransposed;
  const char* reason = "";
};

// For tests and tools: what row pass is wanted, and which one ran; whether rows are to be folded, and were.
// Without such a wish, sums of whole numbers may stand for all of that.
struct RowPassProbe {
  std::optional<RowPassKind> wanted;  // taken wherever it fits
  std::optional<bool> folding;        // wherever it fits, or nowhere
  RowPassChoice chosen;
  bool has_folded = false;
  bool is_in_integers = false;
};

// What a row pass is planned and chosen by.
struct RowPassFacts {
  PixelFormat format;
  const Geometry& geometry;
  const BuiltTable& x;
  const Kernels& kernels;
  Tuning tuning;

  std::uint64_t source_samples() const noexcept {
    return geometry.source_pixels() * static_cast<std::uint64_t>(format.channels);
  }
  std::uint64_t source_bytes() const noexcept {
    return source_samples() * static_cast<std::uint64_t>(sample_bytes(format.depth));
  }
  const TapSpan& first_span() const noexcept { return x.table.spans[0]; }
  const TapSpan& last_span() const noexcept { return x.table.spans[geometry.x.count - 1]; }
};

// Neighbouring destination columns, counted from the first that is written; they are finished before the
// next.
struct Strip {
  Index first = 0;
  Index count = 0;
};

// The rows of the region.
struct SourceRows {
  const std::uint8_t* first = nullptr;
  Index step = 0;         // bytes
  Index usable_size = 0;  // rows that may be read
  Index end = 0;          // one past the last that is needed

  const std::uint8_t* row(Index y) const noexcept { return first + y * step; }
};

// The row results' place for `count` source rows from `first_row` on; rows that are not needed share one.
inline void list_targets(Index first_row, Index count, const SourceRows& source, const RowRing& ring,
                         float** targets) noexcept {
  float* row = ring.row(first_row);
  const Index wanted = std::min(count, source.end - first_row);
  for (Index i = 0; i < wanted; ++i, row = ring.row_after(row)) targets[i] = row;
  std::fill(targets + wanted, targets + count, ring.unwanted());
}

}  // namespace kyv::resize
