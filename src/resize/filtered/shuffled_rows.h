// The row pass of few taps of three or four channels, straight from the bytes of a batch of rows.
#pragma once

#include "resize/filtered/row_pass.h"

namespace kyv::resize {

class ShuffledRows {
 public:
  static std::optional<ShuffledRows> plan(const RowPassFacts& facts) noexcept;

  Index rows_at_once() const noexcept { return rows_; }
  static Index strip_multiple() noexcept { return 64; }
  Index run(Index first_row, const Strip& strip, const SourceRows& source,
            const RowRing& ring) const noexcept;

 private:
  explicit ShuffledRows(const RowPassFacts& facts) noexcept;

  ShuffledPass* pass_ = nullptr;
  Index rows_;
  TapTable table_;
  Index usable_size_;                     // pixels of a row
  const std::uint8_t* places_ = nullptr;  // as the kernels want them
};

}  // namespace kyv::resize
