// Row results of the latest source rows.
#pragma once

#include <algorithm>

#include "resize/kernels/taps.h"

namespace kyv::resize {

class RowRing {
 public:
  // Floats from row to row: an odd number of cache lines, so that equal columns of neighbouring rows lie in
  // different sets of the L1, and at least `slack` more than the samples.
  static constexpr std::uint64_t pitch_of(std::uint64_t samples, std::uint64_t slack) noexcept {
    return (samples + slack + 15) / 32 * 32 + 16;
  }

  // `memory` holds one row more, for results that are not wanted.
  RowRing(float* memory, Index rows, Index pitch) noexcept : memory_(memory), rows_(rows), pitch_(pitch) {}

  // Writes what whole vectors read beyond `samples`.
  void clear_slack(Index samples, Index slack) const noexcept {
    for (Index i = 0; i < rows_; ++i) std::fill_n(memory_ + i * pitch_ + samples, slack, 0.0f);
  }

  float* row(Index source_row) const noexcept {
    // Of numbers of 32 bits, which rows' are: the division is faster.
    return memory_ + static_cast<std::uint32_t>(source_row) % static_cast<std::uint32_t>(rows_) * pitch_;
  }
  float* row_after(float* row) const noexcept { return row + pitch_ == unwanted() ? memory_ : row + pitch_; }
  float* unwanted() const noexcept { return memory_ + rows_ * pitch_; }

  // Sample `x` of the rows of the taps [first, end): outside [0, last] they repeat the outermost rows.
  void list(Index first, Index end, Index last, Index x, const float** taps) const noexcept {
    float* at = row(std::clamp<Index>(first, 0, last));
    for (Index n = first; n < end; ++n) {
      *taps++ = at + x;
      if (n >= 0 && n < last) at = row_after(at);
    }
  }

 private:
  float* memory_;
  Index rows_;
  Index pitch_;
};

}  // namespace kyv::resize
