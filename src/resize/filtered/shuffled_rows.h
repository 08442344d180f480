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
  static constexpr Index kMostRows = 16;
  static constexpr Index kMostWindows = 9;  // of different places: 8-bit RGB

  ShuffledRows(const RowPassFacts& facts, ShuffledPass* pass) noexcept;
  void fill_places(const PixelFormat& format, std::uint8_t no_place) noexcept;

  ShuffledPass* pass_;
  Index rows_;
  TapTable table_;
  Index usable_size_;   // pixels of a row
  Index left_windows_;  // that begin before the row
  std::uint8_t places_[kMostWindows * shuffled_pixels(kDepth8) * kShuffledBytes];
};

}  // namespace kyv::resize
