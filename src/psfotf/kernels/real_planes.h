// Planes that are real on one side: half the work, and the symmetry exact.
//
// Forward, two rows of a real plane are one complex line, taken apart behind its transform, and half of the
// columns are transformed; the others are their mirror images. Backward, rows 0 to R / 2 of a Hermitian plane
// of R rows are transformed; the results of two columns, half a row apart, are put together as one complex
// column whose real and imaginary parts come out as the two.
#pragma once

#include <cstddef>
#include <cstdint>

#include "psfotf/kernels/plane_columns.h"
#include "psfotf/kernels/plane_rows.h"
#include "psfotf/kernels/symmetry.h"

namespace kyv::psfotf {
namespace {

// Rows that are looked at before any work is done: what a plane is shows early, if not in the first one.
inline constexpr std::int32_t kProbes = 8;

// How columns 1 to half_columns() are cut into blocks; the last one may overlap its neighbour. Column 0
// shares the last lane of the last block, the edge.
template <class V>
class HalfCut {
 public:
  explicit HalfCut(std::int32_t row_length) noexcept : columns_(half_columns(row_length)) {}
  std::int32_t blocks() const noexcept { return (columns_ + V::kLanes - 1) / V::kLanes; }
  std::int32_t start(std::int32_t block) const noexcept { return 1 + block * V::kLanes; }
  std::int32_t column(std::int32_t block) const noexcept {
    const std::int32_t column = start(block);
    return column + V::kLanes <= columns_ + 1 ? column : columns_ + 1 - V::kLanes;
  }

 private:
  std::int32_t columns_;
};

// Columns 0 and row_length / 2 of what rows give are real: they are the two parts of one column, which waits
// here behind the blocks; a row without a middle has zeros for it. The transform of column 0 takes their
// place.
template <class V>
LaneOf<V>* edges_of(const PlanePlan<LaneOf<V>>& plan, const Workspace<V>& workspace) noexcept {
  const HalfCut<V> cut(plan.row_length);
  return workspace.blocks + static_cast<std::size_t>(cut.blocks()) * plan.block_pitch;
}

// One row in itself, to plain rows of real and imaginary parts.
template <class V>
void transform_row_within(const PlanePlan<LaneOf<V>>& plan, V scale, const double* re, const double* im,
                          std::ptrdiff_t ahead, LaneOf<V>* work, LaneOf<V>* row_re,
                          LaneOf<V>* row_im) noexcept {
  const LinePlan<LaneOf<V>>& line = *plan.row;
  const int radix = line.radices[0];
  load_first<V>(radix, re, im, ahead, work, line.part_length, line.part_pitch,
                stage_roots<V>(line, 0, line.length));
  run_later_stages<V>(line, line.stages, work);
  finish_plain_row<V>(plan, scale, work, row_re, row_im);
}

// Rows two at a time, each pair in itself.
template <class V>
bool transform_row_pairs_within(const PlanePlan<LaneOf<V>>& plan, V scale, const PlaneArrays& arrays,
                                const Workspace<V>& workspace) noexcept {
  using T = LaneOf<V>;
  const std::ptrdiff_t length = plan.row_length;
  const HalfCut<V> cut(plan.row_length);
  const bool past_caches = plan.blocks_past_caches;
  T* row_re = workspace.line + plan.row->radices[0] * plan.row->part_pitch * kElement<V>;
  T* row_im = row_re + length + kRowSlackVectors * V::kLanes;
  T* edges = edges_of<V>(plan, workspace);
  const std::int32_t middle = plan.row_length / 2;
  for (std::int32_t r = 0; r < plan.rows; r += 2) {
    const bool single = r + 1 == plan.rows;  // it is its own partner then
    const double* source = arrays.src_re + r * length;
    if (!are_zeros(arrays.src_im + r * length, static_cast<std::size_t>(single ? length : 2 * length)))
      return false;
    const std::ptrdiff_t ahead = r + 5 < plan.rows ? 4 * length : 0;
    transform_row_within<V>(plan, scale, source, single ? source : source + length, ahead, workspace.line,
                            row_re, row_im);
    T* first = workspace.blocks + row_place<V>(plan, r);
    T* second = workspace.blocks + row_place<V>(plan, single ? r : r + 1);
    for (std::int32_t b = 0; b < cut.blocks(); ++b) {
      const std::int32_t c = cut.column(b);
      const std::ptrdiff_t image = length - c - V::kLanes + 1;
      const TwoRows<V> rows(
          {simd::load(row_re + c), simd::load(row_im + c)},
          {simd::reverse(simd::load(row_re + image)), simd::reverse(simd::load(row_im + image))});
      const std::size_t block = static_cast<std::size_t>(b) * plan.block_pitch;
      store_elements<V, 1>(&rows.second, second + block, 0, past_caches);
      store_elements<V, 1>(&rows.first, first + block, 0, past_caches);
    }
    // The lanes divide the length, so there is a column in the middle.
    const std::int32_t last = single ? r : r + 1;
    edges[2 * last] = 2 * row_im[0];
    edges[2 * last + 1] = 2 * row_im[middle];
    edges[2 * r] = 2 * row_re[0];
    edges[2 * r + 1] = 2 * row_re[middle];
  }
  return true;
}

// Where the rows in the lanes belong in a block.
template <class V>
struct RowPlaces {
  std::ptrdiff_t places[V::kLanes];
  std::int32_t valid = 0;

  // Row first + i * step in lane i, as far as there are.
  RowPlaces(const PlanePlan<LaneOf<V>>& plan, std::int32_t first, std::int32_t step,
            std::int32_t end) noexcept {
    for (; valid < V::kLanes && first + valid * step < end; ++valid) {
      places[valid] = row_place<V>(plan, first + valid * step);
    }
  }
};

// One part of kLanes elements of a finished line: those at positions[0], positions[step] and so on.
template <class V>
struct ElementParts {
  const std::int32_t* positions;
  std::ptrdiff_t step;
  const LaneOf<V>* parts;

  V part(int i) const noexcept { return simd::load(parts + positions[i * step] * kElement<V>); }
};

// Scaled sums of two sequences, or with a sign of -1 their differences, one row in each lane, transposed and
// stored to the rows of a block.
template <class V>
[[gnu::noinline]] void store_sums(const ElementParts<V>& x, const ElementParts<V>& y, LaneOf<V> sign, V scale,
                                  const RowPlaces<V>& rows, LaneOf<V>* block, bool past_caches) noexcept {
  const V signs = simd::broadcast(sign);
  V sums[V::kLanes];
#pragma GCC unroll 16
  for (int i = 0; i < V::kLanes; ++i) sums[i] = mul_add(y.part(i), signs, x.part(i)) * scale;
  simd::transpose(sums);
  for (std::int32_t i = 0; i < rows.valid; ++i) {
    LaneOf<V>* place = block + rows.places[i];
    if (past_caches) {
      simd::store_streaming(place, sums[i]);
    } else {
      simd::store_aligned(place, sums[i]);
    }
  }
}

// Finished lines of row pairs to the blocks, scaled.
template <class V>
void scatter_row_pairs(const PlanePlan<LaneOf<V>>& plan, V scale, std::int32_t first,
                       const Workspace<V>& workspace) noexcept {
  constexpr int lanes = V::kLanes;
  using T = LaneOf<V>;
  const HalfCut<V> cut(plan.row_length);
  const std::int32_t* positions = plan.row->positions;
  const bool past_caches = plan.blocks_past_caches;
  const RowPlaces<V> even(plan, first, 2, plan.rows);
  const RowPlaces<V> odd(plan, first + 1, 2, plan.rows);
  const auto element = [&](std::int32_t column) {
    return load_element<V>(workspace.line + positions[column] * kElement<V>);
  };
  for (std::int32_t b = 0; b < cut.blocks(); ++b) {
    const std::int32_t c = cut.column(b);
    T* block = workspace.blocks + static_cast<std::size_t>(b) * plan.block_pitch;
    // As in TwoRows.
    const ElementParts<V> z_re{positions + c, 1, workspace.line};
    const ElementParts<V> m_re{positions + plan.row_length - c, -1, workspace.line};
    const ElementParts<V> z_im{z_re.positions, 1, workspace.line + lanes};
    const ElementParts<V> m_im{m_re.positions, -1, workspace.line + lanes};
    store_sums<V>(z_re, m_re, 1, scale, even, block, past_caches);
    store_sums<V>(z_im, m_im, -1, scale, even, block + lanes, past_caches);
    store_sums<V>(z_im, m_im, 1, scale, odd, block, past_caches);
    store_sums<V>(m_re, z_re, -1, scale, odd, block + lanes, past_caches);
  }
  T* edges = edges_of<V>(plan, workspace) + 2 * static_cast<std::ptrdiff_t>(first);
  for (int part = 0; part < 2; ++part) {
    alignas(64) T values[2 * lanes];
    if (part == 1 && plan.row_length % 2 != 0) {
      store_element<V>(values, {constant<V>(0), constant<V>(0)});
    } else {
      const Complex<V> x = element(part == 0 ? 0 : plan.row_length / 2);
      const V twice = scale + scale;
      store_element<V>(values, {x.re * twice, x.im * twice});
    }
    for (std::int32_t i = 0; i < even.valid; ++i) edges[4 * i + part] = values[i];
    for (std::int32_t i = 0; i < odd.valid; ++i) edges[4 * i + 2 + part] = values[lanes + i];
  }
}

// The same for as many pairs at a time as a vector has lanes.
template <class V>
bool transform_row_pairs_across(const PlanePlan<LaneOf<V>>& plan, V scale, const PlaneArrays& arrays,
                                const Workspace<V>& workspace) noexcept {
  constexpr std::int32_t rows_at_once = 2 * V::kLanes;
  for (std::int32_t first = 0; first < plan.rows; first += rows_at_once) {
    const std::int32_t left = plan.rows - first;
    const std::size_t values = static_cast<std::size_t>(left < rows_at_once ? left : rows_at_once) *
                               static_cast<std::size_t>(plan.row_length);
    if (!are_zeros(arrays.src_im + static_cast<std::ptrdiff_t>(first) * plan.row_length, values))
      return false;
    const RowPointers<V> re(arrays.src_re, first, plan.rows, plan.row_length, 2);
    const RowPointers<V> im(arrays.src_re, first + 1, plan.rows, plan.row_length, 2);
    const std::ptrdiff_t next_rows =
        left >= 2 * rows_at_once ? static_cast<std::ptrdiff_t>(rows_at_once) * plan.row_length : 0;
    gather_lines<V>(plan, re, im, next_rows, workspace.line);
    transform_lines<V>(*plan.row, workspace.line, workspace.row_work);
    scatter_row_pairs<V>(plan, scale, first, workspace);
  }
  return true;
}

// Transforms the last block in place with the edge in its last lane, and takes that apart: column 0 to where
// the edge was, column half_columns() to the lane.
template <class V>
void transform_edge_block(const PlanePlan<LaneOf<V>>& plan, const Workspace<V>& workspace) noexcept {
  using T = LaneOf<V>;
  constexpr int lanes = V::kLanes;
  T* edges = edges_of<V>(plan, workspace);
  T* block = edges - plan.block_pitch;
  for (std::int32_t r = 0; r < plan.rows; ++r) {
    T* place = block + row_place<V>(plan, r) + lanes - 1;
    place[0] = edges[2 * r];
    place[lanes] = edges[2 * r + 1];
  }
  transform_lines<V>(*plan.column, block, workspace.line);
  const T half = T{1} / 2;
  const bool even = plan.row_length % 2 == 0;
  for (std::int32_t k = 0; k <= plan.rows / 2; ++k) {
    const std::int32_t image = k == 0 ? 0 : plan.rows - k;
    T* a = block + plan.column->positions[k] * kElement<V> + lanes - 1;
    T* b = block + plan.column->positions[image] * kElement<V> + lanes - 1;
    const Complex<T> x{*a, a[lanes]};
    const Complex<T> y{*b, b[lanes]};
    const Complex<T> zero{half * (x.re + y.re), half * (x.im - y.im)};
    edges[2 * image] = zero.re;
    edges[2 * image + 1] = 0 - zero.im;
    edges[2 * k] = zero.re;
    edges[2 * k + 1] = zero.im;
    if (even) {
      const Complex<T> middle{half * (x.im + y.im), half * (y.re - x.re)};
      b[0] = middle.re;
      b[lanes] = 0 - middle.im;
      a[0] = middle.re;
      a[lanes] = middle.im;
    } else {  // the mirror image of the column before
      a[0] = b[-1];
      a[lanes] = 0 - b[lanes - 1];
      b[0] = a[-1];
      b[lanes] = 0 - a[lanes - 1];
    }
  }
}

// A row of a finished block to its columns from `column` on, and its mirror image.
template <class V>
[[gnu::always_inline]] inline void store_with_image(const PlanePlan<LaneOf<V>>& plan,
                                                    const PlaneArrays& arrays, const LaneOf<V>* block,
                                                    std::int32_t column, std::int32_t row) noexcept {
  const std::ptrdiff_t length = plan.row_length;
  const Complex<V> x = load_element<V>(block + plan.column->positions[row] * kElement<V>);
  const Complex<V> y = mirrored(x);
  const std::ptrdiff_t place = row * length + column;
  const std::ptrdiff_t image = (row == 0 ? 0 : plan.rows - row) * length + length - column - V::kLanes + 1;
  simd::store_doubles(arrays.dst_im + place, x.im);
  simd::store_doubles(arrays.dst_re + place, x.re);
  simd::store_doubles(arrays.dst_im + image, y.im);
  simd::store_doubles(arrays.dst_re + image, y.re);
}

// Half of the columns to all of them, vectors as they come: each a second time as its mirror image.
template <class V>
void store_mirrored_columns(const PlanePlan<LaneOf<V>>& plan, const PlaneArrays& arrays,
                            const Workspace<V>& workspace) noexcept {
  using T = LaneOf<V>;
  const LinePlan<T>& column = *plan.column;
  const std::ptrdiff_t length = plan.row_length;
  const HalfCut<V> cut(plan.row_length);
  const int radix = storing_radix(column);
  const std::int32_t groups = column.length / (radix > 0 ? radix : 1);
  ColumnOutput<T> out = direct_output<V>(plan, arrays);
  out.mirror_column = length - V::kLanes + 1;
  const std::int32_t blocks = cut.blocks();
  const T* last = workspace.blocks + static_cast<std::size_t>(blocks - 1) * plan.block_pitch;
  const T* edges = edges_of<V>(plan, workspace);
  transform_edge_block<V>(plan, workspace);
  for (std::int32_t b = 0; b < blocks; b += kBlocksAtOnce<V>) {
    const bool is_last = b + kBlocksAtOnce<V> >= blocks;
    prepare_columns<V>(plan, cut, workspace, b, is_last ? blocks - 1 - b : kBlocksAtOnce<V>, 0, out);
    for (std::int32_t g = 0; g < groups; ++g) {
      if (radix > 0) {
        store_last<V, Stored::kWithMirrorImage>(radix, out, g, g + 1);
      } else {
        for (int i = 0; i < out.count; ++i) {
          store_with_image<V>(plan, arrays, out.blocks[i], cut.column(b + i), g);
        }
      }
      for (std::int32_t row = g; row < plan.rows; row += groups) {
        if (is_last) store_with_image<V>(plan, arrays, last, cut.column(blocks - 1), row);
        if (b != 0) continue;
        store_double(arrays.dst_re + row * length, static_cast<double>(edges[2 * row]));
        store_double(arrays.dst_im + row * length, static_cast<double>(edges[2 * row + 1]));
      }
    }
  }
  if (length % 2 == 0) return;
  // In the column beside the middle stands the image of an image: equal, but perhaps a zero of the other
  // sign.
  const std::int32_t neighbour = plan.row_length / 2;
  for (std::int32_t k = 0; k < plan.rows; ++k) {
    const T* element = last + column.positions[k] * kElement<V> + V::kLanes - 2;
    store_double(arrays.dst_re + k * length + neighbour, static_cast<double>(element[0]));
    store_double(arrays.dst_im + k * length + neighbour, static_cast<double>(element[V::kLanes]));
  }
}

// The same in whole cache lines, put together from pieces of rows.
template <class V>
void store_mirrored_columns_in_pieces(const PlanePlan<LaneOf<V>>& plan, const PlaneArrays& arrays,
                                      const Workspace<V>& workspace) noexcept {
  using T = LaneOf<V>;
  const LinePlan<T>& column = *plan.column;
  const HalfCut<V> cut(plan.row_length);
  const int radix = storing_radix(column);
  const std::int32_t groups = column.length / (radix > 0 ? radix : 1);
  const std::int32_t mirrored_end =
      half_columns(plan.row_length);  // beyond the last column that has an image
  const std::int32_t end = plan.row_length / 2 + 1;
  RowPieces pieces(arrays.dst_re, arrays.dst_im, plan.row_length, end, plan.output == RowOutput::kPastCaches,
                   workspace.carry);
  ColumnOutput<T> out = direct_output<V>(plan, arrays);
  out.re = pieces.re();
  out.im = pieces.im();
  out.result_step = RowPieces::kRowStep();
  const std::int32_t blocks = cut.blocks();
  const T* last = workspace.blocks + static_cast<std::size_t>(blocks - 1) * plan.block_pitch;
  const T* edges = edges_of<V>(plan, workspace);
  transform_edge_block<V>(plan, workspace);
  // The edge alone, beyond the last column that leaves from here, is no piece.
  for (std::int32_t b = 0; b < blocks && cut.start(b) < end; b += kBlocksAtOnce<V>) {
    const bool is_last = b + kBlocksAtOnce<V> >= blocks;
    const std::int32_t origin = cut.start(b);
    prepare_columns<V>(plan, cut, workspace, b, is_last ? blocks - 1 - b : kBlocksAtOnce<V>, origin, out);
    pieces.start(b == 0 ? 0 : origin, is_last ? end : cut.start(b + kBlocksAtOnce<V>), origin);
    const std::ptrdiff_t last_column = cut.column(blocks - 1) - origin;
    for (std::int32_t g = 0; g < groups; ++g) {
      if (radix > 0) {
        store_last<V, Stored::kOnce>(radix, out, g, g + 1);
      } else {
        store_rows<V>(column, out, g, g + 1);
      }
      for (int q = 0; q < (radix > 0 ? radix : 1); ++q) {
        const std::int32_t row = g + q * groups;
        double* re = out.re + q * RowPieces::kRowStep();
        double* im = out.im + q * RowPieces::kRowStep();
        if (is_last) {
          const Complex<V> x = load_element<V>(last + column.positions[row] * kElement<V>);
          simd::store_doubles(re + last_column, x.re);
          simd::store_doubles(im + last_column, x.im);
        }
        if (b == 0) {
          re[-1] = static_cast<double>(edges[2 * row]);
          im[-1] = static_cast<double>(edges[2 * row + 1]);
        }
        pieces.finish(q, row);
        pieces.finish_mirrored(q, row == 0 ? 0 : plan.rows - row, mirrored_end);
      }
    }
  }
  simd::stream_fence();
}

template <class V>
bool transform_real_plane(const PlanePlan<LaneOf<V>>& plan, LaneOf<V> scale, const PlaneArrays& arrays,
                          void* memory) noexcept {
  const auto length = static_cast<std::size_t>(plan.row_length);
  for (std::int32_t i = 0; i < kProbes; ++i) {
    const auto row = static_cast<std::size_t>(plan.rows / kProbes * i);
    if (!are_zeros(arrays.src_im + row * length, length)) return false;
  }
  const Workspace<V> workspace = workspace_of<V>(plan, memory);
  const V half_scale = simd::broadcast(scale / 2);  // two rows come apart as sums
  const bool done = plan.rows_within_lanes
                        ? transform_row_pairs_within<V>(plan, half_scale, arrays, workspace)
                        : transform_row_pairs_across<V>(plan, half_scale, arrays, workspace);
  if (!done) return false;
  if (plan.blocks_past_caches) simd::stream_fence();
  if (plan.output != RowOutput::kDirect && is_aligned(arrays.dst_re) && is_aligned(arrays.dst_im)) {
    store_mirrored_columns_in_pieces<V>(plan, arrays, workspace);
  } else {
    store_mirrored_columns<V>(plan, arrays, workspace);
  }
  return true;
}

// Rows 0 to rows / 2 of a Hermitian plane, each in itself.
template <class V>
bool transform_half_rows_within(const PlanePlan<LaneOf<V>>& plan, const BlockCut<V>& cut, V scale,
                                const PlaneArrays& arrays, const Workspace<V>& workspace) noexcept {
  constexpr int lanes = V::kLanes;
  using T = LaneOf<V>;
  const LinePlan<T>& line = *plan.row;
  const std::int32_t elements = line.length;
  const std::ptrdiff_t length = plan.row_length;
  const bool past_caches = plan.blocks_past_caches;
  const bool in_blocks = elements % lanes == 0 && !cut.has_lead();
  const auto pitch = static_cast<std::ptrdiff_t>(plan.block_pitch);
  const std::ptrdiff_t partner = length - cut.columns();
  T* row_re = workspace.line + line.radices[0] * line.part_pitch * kElement<V>;
  T* row_im = row_re + length + kRowSlackVectors * lanes;
  for (std::int32_t r = 0; r <= plan.rows / 2; ++r) {
    if (!is_row_hermitian({plan.rows, plan.row_length}, arrays.src_re, arrays.src_im, r)) return false;
    const double* re = arrays.src_im + r * length;
    const double* im = arrays.src_re + r * length;
    const std::ptrdiff_t ahead = r + 2 < plan.rows ? 2 * length : 0;
    T* row = workspace.blocks + row_place<V>(plan, r);
    T* image = workspace.blocks + row_place<V>(plan, r == 0 ? 0 : plan.rows - r);
    if (!in_blocks) {
      transform_row_within<V>(plan, scale, re, im, ahead, workspace.line, row_re, row_im);
      for (std::int32_t b = 0; b < cut.blocks(); ++b) {
        const std::ptrdiff_t c = cut.column(b);
        const TwoColumns<V> x({simd::load(row_re + c), simd::load(row_im + c)},
                              {simd::load(row_re + c + partner), simd::load(row_im + c + partner)});
        store_elements<V, 1>(&x.element, row + b * pitch, 0, past_caches);
        store_elements<V, 1>(&x.image, image + b * pitch, 0, past_caches);
      }
      continue;
    }
    const int radix = line.radices[0];
    load_first<V>(radix, re, im, ahead, workspace.line, line.part_length, line.part_pitch,
                  stage_roots<V>(line, 0, line.length));
    run_later_stages<V>(line, line.stages, workspace.line);
    for (std::int32_t k = 0; k < elements; k += lanes) {
      Complex<V> x[lanes];
      finish_row<V>(plan, scale, workspace.line, k, x);
#pragma GCC unroll 16
      for (int q = 0; q < lanes / 2; ++q) {
        const TwoColumns<V> y(x[q], x[q + lanes / 2]);
        const std::ptrdiff_t block = (k + q * elements) / lanes * pitch;
        store_elements<V, 1>(&y.element, row + block, 0, past_caches);
        store_elements<V, 1>(&y.image, image + block, 0, past_caches);
      }
    }
  }
  return true;
}

// The same rows, one in each lane.
template <class V>
bool transform_half_rows_across(const PlanePlan<LaneOf<V>>& plan, const BlockCut<V>& cut, V scale,
                                const PlaneArrays& arrays, const Workspace<V>& workspace) noexcept {
  constexpr int lanes = V::kLanes;
  using T = LaneOf<V>;
  const std::int32_t rows = plan.rows / 2 + 1;
  const std::int32_t partner = plan.row_length - cut.columns();
  const bool past_caches = plan.blocks_past_caches;
  const std::int32_t* positions = plan.row->positions;
  for (std::int32_t first = 0; first < rows; first += lanes) {
    for (std::int32_t r = first; r < rows && r < first + lanes; ++r) {
      if (!is_row_hermitian({plan.rows, plan.row_length}, arrays.src_re, arrays.src_im, r)) return false;
    }
    const RowPointers<V> re(arrays.src_im, first, rows, plan.row_length);
    const RowPointers<V> im(arrays.src_re, first, rows, plan.row_length);
    const std::ptrdiff_t next_rows =
        first + 2 * lanes <= rows ? static_cast<std::ptrdiff_t>(lanes) * plan.row_length : 0;
    gather_lines<V>(plan, re, im, next_rows, workspace.line);
    transform_lines<V>(*plan.row, workspace.line, workspace.row_work);
    const RowPlaces<V> down(plan, first, 1, rows);
    RowPlaces<V> up = down;
    for (std::int32_t i = 0; i < up.valid; ++i) {
      up.places[i] = row_place<V>(plan, first + i == 0 ? 0 : plan.rows - first - i);
    }
    for (std::int32_t b = 0; b < cut.blocks(); ++b) {
      const std::int32_t c = cut.column(b);
      T* block = workspace.blocks + static_cast<std::size_t>(b) * plan.block_pitch;
      // As in TwoColumns.
      const ElementParts<V> a_re{positions + c, 1, workspace.line};
      const ElementParts<V> b_re{positions + c + partner, 1, workspace.line};
      const ElementParts<V> a_im{a_re.positions, 1, workspace.line + lanes};
      const ElementParts<V> b_im{b_re.positions, 1, workspace.line + lanes};
      store_sums<V>(a_im, b_re, 1, scale, down, block, past_caches);
      store_sums<V>(b_im, a_re, -1, scale, down, block + lanes, past_caches);
      store_sums<V>(a_im, b_re, -1, scale, up, block, past_caches);
      store_sums<V>(b_im, a_re, 1, scale, up, block + lanes, past_caches);
    }
  }
  return true;
}

// Zeros, past the caches or not.
inline void fill_with_zeros(double* to, std::size_t count, bool past_caches) noexcept {
  if (!past_caches || !is_aligned(to)) {
    __builtin_memset(to, 0, count * sizeof(double));
    return;
  }
  const double* end = to + count;
  const simd::F64 zero = simd::broadcast(0.0);
  for (; to < end && reinterpret_cast<std::uintptr_t>(to) % runtime::kCacheLine != 0; ++to) *to = 0;
  for (; to + simd::F64::kLanes <= end; to += simd::F64::kLanes) simd::stream_doubles(to, zero);
  for (; to < end; ++to) *to = 0;
  simd::stream_fence();
}

// With real and imaginary parts exchanged, the rows' transforms are i times those of the conjugate plane,
// whose forward transform is the backward one of the plane itself, the results being real.
template <class V>
bool transform_hermitian_plane(const PlanePlan<LaneOf<V>>& plan, LaneOf<V> scale, const PlaneArrays& arrays,
                               void* memory) noexcept {
  const PlaneShape shape{plan.rows, plan.row_length};
  for (std::int32_t i = 0; i < kProbes; ++i) {
    if (!is_row_hermitian(shape, arrays.src_re, arrays.src_im, plan.rows / (2 * kProbes) * i)) return false;
  }
  const Workspace<V> workspace = workspace_of<V>(plan, memory);
  const std::int32_t columns = half_columns(plan.row_length);
  const PlaneArrays parts{.src_re = arrays.src_re,
                          .src_im = arrays.src_im,
                          .dst_re = arrays.dst_re,
                          .dst_im = arrays.dst_re + plan.row_length - columns};
  const BlockCut<V> cut(plan, parts, columns);
  const V factor = simd::broadcast(scale);
  const bool done = plan.rows_within_lanes
                        ? transform_half_rows_within<V>(plan, cut, factor, parts, workspace)
                        : transform_half_rows_across<V>(plan, cut, factor, parts, workspace);
  if (!done) return false;
  if (plan.blocks_past_caches) simd::stream_fence();
  transform_columns<V>(plan, cut, parts, workspace);
  const auto values = static_cast<std::size_t>(plan.rows) * static_cast<std::size_t>(plan.row_length);
  fill_with_zeros(arrays.dst_im, values, plan.output == RowOutput::kPastCaches);
  return true;
}

}  // namespace
}  // namespace kyv::psfotf
