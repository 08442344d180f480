// The column pass: destination rows from the row results in the ring. It never sees the source.
#pragma once

#include "resize/filtered/workspace.h"

namespace kyv::resize {

class ColumnRows {
 public:
  // `row_last_place`: the last place of the row results, which are multiples of 2 to its power.
  ColumnRows(const ResizeJob& job, const BuiltTable& table, std::int32_t row_last_place,
             const Workspace& work, const Kernels& kernels) noexcept;

  // Of destination rows, from `row` on.
  void begin(const Strip& strip, Index row) noexcept;

  // Writes the destination rows whose taps lie above source row `end`.
  void write_above(Index end, const RowRing& ring) noexcept;

  // What went past the caches is there for others.
  void finish() const noexcept;

 private:
  void write_short_sums(Index end, const RowRing& ring) noexcept;
  void write_chunk(Index row, Index rows, Index x, Index samples, const RowRing& ring) const noexcept;
  void write_long_sums(Index end, const RowRing& ring) noexcept;
  void add_block(const TapSpan& span, Index done, Index taps, const RowRing& ring,
                 float* totals) const noexcept;

  bool is_complete(const TapSpan& span, Index end) const noexcept {
    return std::clamp<Index>(span.end() - 1, 0, last_source_) < end;
  }
  bool starts_pair(Index row) const noexcept {
    return row + 1 < count_ && overlap(table_.spans[row], table_.spans[row + 1]);
  }
  std::uint8_t* destination(Index row, Index sample) const noexcept {
    return job_.first_destination() + row * job_.dst_step + strip_.first * job_.format.pixel_bytes() +
           sample * sample_bytes(job_.format.depth);
  }

  const ResizeJob& job_;
  const Kernels& kernels_;
  const Workspace& work_;
  const TapTable table_;
  const Index count_;        // destination rows
  const Index last_source_;  // row
  const ColumnSumKind sum_kind_;
  const bool streamed_;
  Strip strip_;
  Index samples_ = 0;  // of a row of the strip
  Index next_row_ = 0;
  Index taps_done_[kActiveRows] = {};
};

}  // namespace kyv::resize
