// Super-sampling of 8 bits whose source rows are added up before the row pass sees them.
//
// A destination row of a box has whole source rows of equal weight, and in part one at either end. Their sum
// is one row of 16-bit samples, so that a row pass has as many rows as the destination and not as the source.
// It need not give the defined result, whose sums run along the rows first and are rounded on the way: but
// both are within a known distance of the exact one, and only where that distance reaches a place between two
// samples are the sums done as they are defined (after A. Ziv, Fast evaluation of elementary mathematical
// functions with correctly rounded last bit, ACM Trans. Math. Software 17, 1991).
#pragma once

#include "resize/filtered/choose_row_pass.h"

namespace kyv::resize {

// Arrays in the work buffer.
struct FoldedRoom {
  Index rows = 0;         // destination rows that are made at a time; 0 where folding does not fit
  Index row_samples = 0;  // from one row of sums to the next
  Index strip = 0;        // destination pixels that are made at a time
  Index pitch = 0;        // floats from one row of results to the next
  std::uint16_t* sums = nullptr;
  float* results = nullptr;
};

class FoldedRows {
 public:
  static FoldedRoom take_room(runtime::Arena& arena, const Geometry& geometry,
                              std::int32_t channels) noexcept;
  static bool fits(const RowPassFacts& facts, const BuiltTable& y, const FoldedRoom& room) noexcept;

  // For what fits. Tells the probe which row pass runs.
  FoldedRows(const ResizeJob& job, const RowPassFacts& facts, const BuiltTable& y, const FoldedRoom& room,
             const RowPassRoom& row_pass, RowPassProbe& probe) noexcept;

  // Writes destination rows from the first on, and returns how many: fewer than all where too many samples
  // are doubtful.
  Index write() noexcept;

 private:
  struct Box;

  bool write_rows(Index first, Index count, const RowRing& results) noexcept;
  bool find_box(Index row, Box& box) const noexcept;
  void fold(const Box& box, std::uint16_t* sums) const noexcept;
  bool finish(Index row, const Box& box, const Strip& strip, const float* results) noexcept;
  std::uint8_t exact_sample(Index row, Index sample) const noexcept;
  const std::uint8_t* source_row(Index position) const noexcept;

  const ResizeJob& job_;
  const Kernels& kernels_;
  const BuiltTable& x_;
  const BuiltTable& y_;
  const FoldedRoom room_;
  const Geometry geometry_;  // of the rows of sums
  PlannedRowPass planned_;
  const std::int32_t shift_;   // of sums: most bits of 16
  const bool has_exact_sums_;  // whether none is rounded where boxes have no edges
  const bool is_streamed_;
  std::int64_t doubts_left_;
};

}  // namespace kyv::resize
