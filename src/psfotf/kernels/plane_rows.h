// The first half of a plane's transform: rows straight out of the caller's arrays into blocks of columns.
#pragma once

#include <cstddef>
#include <cstdint>

#include "psfotf/kernels/convolution.h"
#include "psfotf/kernels/plane_blocks.h"

namespace kyv::psfotf {
namespace {

// The column of the plane that lane 0 of a tile of columns holds: the last tile may overlap the one before.
template <class V>
inline std::int32_t first_column(std::int32_t tile, std::int32_t row_length) noexcept {
  const std::int32_t column = tile * V::kLanes;
  return column + V::kLanes <= row_length ? column : row_length - V::kLanes;
}

// The starts of kLanes rows from `first` on, each `step` after the one before; the last row of the plane
// stands in for those beyond it.
template <class V>
struct RowPointers {
  const double* rows[V::kLanes];

  RowPointers(const double* plane, std::int32_t first, std::int32_t count, std::int32_t row_length,
              std::int32_t step = 1) noexcept {
    for (std::int32_t i = 0; i < V::kLanes; ++i) {
      const std::int32_t row = first + i * step < count ? first + i * step : count - 1;
      rows[i] = plane + static_cast<std::ptrdiff_t>(row) * row_length;
    }
  }
};

// Where elements of a line lie: in order, or at places of a table.
struct InOrder {
  std::int32_t operator()(std::int32_t k) const noexcept { return k; }
};
struct AtPlaces {
  const std::int32_t* places;
  std::int32_t operator()(std::int32_t k) const noexcept { return places[k]; }
};

// One part (real or imaginary) of rows to the same part of line elements. The rows' later values, and then
// the first ones of the next rows, are fetched on the way.
template <class V, class Place = InOrder>
void gather_rows(const RowPointers<V>& source, std::int32_t row_length, std::ptrdiff_t next_rows,
                 LaneOf<V>* line, const Place& place = {}) noexcept {
  constexpr std::int32_t ahead = 1024 / V::kLanes;  // columns: the fewer rows, the sooner they are needed
  const std::int32_t tiles = (row_length + V::kLanes - 1) / V::kLanes;
  for (std::int32_t b = 0; b < tiles; ++b) {
    const std::int32_t column = first_column<V>(b, row_length);
    const std::ptrdiff_t later = column + ahead < row_length ? ahead : next_rows - (row_length - ahead);
    V tile[V::kLanes];
#pragma GCC unroll 16
    for (int i = 0; i < V::kLanes; ++i) {
      simd::load_doubles(tile[i], source.rows[i] + column);
#pragma GCC unroll 2
      for (int at = 0; at < V::kLanes; at += 8) prefetch_for_later(source.rows[i] + column + later + at);
    }
    simd::transpose(tile);
#pragma GCC unroll 16
    for (int i = 0; i < V::kLanes; ++i) simd::store_aligned(line + place(column + i) * kElement<V>, tile[i]);
  }
}

// Both parts, to where the plan has the elements of a line.
template <class V>
void gather_lines(const PlanePlan<LaneOf<V>>& plan, const RowPointers<V>& re, const RowPointers<V>& im,
                  std::ptrdiff_t next_rows, LaneOf<V>* line) noexcept {
  if (plan.row->inputs != nullptr) {
    gather_rows<V>(re, plan.row_length, next_rows, line, AtPlaces{plan.row->inputs});
    gather_rows<V>(im, plan.row_length, next_rows, line + V::kLanes, AtPlaces{plan.row->inputs});
  } else {
    gather_rows<V>(re, plan.row_length, next_rows, line);
    gather_rows<V>(im, plan.row_length, next_rows, line + V::kLanes);
  }
}

// Where the rows in the lanes go in each of some blocks: `valid` of them.
template <class V>
struct RowTargets {
  LaneOf<V>* blocks;
  std::size_t pitch;
  std::int32_t valid;
  std::ptrdiff_t places[V::kLanes];

  // Rows `first` to `first` + kLanes - 1 of the plane.
  RowTargets(const PlanePlan<LaneOf<V>>& plan, const Workspace<V>& workspace, std::int32_t first) noexcept
      : blocks(workspace.blocks),
        pitch(plan.block_pitch),
        valid(plan.rows - first < V::kLanes ? plan.rows - first : V::kLanes) {
    if (plan.part_gap == 0) {
      for (std::int32_t i = 0; i < V::kLanes; ++i) places[i] = (first + i) * kElement<V>;
    } else {
      for (std::int32_t i = 0; i < valid; ++i) places[i] = row_place<V>(plan, first + i);
    }
  }
  // The last `count` rows, where they wait.
  RowTargets(const Workspace<V>& workspace, std::int32_t count) noexcept
      : blocks(workspace.waiting), pitch(static_cast<std::size_t>(count * kElement<V>)), valid(count) {
    for (std::int32_t i = 0; i < valid; ++i) places[i] = i * kElement<V>;
  }
};

// Rows of the columns behind the first block to where these wait. A vector runs over the end of its row: what
// belongs there is written later.
template <class V, class Position>
[[gnu::noinline]] void leave_last_columns(const PlanePlan<LaneOf<V>>& plan, V scale,
                                          const Workspace<V>& workspace, std::int32_t first,
                                          std::int32_t valid, const Position& position) noexcept {
  const std::int32_t last = plan.row_length - 1;
  V re[V::kLanes];
  V im[V::kLanes];
#pragma GCC unroll 16
  for (int i = 0; i < V::kLanes; ++i) {
    const std::int32_t k = V::kLanes + i < last ? V::kLanes + i : last;
    const Complex<V> x = load_element<V>(workspace.line + position(k) * kElement<V>);
    re[i] = x.re * scale;
    im[i] = x.im * scale;
  }
  simd::transpose(re);
  simd::transpose(im);
  const WaitingColumns<V> waiting(plan, workspace);
  for (std::int32_t i = 0; i < valid; ++i) {
    simd::store(waiting.re + (first + i) * std::ptrdiff_t{waiting.count}, re[i]);
    simd::store(waiting.im + (first + i) * std::ptrdiff_t{waiting.count}, im[i]);
  }
}

// Finished line elements to rows of every block, scaled; lane 0 is row `first` of the plane. `position(k)` is
// the place of result k.
template <class V, class Position>
[[gnu::always_inline]] inline void scatter_rows(const PlanePlan<LaneOf<V>>& plan, const BlockCut<V>& cut,
                                                V scale, const Workspace<V>& workspace, std::int32_t first,
                                                const RowTargets<V>& rows,
                                                const Position& position) noexcept {
  const LaneOf<V>* const line = workspace.line;
  LaneOf<V>* block = rows.blocks;
  const std::size_t pitch = rows.pitch;
  const std::int32_t valid = rows.valid;
  const bool past_caches = plan.blocks_past_caches;
  const bool columns_wait = plan.waiting == Waiting::kLastColumns;
  if (columns_wait) leave_last_columns<V>(plan, scale, workspace, first, valid, position);
  const std::int32_t blocks = columns_wait ? 1 : cut.blocks();
  for (std::int32_t b = 0; b < blocks; ++b, block += pitch) {
    const std::int32_t column = cut.column(b);
    V re[V::kLanes];
    V im[V::kLanes];
#pragma GCC unroll 16
    for (int i = 0; i < V::kLanes; ++i) re[i] = simd::load(line + position(column + i) * kElement<V>) * scale;
    simd::transpose(re);
#pragma GCC unroll 16
    for (int i = 0; i < V::kLanes; ++i)
      im[i] = simd::load(line + position(column + i) * kElement<V> + V::kLanes) * scale;
    simd::transpose(im);
    for (std::int32_t i = 0; i < valid; ++i) {
      const Complex<V> x{re[i], im[i]};
      store_elements<V, 1>(&x, block + rows.places[i], 0, past_caches);
    }
  }
}

// As many rows as a vector has lanes, from `first` on.
template <class V>
[[gnu::always_inline]] inline void transform_row_group(const PlanePlan<LaneOf<V>>& plan,
                                                       const BlockCut<V>& cut, V scale,
                                                       const PlaneArrays& arrays,
                                                       const Workspace<V>& workspace, std::int32_t first,
                                                       const RowTargets<V>& targets) noexcept {
  const RowPointers<V> re(arrays.src_re, first, plan.rows, plan.row_length);
  const RowPointers<V> im(arrays.src_im, first, plan.rows, plan.row_length);
  const std::ptrdiff_t next_rows =
      first + 2 * V::kLanes <= plan.rows ? static_cast<std::ptrdiff_t>(V::kLanes) * plan.row_length : 0;
  gather_lines<V>(plan, re, im, next_rows, workspace.line);
  transform_lines<V>(*plan.row, workspace.line, workspace.row_work);
  const std::int32_t* positions = plan.row->positions;
  if (positions != nullptr) {
    scatter_rows<V>(plan, cut, scale, workspace, first, targets, AtPlaces{positions});
  } else {
    scatter_rows<V>(plan, cut, scale, workspace, first, targets, InOrder{});
  }
}

// The last rows first: they wait in a small place while the others work in all of the blocks'.
template <class V>
[[gnu::noinline]] void transform_last_rows_first(const PlanePlan<LaneOf<V>>& plan, const BlockCut<V>& cut,
                                                 V scale, const PlaneArrays& arrays,
                                                 const Workspace<V>& workspace) noexcept {
  const std::int32_t count = plan.rows - V::kLanes;
  transform_row_group<V>(plan, cut, scale, arrays, workspace, V::kLanes, RowTargets<V>(workspace, count));
  transform_row_group<V>(plan, cut, scale, arrays, workspace, 0, RowTargets<V>(plan, workspace, 0));
  const RowTargets<V> targets(plan, workspace, V::kLanes);
  const LaneOf<V>* waiting = workspace.waiting;
  for (std::int32_t b = 0; b < cut.blocks(); ++b) {
    LaneOf<V>* block = targets.blocks + static_cast<std::size_t>(b) * targets.pitch;
    for (std::int32_t i = 0; i < count; ++i, waiting += kElement<V>) {
      store_element<V>(block + targets.places[i], load_element<V>(waiting));
    }
  }
}

template <class V>
void transform_rows_across(const PlanePlan<LaneOf<V>>& plan, const BlockCut<V>& cut, V scale,
                           const PlaneArrays& arrays, const Workspace<V>& workspace) noexcept {
  if (plan.waiting == Waiting::kLastRows) {
    return transform_last_rows_first<V>(plan, cut, scale, arrays, workspace);
  }
  for (std::int32_t first = 0; first < plan.rows; first += V::kLanes) {
    transform_row_group<V>(plan, cut, scale, arrays, workspace, first, RowTargets<V>(plan, workspace, first));
  }
}

// The last step of a row in itself: results first to first + kLanes - 1 of the transform over its elements,
// transposed, are the inputs of as many butterflies across what were the lanes; result q of them holds
// columns first + q * plan.row->length onwards. Results beyond the last are the last again.
template <class V>
[[gnu::always_inline]] inline void cross_lanes(const PlanePlan<LaneOf<V>>& plan, V scale, std::int32_t first,
                                               Complex<V>* x) noexcept {
  constexpr int lanes = V::kLanes;
  const std::int32_t last = plan.row->length - 1;
  V re[lanes];
  V im[lanes];
#pragma GCC unroll 16
  for (int i = 0; i < lanes; ++i) {
    const std::int32_t k = first + i <= last ? first + i : last;
    const Complex<V> w = load_element<V>(plan.row_twiddles + k * kElement<V>);
    const Complex<V> y = multiply(x[i], w.re, w.im);
    re[i] = y.re * scale;
    im[i] = y.im * scale;
  }
  simd::transpose(re);
  simd::transpose(im);
#pragma GCC unroll 16
  for (int i = 0; i < lanes; ++i) x[i] = {re[i], im[i]};
  Butterfly<lanes>::apply(x);
}

// The same for a row whose elements are transformed and lie in `line`.
template <class V>
[[gnu::always_inline]] inline void finish_row(const PlanePlan<LaneOf<V>>& plan, V scale,
                                              const LaneOf<V>* line, std::int32_t first,
                                              Complex<V>* x) noexcept {
  const std::int32_t last = plan.row->length - 1;
#pragma GCC unroll 16
  for (int i = 0; i < V::kLanes; ++i) {
    const std::int32_t k = first + i <= last ? first + i : last;
    x[i] = load_element<V>(line + plan.row->positions[k] * kElement<V>);
  }
  cross_lanes<V>(plan, scale, first, x);
}

// All of its results as plain rows of real and imaginary parts: vectors of results run over the end of their
// stretch, and what belongs there is written later.
template <class V>
[[gnu::noinline]] void finish_plain_row(const PlanePlan<LaneOf<V>>& plan, V scale, const LaneOf<V>* line,
                                        LaneOf<V>* row_re, LaneOf<V>* row_im) noexcept {
  constexpr int lanes = V::kLanes;
  const std::int32_t elements = plan.row->length;
  for (std::int32_t k = (elements - 1) / lanes * lanes; k >= 0; k -= lanes) {
    Complex<V> x[lanes];
    finish_row<V>(plan, scale, line, k, x);
#pragma GCC unroll 16
    for (int q = 0; q < lanes; ++q) {
      simd::store(row_re + k + q * elements, x[q].re);
      simd::store(row_im + k + q * elements, x[q].im);
    }
  }
}

// Rows of R elements, a multiple of the lanes: one butterfly and the step across the lanes, all in registers.
template <class V, int R>
void transform_short_rows(const PlanePlan<LaneOf<V>>& plan, V scale, const PlaneArrays& arrays,
                          const Workspace<V>& workspace) noexcept {
  constexpr int lanes = V::kLanes;
  const auto pitch = static_cast<std::ptrdiff_t>(plan.block_pitch);
  for (std::int32_t r = 0; r < plan.rows; ++r) {
    const std::ptrdiff_t source = static_cast<std::ptrdiff_t>(r) * plan.row_length;
    const std::ptrdiff_t ahead = r + 2 < plan.rows ? 2 * static_cast<std::ptrdiff_t>(plan.row_length) : 0;
    Complex<V> x[R];
    load_row_elements<V, R>(arrays.src_re + source, arrays.src_im + source, lanes, ahead, x);
    Butterfly<R>::apply(x);
    LaneOf<V>* row = workspace.blocks + row_place<V>(plan, r);
#pragma GCC unroll 16
    for (int k = 0; k < R; k += lanes) {
      cross_lanes<V>(plan, scale, k, x + k);
      store_elements<V, lanes>(x + k, row + k / lanes * pitch, R / lanes * pitch, plan.blocks_past_caches);
    }
  }
}

// One row after another, each in itself.
template <class V>
void transform_rows_within(const PlanePlan<LaneOf<V>>& plan, const BlockCut<V>& cut, V scale,
                           const PlaneArrays& arrays, const Workspace<V>& workspace) noexcept {
  constexpr int lanes = V::kLanes;
  using T = LaneOf<V>;
  const LinePlan<T>& line = *plan.row;
  const std::int32_t elements = line.length;
  if constexpr (8 % lanes == 0) {
    if (elements == 8 && !cut.has_lead()) return transform_short_rows<V, 8>(plan, scale, arrays, workspace);
  }
  if constexpr (16 % lanes == 0 && kManyRegisters) {
    if (elements == 16 && !cut.has_lead()) return transform_short_rows<V, 16>(plan, scale, arrays, workspace);
  }
  const bool in_blocks = elements % lanes == 0 && !cut.has_lead();
  const int radix = line.radices[0];
  const std::int32_t m = line.part_length;
  const Roots<T> roots = stage_roots<V>(line, 0, line.length);
  T* row_re = workspace.line + radix * line.part_pitch * kElement<V>;  // plain rows
  T* row_im = row_re + plan.row_length + kRowSlackVectors * lanes;
  for (std::int32_t r = 0; r < plan.rows; ++r) {
    const std::ptrdiff_t source = static_cast<std::ptrdiff_t>(r) * plan.row_length;
    const std::ptrdiff_t ahead = r + 2 < plan.rows ? 2 * static_cast<std::ptrdiff_t>(plan.row_length) : 0;
    load_first<V>(radix, arrays.src_re + source, arrays.src_im + source, ahead, workspace.line, m,
                  line.part_pitch, roots);
    run_later_stages<V>(line, line.stages, workspace.line);
    T* row = workspace.blocks + row_place<V>(plan, r);
    if (in_blocks) {
      const std::ptrdiff_t pitch = static_cast<std::ptrdiff_t>(plan.block_pitch);
      for (std::int32_t k = 0; k < elements; k += lanes) {
        Complex<V> x[lanes];
        finish_row<V>(plan, scale, workspace.line, k, x);
        T* place = row + k / lanes * pitch;
        store_elements<V, lanes>(x, place, elements / lanes * pitch, plan.blocks_past_caches);
      }
      continue;
    }
    finish_plain_row<V>(plan, scale, workspace.line, row_re, row_im);
    const std::int32_t blocks = cut.blocks();
    for (std::int32_t b = 0; b < blocks; ++b) {
      T* place = row + static_cast<std::size_t>(b) * plan.block_pitch;
      const Complex<V> x{simd::load(row_re + cut.column(b)), simd::load(row_im + cut.column(b))};
      store_elements<V, 1>(&x, place, 0, plan.blocks_past_caches);
    }
  }
}

}  // namespace
}  // namespace kyv::psfotf
