// The row pass of reductions: rows are lanes, and each converted sample is added at once to every sum that
// needs it, so that the samples of a sum need not be kept until it is their turn.
#pragma once

#include "resize/filtered/row_batch.h"
#include "resize/filtered/running_plan.h"

namespace kyv::resize {

struct RunningRoom {
  RunningPlanRoom plan;
  float* samples = nullptr;  // of a chunk, vectors of rows: converted or packed
  float* results = nullptr;  // that are held, vectors of rows
};

class RunningRows {
 public:
  static RunningRoom take_room(runtime::Arena& arena, const AxisGeometry& axis, Mode mode,
                               Index least_weights) noexcept;

  // Nothing where more sums are open at a position than there are kernels for, where the pass would make more
  // results than it has room for (enlargements and slight reductions), or where the weights outgrow theirs.
  static std::optional<RunningRows> plan(const RowPassFacts& facts, const RunningRoom& room) noexcept;

  Index rows_at_once() const noexcept { return groups_ * kernels_->lanes; }
  static Index strip_multiple() noexcept { return 64; }
  Index run(Index first_row, const Strip& strip, const SourceRows& source,
            const RowRing& ring) const noexcept;

 private:
  struct Chunk;
  struct Progress;

  RunningRows(const RowPassFacts& facts, const RunningPlan& plan, const RunningRoom& room) noexcept;

  Index vectors_at_once(Index vectors) const noexcept;
  Chunk chunk_at(Index position, Index last, const RowBatch& batch) const noexcept;
  void convert(const RowBatch& batch, const Chunk& chunk) const noexcept;
  void pack(const RowBatch& batch, const Chunk& chunk) const noexcept;
  void add(const RowBatch& batch, const Chunk& chunk, Index end, Progress& progress) const noexcept;
  Index next_block(Index end, const Progress& progress) const noexcept;
  void end_blocks(const RowBatch& batch, Progress& progress) const noexcept;
  void store(const RowBatch& batch, const Strip& strip, Progress& progress) const noexcept;

  const TransposedKernels* kernels_;
  const RunningKernels* running_;
  RunningPlan plan_;
  RunningRoom room_;
  PixelFormat format_;
  Index usable_size_;  // pixels of a row
  Index groups_ = 1;   // vectors' worth of rows, but for the last batch of a grey picture
  Index chunk_;        // positions that are added together
  Index ahead_;        // bytes from what is read of the rows to what is prefetched; 0 for nothing
  VectorContent content_;
  RunningSource source_;  // of samples inside the rows
  bool has_blocks_;       // whether a sum has more than one block of taps
};

}  // namespace kyv::resize
