// The row pass whose lanes are rows: any number of taps and channels, on every instruction set.
#pragma once

#include "resize/filtered/row_batch.h"
#include "runtime/arena.h"

namespace kyv::resize {

inline constexpr Index kWindowFloats = 4096;  // converted samples that stay in the L1; the least room

// Arrays in the work buffer.
struct TransposedRoom {
  float* samples = nullptr;      // window of converted samples, vectors of rows
  float* results = nullptr;      // row results of one segment, vectors of rows
  Index segment_source = 0;      // source pixels that one segment needs
  bool has_grey_groups = false;  // whether the window holds them for several groups of rows
};

class TransposedRows {
 public:
  static TransposedRoom take_room(runtime::Arena& arena, const Geometry& geometry,
                                  std::int32_t channels) noexcept;
  static Index most_rows_at_once(std::int32_t channels) noexcept;

  // Fits everything.
  TransposedRows(const RowPassFacts& facts, const TransposedRoom& room) noexcept;

  Index rows_at_once() const noexcept { return groups_ * kernels_->lanes; }
  static Index strip_multiple() noexcept { return 64; }
  Index run(Index first_row, const Strip& strip, const SourceRows& source, const RowRing& ring) noexcept;

 private:
  struct Window;

  void set_segment(const RowPassFacts& facts) noexcept;
  void clear_slack(Index count) const noexcept;
  void advance(Window& window, const RowBatch& batch, const TapSpan& first,
               const TapSpan& last) const noexcept;
  void prefetch_after(const Strip& segment, const Strip& strip, const Window& window, const RowBatch& batch,
                      const SourceRows& source) const noexcept;
  void repeat_pixel(const Window& window, const RowBatch& batch, Index from, Index first,
                    Index end) const noexcept;

  const TransposedKernels* kernels_;
  TapTable table_;
  TransposedRoom room_;
  PixelFormat format_;
  Index usable_size_;  // pixels of a row
  Index groups_ = 1;   // vectors' worth of rows, but for the last batch of a grey picture
  VectorContent content_;
  SumKind sums_;
  bool prefetches_;
  Index segment_ = 0;  // destination pixels between two conversions
};

}  // namespace kyv::resize
