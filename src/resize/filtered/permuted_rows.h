// The row pass whose lanes are the destination samples of one row: interior groups read the source, groups at
// its ends read copies in which the outermost pixels are repeated.
#pragma once

#include "resize/filtered/permuted_plan.h"

namespace kyv::resize {

struct PermutedRoom {
  PermutedPlanRoom plan;
  std::uint8_t* ends = nullptr;  // two copies per row
  Index end_samples = 0;         // of a copy, of either depth
};

class PermutedRows {
 public:
  static PermutedRoom take_room(runtime::Arena& arena, const AxisGeometry& axis, Mode mode,
                                std::int32_t channels) noexcept;

  // For a plan that fits.
  PermutedRows(const RowPassFacts& facts, const PermutedRoom& room, const PermutedPlan& plan) noexcept;

  static Index rows_at_once() noexcept { return kPermutedRows; }
  static Index strip_multiple() noexcept { return 160; }  // whole groups of every plan
  Index run(Index first_row, const Strip& strip, const SourceRows& source, const RowRing& ring) noexcept;

 private:
  struct GroupRange {
    Index begin = 0;
    Index end = 0;
  };
  // Groups that read a copy of the positions from `first` on.
  struct End {
    GroupRange groups;
    Index first = 0;
    Index last = 0;  // one past the last position that any weight but 0 meets
  };

  void find_ends(const TapSpan& last_span) noexcept;
  void run_end(const End& end, Index side, const std::uint8_t* const* rows, const GroupRange& strip,
               float* const* targets, PermutedArgs& args) const noexcept;
  void run_groups(const GroupRange& part, const GroupRange& strip, float* const* targets,
                  PermutedArgs& args) const noexcept;
  void copy_end(const End& end, const std::uint8_t* row, std::uint8_t* copy) const noexcept;

  PermutedPlan plan_;
  PermutedPass* pass_;
  PixelFormat format_;
  PermutedArgs args_;     // what every part of a row has
  Index usable_size_;     // pixels of a row
  Index prefetched_ = 0;  // bytes of the next rows for each group
  std::uint8_t* copies_;
  Index copy_bytes_;
  End left_;
  End right_;
  alignas(64) std::int32_t interleave_[2 * kPermutedLanes] = {};
};

}  // namespace kyv::resize
