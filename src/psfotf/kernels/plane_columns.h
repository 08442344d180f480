// The second half of a plane's transform: blocks of columns straight into the caller's arrays.
#pragma once

#include <cstddef>
#include <cstdint>

#include "psfotf/kernels/convolution.h"
#include "psfotf/kernels/plane_blocks.h"
#include "psfotf/kernels/row_pieces.h"

namespace kyv::psfotf {
namespace {

// Rows of finished blocks to the caller: result k is element positions[k]. Imaginary parts go first, as in
// store_last_stage().
template <class V>
void store_rows(const LinePlan<LaneOf<V>>& line, const ColumnOutput<LaneOf<V>>& out, std::int32_t first,
                std::int32_t last) noexcept {
  for (std::int32_t k = first; k < last; ++k) {
    for (int b = 0; b < out.count; ++b) {
      const Complex<V> x = load_element<V>(out.blocks[b] + line.positions[k] * kElement<V>);
      const std::ptrdiff_t place = (k - first) * out.group_step + out.columns[b];
      simd::store_doubles(out.im + place, x.im);
      simd::store_doubles(out.re + place, x.re);
    }
  }
}

template <class V>
inline constexpr int kBlocksAtOnce = blocks_at_once(V::kLanes);

// The radix whose butterflies can write to the caller, or 0.
template <class T>
int storing_radix(const LinePlan<T>& line) noexcept {
  if (line.method != LineMethod::kMixedRadix || line.stages == 0) return 0;
  const int radix = line.radices[line.stages - 1];
  return radix <= kMaxFixedRadix ? radix : 0;
}

// The columns of some adjacent blocks but for the stage that writes to the caller, and where they go: from
// column `origin` on.
template <class V, class Cut>
void prepare_columns(const PlanePlan<LaneOf<V>>& plan, const Cut& cut, const Workspace<V>& workspace,
                     std::int32_t first, int count, std::int32_t origin,
                     ColumnOutput<LaneOf<V>>& out) noexcept {
  const LinePlan<LaneOf<V>>& column = *plan.column;
  out.count = count;
  for (int i = 0; i < count; ++i) {
    LaneOf<V>* block = workspace.blocks + static_cast<std::size_t>(first + i) * plan.block_pitch;
    if (storing_radix(column) > 0) {
      run_stages<V>(column, column.stages - 1, block, workspace.column_work);
    } else {
      transform_lines<V>(column, block, workspace.column_work);
    }
    out.blocks[i] = block;
    out.columns[i] = cut.column(first + i) - origin;
  }
}

// An output straight to the caller's rows.
template <class V>
ColumnOutput<LaneOf<V>> direct_output(const PlanePlan<LaneOf<V>>& plan, const PlaneArrays& arrays) noexcept {
  const LinePlan<LaneOf<V>>& column = *plan.column;
  const int radix = storing_radix(column);
  ColumnOutput<LaneOf<V>> out{};
  out.positions = column.positions;
  out.re = arrays.dst_re;
  out.im = arrays.dst_im;
  out.group_step = plan.row_length;
  out.result_step = (radix > 0 ? column.length / radix : 0) * static_cast<std::ptrdiff_t>(plan.row_length);
  return out;
}

// The blocks of whole cache lines leave past the caches, those at the ends of the rows as they come.
template <class V>
void stream_columns(const PlanePlan<LaneOf<V>>& plan, const BlockCut<V>& cut, const PlaneArrays& arrays,
                    const Workspace<V>& workspace) noexcept {
  ColumnOutput<LaneOf<V>> out = direct_output<V>(plan, arrays);
  const int radix = storing_radix(*plan.column);
  const std::int32_t groups = plan.column->length / radix;
  const std::int32_t whole_end = cut.whole_blocks_end();
  for (std::int32_t b = 0; b < cut.blocks(); b += out.count) {
    const bool in_lines = b >= cut.lead_blocks() && b < whole_end;
    const std::int32_t end = b < cut.lead_blocks() ? cut.lead_blocks() : in_lines ? whole_end : cut.blocks();
    prepare_columns<V>(plan, cut, workspace, b, end - b < kBlocksAtOnce<V> ? end - b : kBlocksAtOnce<V>, 0,
                       out);
    if (in_lines) {
      stream_last<V, StreamedParts::kBoth>(radix, out, 0, groups);
    } else {
      store_last<V, Stored::kOnce>(radix, out, 0, groups);
    }
  }
  simd::stream_fence();
}

// The last stage of blocks of whole lines of the real parts, the imaginary ones in pieces.
template <class V>
void store_re_in_lines(const PlanePlan<LaneOf<V>>& plan, const PlaneArrays& arrays, std::ptrdiff_t origin,
                       RowPieces& pieces, ColumnOutput<LaneOf<V>> out) noexcept {
  const int radix = storing_radix(*plan.column);
  const std::int32_t groups = plan.column->length / radix;
  out.result_step = groups * static_cast<std::ptrdiff_t>(plan.row_length);
  for (std::int32_t g = 0; g < groups; ++g) {
    out.re = arrays.dst_re + g * static_cast<std::ptrdiff_t>(plan.row_length) + origin;
    stream_last<V, StreamedParts::kReal>(radix, out, g, g + 1);
    for (int q = 0; q < radix; ++q) pieces.finish_im(q, g + q * groups);
  }
}

// Vectors as they come from the last stage.
template <class V>
void store_columns(const PlanePlan<LaneOf<V>>& plan, const BlockCut<V>& cut, const PlaneArrays& arrays,
                   const Workspace<V>& workspace) noexcept {
  const int radix = storing_radix(*plan.column);
  const std::int32_t groups = plan.column->length / (radix > 0 ? radix : 1);
  ColumnOutput<LaneOf<V>> out = direct_output<V>(plan, arrays);
  const std::int32_t blocks = cut.blocks();
  for (std::int32_t b = 0; b < blocks; b += out.count) {
    const std::int32_t left = blocks - b;
    prepare_columns<V>(plan, cut, workspace, b, left < kBlocksAtOnce<V> ? left : kBlocksAtOnce<V>, 0, out);
    if (radix > 0) {
      store_last<V, Stored::kOnce>(radix, out, 0, groups);
    } else {
      store_rows<V>(*plan.column, out, 0, groups);
    }
  }
}

// One block and the columns behind it, which take its place when it is done.
template <class V>
void store_waiting_columns(const PlanePlan<LaneOf<V>>& plan, const BlockCut<V>& cut,
                           const PlaneArrays& arrays, const Workspace<V>& workspace) noexcept {
  using T = LaneOf<V>;
  const LinePlan<T>& column = *plan.column;
  ColumnOutput<T> out = direct_output<V>(plan, arrays);
  prepare_columns<V>(plan, cut, workspace, 0, 1, 0, out);
  store_rows<V>(column, out, 0, plan.rows);
  const WaitingColumns<V> waiting(plan, workspace);
  const T* re = waiting.re;
  const T* im = waiting.im;
  for (std::int32_t first = 0; first < plan.rows; first += plan.part_rows) {
    T* element = workspace.blocks + row_place<V>(plan, first);
    const std::int32_t left = plan.rows - first;
    const std::int32_t rows = left < plan.part_rows ? left : plan.part_rows;
    for (std::int32_t r = 0; r < rows;
         ++r, re += waiting.count, im += waiting.count, element += kElement<V>) {
      store_element<V>(element, {simd::load(re), simd::load(im)});
    }
  }
  prepare_columns<V>(plan, cut, workspace, 0, 1, 0, out);
  for (std::int32_t k = 0; k < plan.rows; ++k) {
    const T* element = workspace.blocks + column.positions[k] * kElement<V>;
    const std::ptrdiff_t place = static_cast<std::ptrdiff_t>(k) * plan.row_length + V::kLanes;
    for (std::int32_t c = 0; c < waiting.count; ++c) {
      store_double(arrays.dst_re + place + c, static_cast<double>(element[c]));
      store_double(arrays.dst_im + place + c, static_cast<double>(element[V::kLanes + c]));
    }
  }
}

// Blocks one by one, beginning with the one that lies where the others' convolutions work.
template <class V>
void store_columns_in_place(const PlanePlan<LaneOf<V>>& plan, const BlockCut<V>& cut,
                            const PlaneArrays& arrays, const Workspace<V>& workspace) noexcept {
  ColumnOutput<LaneOf<V>> out = direct_output<V>(plan, arrays);
  for (std::int32_t b = cut.blocks() - 1; b >= 0; --b) {
    prepare_columns<V>(plan, cut, workspace, b, 1, 0, out);
    store_rows<V>(*plan.column, out, 0, plan.rows);
  }
}

// Whole cache lines, put together from pieces of rows; where whole lines of the real parts begin with blocks,
// those leave straight from the registers.
template <class V>
void store_columns_in_pieces(const PlanePlan<LaneOf<V>>& plan, const BlockCut<V>& cut,
                             const PlaneArrays& arrays, const Workspace<V>& workspace) noexcept {
  const LinePlan<LaneOf<V>>& column = *plan.column;
  const int radix = storing_radix(column);
  const std::int32_t groups = radix > 0 ? column.length / radix : column.length;
  RowPieces pieces(arrays.dst_re, arrays.dst_im, plan.row_length, cut.columns(),
                   plan.output == RowOutput::kPastCaches, workspace.carry);
  ColumnOutput<LaneOf<V>> out = direct_output<V>(plan, arrays);
  out.re = pieces.re();
  out.im = pieces.im();
  out.result_step = out.im_result_step = RowPieces::kRowStep();
  const std::int32_t blocks = cut.blocks();
  for (std::int32_t b = 0; b < blocks; b += out.count) {
    // The first group is long enough for what it leaves of lines.
    const bool in_lines = cut.streams_re() && b > cut.lead_blocks() && b < cut.whole_blocks_end();
    const std::int32_t left = (in_lines ? cut.whole_blocks_end() : blocks) - b;
    const std::int32_t origin = cut.start(b);
    const std::int32_t most =
        b < cut.lead_blocks()
            ? cut.lead_blocks() + (kBlocksAtOnce<V> - cut.lead_blocks()) / kBlocksInLine<V> * kBlocksInLine<V>
            : kBlocksAtOnce<V>;
    prepare_columns<V>(plan, cut, workspace, b, left < most ? left : most, origin, out);
    pieces.start(origin, b + out.count == blocks ? cut.columns() : cut.start(b + out.count), origin);
    if (in_lines) {
      store_re_in_lines<V>(plan, arrays, origin, pieces, out);
      continue;
    }
    for (std::int32_t g = 0; g < groups; ++g) {
      if (radix > 0) {
        store_last<V, Stored::kOnce>(radix, out, g, g + 1);
        for (int q = 0; q < radix; ++q) pieces.finish(q, g + q * groups);
      } else {
        store_rows<V>(column, out, g, g + 1);
        pieces.finish(0, g);
      }
    }
  }
  simd::stream_fence();
}

// How finished columns leave.
enum class ColumnsLeave : std::uint8_t {
  kAsTheyCome,
  kInPieces,      // whole lines, put together in a buffer
  kInWholeLines,  // straight from the registers
};

// The cut has its say for whole lines from the registers, the plan for pieces; arrays whose doubles are not
// aligned have no whole lines.
template <class V>
ColumnsLeave choose_columns_leave(const PlanePlan<LaneOf<V>>& plan, const BlockCut<V>& cut,
                                  const PlaneArrays& arrays) noexcept {
  if (cut.streams_both()) return ColumnsLeave::kInWholeLines;
  const bool has_lines = is_aligned(arrays.dst_re) && is_aligned(arrays.dst_im);
  return plan.output != RowOutput::kDirect && has_lines ? ColumnsLeave::kInPieces : ColumnsLeave::kAsTheyCome;
}

template <class V>
void transform_columns(const PlanePlan<LaneOf<V>>& plan, const BlockCut<V>& cut, const PlaneArrays& arrays,
                       const Workspace<V>& workspace) noexcept {
  if (plan.waiting == Waiting::kLastColumns) return store_waiting_columns<V>(plan, cut, arrays, workspace);
  if (plan.columns_in_place) return store_columns_in_place<V>(plan, cut, arrays, workspace);
  switch (choose_columns_leave<V>(plan, cut, arrays)) {
    case ColumnsLeave::kAsTheyCome:
      return store_columns<V>(plan, cut, arrays, workspace);
    case ColumnsLeave::kInPieces:
      return store_columns_in_pieces<V>(plan, cut, arrays, workspace);
    case ColumnsLeave::kInWholeLines:
      return stream_columns<V>(plan, cut, arrays, workspace);
  }
}

}  // namespace
}  // namespace kyv::psfotf
