// The workspace of a plane: its columns in blocks of a vector's lanes.
#pragma once

#include <cstddef>
#include <cstdint>

#include "psfotf/kernels/stages.h"
#include "runtime/memory_model.h"

namespace kyv::psfotf {
namespace {

inline bool is_aligned(const double* p) noexcept {
  return reinterpret_cast<std::uintptr_t>(p) % sizeof(double) == 0;
}

template <class V>
struct Workspace {
  LaneOf<V>* blocks;
  LaneOf<V>* line;
  LaneOf<V>* row_work;
  LaneOf<V>* column_work;
  LaneOf<V>* waiting;
  double* carry;
};

template <class V>
Workspace<V> workspace_of(const PlanePlan<LaneOf<V>>& plan, void* memory) noexcept {
  auto* values = static_cast<LaneOf<V>*>(memory);
  return {values + plan.block_offset,    values + plan.line_offset,
          values + plan.row_work_offset, values + plan.column_work_offset,
          values + plan.waiting_offset,  reinterpret_cast<double*>(values + plan.carry_offset)};
}

// How the columns of a plane are cut into blocks. Where finished rows leave as whole cache lines straight
// from the registers, a block begins with the first whole line of the caller's rows, behind those for what is
// before.
template <class V>
class BlockCut {
 public:
  // Of columns 0 to columns - 1, whose finished parts go to the destinations of `arrays`.
  BlockCut(const PlanePlan<LaneOf<V>>& plan, const PlaneArrays& arrays, std::int32_t columns) noexcept
      : columns_(columns) {
    if (!plan.rows_of_lines || !is_aligned(arrays.dst_re) || !is_aligned(arrays.dst_im)) return;
    const std::uintptr_t beyond = reinterpret_cast<std::uintptr_t>(arrays.dst_re) % runtime::kCacheLine;
    streams_re_ = true;
    streams_im_ = reinterpret_cast<std::uintptr_t>(arrays.dst_im) % runtime::kCacheLine == beyond;
    if (beyond != 0) lead_ = static_cast<std::int32_t>((runtime::kCacheLine - beyond) / sizeof(double));
  }

  // Whether whole lines of the real parts, and of the imaginary parts too, begin with blocks.
  bool streams_re() const noexcept { return streams_re_; }
  bool streams_both() const noexcept { return streams_im_; }
  bool has_lead() const noexcept { return lead_ != 0; }
  std::int32_t columns() const noexcept { return columns_; }
  std::int32_t blocks() const noexcept { return lead_blocks() + tiles(columns_ - lead_ + V::kLanes - 1); }
  // The blocks before the first whole line, and the end of those that fill lines behind it.
  std::int32_t lead_blocks() const noexcept { return tiles(lead_ + V::kLanes - 1); }
  std::int32_t whole_blocks_end() const noexcept {
    const std::int32_t whole = tiles(columns_ - lead_);
    return lead_blocks() + whole / kBlocksInLine<V> * kBlocksInLine<V>;
  }
  // The column that lane 0 of a block holds: blocks at the ends may overlap their neighbours.
  std::int32_t column(std::int32_t block) const noexcept {
    const std::int32_t column = start(block);
    return column + V::kLanes <= columns_ ? column : columns_ - V::kLanes;
  }
  // The same without regard to the end.
  std::int32_t start(std::int32_t block) const noexcept {
    const std::int32_t behind = block - lead_blocks();
    return behind < 0 ? block * V::kLanes : lead_ + behind * V::kLanes;
  }

 private:
  static std::int32_t tiles(std::int32_t columns) noexcept { return columns / V::kLanes; }

  std::int32_t columns_;
  bool streams_re_ = false;
  bool streams_im_ = false;
  std::int32_t lead_ = 0;  // columns before the first whole line
};

// Where a block holds row `row` of the plane.
template <class V>
inline std::ptrdiff_t row_place(const PlanePlan<LaneOf<V>>& plan, std::int32_t row) noexcept {
  return (row + row / plan.part_rows * plan.part_gap) * kElement<V>;
}

// The columns behind the first block, while they wait: the real and the imaginary parts of row after row.
// Vectors run over the end by less than their lanes.
template <class V>
struct WaitingColumns {
  std::int32_t count;
  LaneOf<V>* re;
  LaneOf<V>* im;

  WaitingColumns(const PlanePlan<LaneOf<V>>& plan, const Workspace<V>& workspace) noexcept
      : count(plan.row_length - V::kLanes),
        re(workspace.waiting),
        im(re + static_cast<std::ptrdiff_t>(plan.rows) * count + V::kLanes) {}
};

// Elements to places `step` values apart.
template <class V, int N>
[[gnu::always_inline]] inline void store_elements(const Complex<V>* x, LaneOf<V>* place, std::ptrdiff_t step,
                                                  bool past_caches) noexcept {
  if (past_caches) {
#pragma GCC unroll 16
    for (int i = 0; i < N; ++i) {
      simd::store_streaming(place + i * step, x[i].re);
      simd::store_streaming(place + i * step + V::kLanes, x[i].im);
    }
    return;
  }
#pragma GCC unroll 16
  for (int i = 0; i < N; ++i) store_element<V>(place + i * step, x[i]);
}

}  // namespace
}  // namespace kyv::psfotf
