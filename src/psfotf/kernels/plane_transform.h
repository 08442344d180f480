// Two-dimensional transforms: rows straight out of the caller's arrays into blocks of columns, then the
// columns straight into the caller's arrays.
#pragma once

#include <cstddef>
#include <cstdint>

#include "psfotf/kernels/line_transform.h"

namespace kyv::psfotf {
namespace {

template <class V>
struct Workspace {
  LaneOf<V>* blocks;
  LaneOf<V>* line;
};

// The column of the plane that lane 0 of a block holds: the last block may overlap the one before.
template <class V>
inline std::int32_t first_column(std::int32_t block, std::int32_t row_length) noexcept {
  const std::int32_t column = block * V::kLanes;
  return column + V::kLanes <= row_length ? column : row_length - V::kLanes;
}

// The starts of kLanes rows from `first` on; the last row stands in for those beyond it.
template <class V>
struct RowPointers {
  const double* rows[V::kLanes];

  RowPointers(const double* plane, std::int32_t first, std::int32_t count, std::int32_t row_length) noexcept {
    for (std::int32_t i = 0; i < V::kLanes; ++i) {
      const std::int32_t row = first + i < count ? first + i : count - 1;
      rows[i] = plane + static_cast<std::ptrdiff_t>(row) * row_length;
    }
  }
};

// One part (real or imaginary) of rows to the same part of line elements.
template <class V>
void gather_rows(const RowPointers<V>& source, std::int32_t row_length, LaneOf<V>* line) noexcept {
  const std::int32_t tiles = (row_length + V::kLanes - 1) / V::kLanes;
  for (std::int32_t b = 0; b < tiles; ++b) {
    const std::int32_t column = first_column<V>(b, row_length);
    V tile[V::kLanes];
#pragma GCC unroll 16
    for (int i = 0; i < V::kLanes; ++i) simd::load_doubles(tile[i], source.rows[i] + column);
    simd::transpose(tile);
#pragma GCC unroll 16
    for (int i = 0; i < V::kLanes; ++i) simd::store_aligned(line + (column + i) * kElement<V>, tile[i]);
  }
}

// One part of finished line elements to the same part of `valid` rows of every block, scaled.
template <class V>
void scatter_rows(const PlanePlan<LaneOf<V>>& plan, V scale, const LaneOf<V>* line, std::int32_t first_row,
                  std::int32_t valid, LaneOf<V>* blocks) noexcept {
  const std::int32_t* positions = plan.row->positions;
  for (std::int32_t b = 0; b < plan.blocks; ++b) {
    const std::int32_t column = first_column<V>(b, plan.row_length);
    V tile[V::kLanes];
#pragma GCC unroll 16
    for (int i = 0; i < V::kLanes; ++i) {
      tile[i] = simd::load(line + positions[column + i] * kElement<V>) * scale;
    }
    simd::transpose(tile);
    LaneOf<V>* block = blocks + static_cast<std::size_t>(b) * plan.block_pitch + first_row * kElement<V>;
    if (valid == V::kLanes) {
#pragma GCC unroll 16
      for (int i = 0; i < V::kLanes; ++i) simd::store_aligned(block + i * kElement<V>, tile[i]);
    } else {
      for (std::int32_t i = 0; i < valid; ++i) simd::store_aligned(block + i * kElement<V>, tile[i]);
    }
  }
}

template <class V>
void transform_rows_across(const PlanePlan<LaneOf<V>>& plan, V scale, const PlaneArrays& arrays,
                           const Workspace<V>& workspace) noexcept {
  LaneOf<V>* work = workspace.line + plan.row_length * kElement<V>;
  for (std::int32_t first = 0; first < plan.rows; first += V::kLanes) {
    const RowPointers<V> re(arrays.src_re, first, plan.rows, plan.row_length);
    const RowPointers<V> im(arrays.src_im, first, plan.rows, plan.row_length);
    gather_rows<V>(re, plan.row_length, workspace.line);
    gather_rows<V>(im, plan.row_length, workspace.line + V::kLanes);
    transform_lines<V>(*plan.row, workspace.line, work);
    const std::int32_t left = plan.rows - first;
    const std::int32_t valid = left < V::kLanes ? left : V::kLanes;
    scatter_rows<V>(plan, scale, workspace.line, first, valid, workspace.blocks);
    scatter_rows<V>(plan, scale, workspace.line + V::kLanes, first, valid, workspace.blocks + V::kLanes);
  }
}

// The last step of a row in itself: kLanes elements, transposed, are the inputs of as many butterflies
// across what were the lanes; result q of them holds columns first + q * plan.row->length onwards.
template <class V>
[[gnu::always_inline]] inline void finish_row(const PlanePlan<LaneOf<V>>& plan, V scale,
                                              const LaneOf<V>* line, std::int32_t first,
                                              Complex<V>* results) noexcept {
  constexpr int lanes = V::kLanes;
  const std::int32_t last = plan.row->length - 1;
  V re[lanes];
  V im[lanes];
#pragma GCC unroll 16
  for (int i = 0; i < lanes; ++i) {
    const std::int32_t k = first + i <= last ? first + i : last;
    const Complex<V> x = load_element<V>(line + plan.row->positions[k] * kElement<V>);
    const Complex<V> w = load_element<V>(plan.row_twiddles + k * kElement<V>);
    const Complex<V> y = multiply(x, w.re, w.im);
    re[i] = y.re * scale;
    im[i] = y.im * scale;
  }
  simd::transpose(re);
  simd::transpose(im);
#pragma GCC unroll 16
  for (int i = 0; i < lanes; ++i) results[i] = {re[i], im[i]};
  Butterfly<lanes>::apply(results);
}

// One row after another, each in itself.
template <class V>
void transform_rows_within(const PlanePlan<LaneOf<V>>& plan, V scale, const PlaneArrays& arrays,
                           const Workspace<V>& workspace) noexcept {
  constexpr int lanes = V::kLanes;
  using T = LaneOf<V>;
  const LinePlan<T>& line = *plan.row;
  const std::int32_t elements = line.length;
  const bool aligned = elements % lanes == 0;
  const int radix = line.radices[0];
  const std::int32_t m = elements / radix;
  const Roots<T> roots{line.root_re, line.root_im, line.root_step};
  T* row_re = workspace.line + elements * kElement<V>;  // plain rows with room for one vector more
  T* row_im = row_re + plan.row_length + lanes;
  for (std::int32_t r = 0; r < plan.rows; ++r) {
    const std::ptrdiff_t source = static_cast<std::ptrdiff_t>(r) * plan.row_length;
    const std::ptrdiff_t ahead = r + 1 < plan.rows ? plan.row_length : 0;
    kRadixCode<V>[radix].load_first(arrays.src_re + source, arrays.src_im + source, ahead, workspace.line, m,
                                    roots);
    run_stages<V>(line, 1, line.stages, workspace.line);
    T* row = workspace.blocks + r * kElement<V>;
    if (aligned) {
      const std::ptrdiff_t pitch = static_cast<std::ptrdiff_t>(plan.block_pitch);
      for (std::int32_t k = 0; k < elements; k += lanes) {
        Complex<V> x[lanes];
        finish_row<V>(plan, scale, workspace.line, k, x);
        T* place = row + k / lanes * pitch;
#pragma GCC unroll 16
        for (int q = 0; q < lanes; ++q) store_element<V>(place + q * (elements / lanes) * pitch, x[q]);
      }
      continue;
    }
    // Vectors of results run over the end of their stretch; what belongs there is written later.
    for (std::int32_t k = elements / lanes * lanes; k >= 0; k -= lanes) {
      Complex<V> x[lanes];
      finish_row<V>(plan, scale, workspace.line, k, x);
#pragma GCC unroll 16
      for (int q = 0; q < lanes; ++q) {
        simd::store(row_re + k + q * elements, x[q].re);
        simd::store(row_im + k + q * elements, x[q].im);
      }
    }
    for (std::int32_t b = 0; b < plan.blocks; ++b) {
      T* place = row + static_cast<std::size_t>(b) * plan.block_pitch;
      store_element<V>(place, Complex<V>{simd::load(row_re + b * lanes), simd::load(row_im + b * lanes)});
    }
  }
}

// Rows of finished columns to the caller.
template <class V>
void store_block(const LinePlan<LaneOf<V>>& plan, const LaneOf<V>* block, const PlaneArrays& arrays,
                 std::int32_t column, std::int32_t row_length) noexcept {
  for (std::int32_t k = 0; k < plan.length; ++k) {
    const Complex<V> x = load_element<V>(block + plan.positions[k] * kElement<V>);
    const std::ptrdiff_t place = static_cast<std::ptrdiff_t>(k) * row_length + column;
    simd::store_doubles(arrays.dst_re + place, x.re);
    simd::store_doubles(arrays.dst_im + place, x.im);
  }
}

// Adjacent blocks whose rows are written together: a piece of each row long enough for the memory.
template <class V>
inline constexpr int kBlocksAtOnce = 32 / V::kLanes > 4 ? 4 : 32 / V::kLanes;

template <class V>
void transform_columns(const PlanePlan<LaneOf<V>>& plan, const PlaneArrays& arrays,
                       const Workspace<V>& workspace) noexcept {
  const LinePlan<LaneOf<V>>& column = *plan.column;
  const int last_radix = column.stages > 0 ? column.radices[column.stages - 1] : 0;
  const bool fused =
      column.method == LineMethod::kMixedRadix && column.stages > 0 && last_radix <= kMaxFixedRadix;
  if (!fused) {
    for (std::int32_t b = 0; b < plan.blocks; ++b) {
      LaneOf<V>* block = workspace.blocks + static_cast<std::size_t>(b) * plan.block_pitch;
      transform_lines<V>(column, block, workspace.line);
      store_block<V>(column, block, arrays, first_column<V>(b, plan.row_length), plan.row_length);
    }
    return;
  }
  ColumnOutput<LaneOf<V>> out{};
  out.positions = column.positions;
  out.groups = column.length / last_radix;
  out.re = arrays.dst_re;
  out.im = arrays.dst_im;
  out.row_length = plan.row_length;
  for (std::int32_t b = 0; b < plan.blocks; b += out.count) {
    const std::int32_t left = plan.blocks - b;
    out.count = left < kBlocksAtOnce<V> ? left : kBlocksAtOnce<V>;
    for (int i = 0; i < out.count; ++i) {
      LaneOf<V>* block = workspace.blocks + static_cast<std::size_t>(b + i) * plan.block_pitch;
      run_stages<V>(column, 0, column.stages - 1, block);
      out.blocks[i] = block;
      out.columns[i] = first_column<V>(b + i, plan.row_length);
    }
    kRadixCode<V>[last_radix].store_last(out);
  }
}

template <class V>
void transform_plane(const PlanePlan<LaneOf<V>>& plan, LaneOf<V> scale, const PlaneArrays& arrays,
                     void* memory) noexcept {
  auto* values = static_cast<LaneOf<V>*>(memory);
  const Workspace<V> workspace{values, values + plan.line_offset};
  if constexpr (V::kLanes > 1) {
    if (plan.rows_within_lanes) {
      transform_rows_within<V>(plan, simd::broadcast(scale), arrays, workspace);
      return transform_columns<V>(plan, arrays, workspace);
    }
  }
  transform_rows_across<V>(plan, simd::broadcast(scale), arrays, workspace);
  transform_columns<V>(plan, arrays, workspace);
}

}  // namespace
}  // namespace kyv::psfotf
