// The row pass across one row at a time: interior groups read the source, groups at its ends read copies in
// which the outermost pixels are repeated.
#pragma once

#include <cstddef>
#include <cstdint>

#include "resize/arena.h"
#include "resize/geometry.h"
#include "resize/kernels/kernels.h"
#include "resize/lane_plan.h"

namespace kyv::resize {

struct LaneRowsStorage {
  LanePlanStorage plan;
  std::uint8_t* ends = nullptr;   // two copies per row
  std::uint64_t end_samples = 0;  // of a copy, of either depth
};

LaneRowsStorage take_lane_rows(Arena& arena, const AxisGeometry& axis, Mode mode,
                               std::int32_t channels) noexcept;

class LaneRows {
 public:
  // Whether there is a plan for this table and a pass for this depth is told by usable().
  LaneRows(const LaneRowsStorage& storage, const TapTable& table, const AxisGeometry& axis,
           const LaneSource& source, const PermutedKernels& passes) noexcept;

  bool usable() const noexcept { return pass_ != nullptr; }

  // Row results of the destination pixels [first, first + count) of kPermutedRows rows, of which `rows` point
  // at the source's first pixel. `first` begins a group. Writes up to 32 floats more. The rows that come next
  // are `ahead` bytes further; 0 if there are none.
  void run(const std::uint8_t* const* rows, std::ptrdiff_t ahead, std::int32_t first, std::int32_t count,
           float* const* out) noexcept;

 private:
  // Groups that read a copy, and the source position that the copy starts at.
  struct End {
    std::int32_t begin = 0;
    std::int32_t end = 0;
    std::int64_t first = 0;
    std::int64_t last = 0;  // one past the last position that any weight but 0 meets
  };

  void find_ends(const TapTable& table) noexcept;
  void run_end(const End& end, int side, const std::uint8_t* const* rows, std::int32_t begin,
               std::int32_t stop, float* const* out) noexcept;
  void run_groups(const std::uint8_t* const* rows, std::ptrdiff_t ahead, std::int64_t origin,
                  std::int32_t begin, std::int32_t stop, float* const* out) const noexcept;
  void copy_end(const End& end, const std::uint8_t* row, std::uint8_t* copy) const noexcept;

  const std::int64_t usable_size_;
  const std::int32_t count_;
  const std::int32_t channels_;
  const std::int32_t pixel_bytes_;
  std::uint8_t* const ends_memory_;
  const std::size_t end_bytes_;
  LanePlan plan_;
  std::ptrdiff_t group_bytes_ =
      0;  // of a source row from group to group; 0 where the source is in the caches
  PermutedPass* pass_ = nullptr;
  End left_;
  End right_;
  alignas(64) std::int32_t interleave_[2 * kPermutedLanes] = {};
};

}  // namespace kyv::resize
