// Two-dimensional transforms: rows straight out of the caller's arrays into blocks of columns, then the
// columns straight into the caller's arrays.
#pragma once

#include <cstddef>
#include <cstdint>

#include "psfotf/kernels/line_transform.h"
#include "runtime/memory_model.h"

namespace kyv::psfotf {
namespace {

inline constexpr std::ptrdiff_t kPieceValues = 64;  // of one part of a row

inline bool is_aligned(const double* p) noexcept {
  return reinterpret_cast<std::uintptr_t>(p) % sizeof(double) == 0;
}

template <class V>
struct Workspace {
  LaneOf<V>* blocks;
  LaneOf<V>* line;
  double* carry;
};

// The column of the plane that lane 0 of a tile of columns holds: the last tile may overlap the one before.
template <class V>
inline std::int32_t first_column(std::int32_t tile, std::int32_t row_length) noexcept {
  const std::int32_t column = tile * V::kLanes;
  return column + V::kLanes <= row_length ? column : row_length - V::kLanes;
}

// How the columns of a plane are cut into blocks. Where finished rows leave as whole cache lines straight
// from the registers, a block begins with the first whole line of the caller's rows, behind those for what is
// before.
template <class V>
class BlockCut {
 public:
  BlockCut(const PlanePlan<LaneOf<V>>& plan, const PlaneArrays& arrays) noexcept
      : row_length_(plan.row_length) {
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
  std::int32_t blocks() const noexcept { return lead_blocks() + tiles(row_length_ - lead_ + V::kLanes - 1); }
  // The blocks before the first whole line, and the end of those that fill lines behind it.
  std::int32_t lead_blocks() const noexcept { return tiles(lead_ + V::kLanes - 1); }
  std::int32_t whole_blocks_end() const noexcept {
    const std::int32_t whole = tiles(row_length_ - lead_);
    return lead_blocks() + whole / kBlocksInLine<V> * kBlocksInLine<V>;
  }
  // The column that lane 0 of a block holds: blocks at the ends may overlap their neighbours.
  std::int32_t column(std::int32_t block) const noexcept {
    const std::int32_t column = start(block);
    return column + V::kLanes <= row_length_ ? column : row_length_ - V::kLanes;
  }
  // The same without regard to the end.
  std::int32_t start(std::int32_t block) const noexcept {
    const std::int32_t behind = block - lead_blocks();
    return behind < 0 ? block * V::kLanes : lead_ + behind * V::kLanes;
  }

 private:
  static std::int32_t tiles(std::int32_t columns) noexcept { return columns / V::kLanes; }

  std::int32_t row_length_;
  bool streams_re_ = false;
  bool streams_im_ = false;
  std::int32_t lead_ = 0;  // columns before the first whole line
};

// Where a block holds row `row` of the plane.
template <class V>
inline std::ptrdiff_t row_place(const PlanePlan<LaneOf<V>>& plan, std::int32_t row) noexcept {
  return (row + row / plan.part_rows * plan.part_gap) * kElement<V>;
}

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

// One part (real or imaginary) of rows to the same part of line elements. The rows' later values, and then
// the first ones of the next rows, are fetched on the way.
template <class V>
void gather_rows(const RowPointers<V>& source, std::int32_t row_length, std::ptrdiff_t next_rows,
                 LaneOf<V>* line) noexcept {
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
    for (int i = 0; i < V::kLanes; ++i) simd::store_aligned(line + (column + i) * kElement<V>, tile[i]);
  }
}

// Finished line elements to `valid` rows of every block, scaled.
template <class V>
void scatter_rows(const PlanePlan<LaneOf<V>>& plan, const BlockCut<V>& cut, V scale, const LaneOf<V>* line,
                  const std::ptrdiff_t* places, std::int32_t valid, LaneOf<V>* blocks) noexcept {
  const std::int32_t* positions = plan.row->positions;
  for (std::int32_t b = 0; b < cut.blocks(); ++b) {
    const std::int32_t column = cut.column(b);
    V re[V::kLanes];
    V im[V::kLanes];
#pragma GCC unroll 16
    for (int i = 0; i < V::kLanes; ++i)
      re[i] = simd::load(line + positions[column + i] * kElement<V>) * scale;
    simd::transpose(re);
#pragma GCC unroll 16
    for (int i = 0; i < V::kLanes; ++i)
      im[i] = simd::load(line + positions[column + i] * kElement<V> + V::kLanes) * scale;
    simd::transpose(im);
    LaneOf<V>* block = blocks + static_cast<std::size_t>(b) * plan.block_pitch;
    for (std::int32_t i = 0; i < valid; ++i) {
      const Complex<V> x{re[i], im[i]};
      store_elements<V, 1>(&x, block + places[i], 0, plan.blocks_past_caches);
    }
  }
}

template <class V>
void transform_rows_across(const PlanePlan<LaneOf<V>>& plan, const BlockCut<V>& cut, V scale,
                           const PlaneArrays& arrays, const Workspace<V>& workspace) noexcept {
  LaneOf<V>* work = workspace.line + plan.row_length * kElement<V>;
  for (std::int32_t first = 0; first < plan.rows; first += V::kLanes) {
    const RowPointers<V> re(arrays.src_re, first, plan.rows, plan.row_length);
    const RowPointers<V> im(arrays.src_im, first, plan.rows, plan.row_length);
    const std::ptrdiff_t next_rows =
        first + 2 * V::kLanes <= plan.rows ? static_cast<std::ptrdiff_t>(V::kLanes) * plan.row_length : 0;
    gather_rows<V>(re, plan.row_length, next_rows, workspace.line);
    gather_rows<V>(im, plan.row_length, next_rows, workspace.line + V::kLanes);
    transform_lines<V>(*plan.row, workspace.line, work);
    const std::int32_t left = plan.rows - first;
    const std::int32_t valid = left < V::kLanes ? left : V::kLanes;
    std::ptrdiff_t places[V::kLanes];
    for (std::int32_t i = 0; i < valid; ++i) places[i] = row_place<V>(plan, first + i);
    scatter_rows<V>(plan, cut, scale, workspace.line, places, valid, workspace.blocks);
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
  const std::int32_t m = elements / radix;
  const Roots<T> roots = stage_roots<V>(line, line.length);
  T* row_re =
      workspace.line + radix * line.part_pitch * kElement<V>;  // plain rows with room for one vector more
  T* row_im = row_re + plan.row_length + lanes;
  for (std::int32_t r = 0; r < plan.rows; ++r) {
    const std::ptrdiff_t source = static_cast<std::ptrdiff_t>(r) * plan.row_length;
    const std::ptrdiff_t ahead = r + 2 < plan.rows ? 2 * static_cast<std::ptrdiff_t>(plan.row_length) : 0;
    kRadixCode<V>[radix].load_first(arrays.src_re + source, arrays.src_im + source, ahead, workspace.line, m,
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
    // Vectors of results run over the end of their stretch; what belongs there is written later.
    for (std::int32_t k = (elements - 1) / lanes * lanes; k >= 0; k -= lanes) {
      Complex<V> x[lanes];
      finish_row<V>(plan, scale, workspace.line, k, x);
#pragma GCC unroll 16
      for (int q = 0; q < lanes; ++q) {
        simd::store(row_re + k + q * elements, x[q].re);
        simd::store(row_im + k + q * elements, x[q].im);
      }
    }
    const std::int32_t blocks = cut.blocks();
    for (std::int32_t b = 0; b < blocks; ++b) {
      T* place = row + static_cast<std::size_t>(b) * plan.block_pitch;
      const Complex<V> x{simd::load(row_re + cut.column(b)), simd::load(row_im + cut.column(b))};
      store_elements<V, 1>(&x, place, 0, plan.blocks_past_caches);
    }
  }
}

// Pieces of finished rows on their way to the caller past the caches. The pieces of several rows are put
// together here and leave as whole cache lines; what is left of a line at the end of a piece waits in `carry`
// for the next piece of its row.
class RowPieces {
 public:
  // The arrays are aligned to doubles; `carry` holds 2 * kLine doubles for each row.
  RowPieces(double* re, double* im, std::ptrdiff_t row_length, bool past_caches, double* carry) noexcept
      : destination_{re, im}, row_length_(row_length), past_caches_(past_caches), carry_(carry) {}

  // The pieces to come are columns first to last - 1.
  void start(std::ptrdiff_t first, std::ptrdiff_t last) noexcept {
    first_ = first;
    last_ = last;
  }

  // Where column `first` of the i-th row in work goes. Some values before it may be written again.
  double* re() noexcept { return values_ + kLead; }
  double* im() noexcept { return values_ + kLead + kPart; }
  static constexpr std::ptrdiff_t kRowStep() noexcept { return 2 * kPart; }

  // Writes the i-th row in work as row `row` of the plane.
  void finish(int i, std::int32_t row) noexcept {
    finish_part(i, row, 0);
    finish_part(i, row, 1);
  }
  // The same for the imaginary part alone.
  void finish_im(int i, std::int32_t row) noexcept { finish_part(i, row, 1); }

 private:
  static constexpr std::ptrdiff_t kLine = 8;   // doubles in a cache line
  static constexpr std::ptrdiff_t kLead = 16;  // room for the carry and for a block that overlaps backwards
  static constexpr std::ptrdiff_t kPart = kLead + kPieceValues;

  void finish_part(int i, std::int32_t row, int part) noexcept {
    double* values = values_ + i * kRowStep() + part * kPart + kLead;
    double* destination = destination_[part] + row * row_length_ + first_;
    double* carry = carry_ + (2 * static_cast<std::ptrdiff_t>(row) + part) * kLine;
    constexpr int lanes = simd::F64::kLanes;
    const auto beyond =
        static_cast<std::ptrdiff_t>(reinterpret_cast<std::uintptr_t>(destination) / sizeof(double) % kLine);
    const std::ptrdiff_t count = last_ - first_;
    std::ptrdiff_t at = -beyond;
    if (first_ == 0) {
      at = beyond == 0 ? 0 : kLine - beyond;
      if (at > count) at = count;
      copy(values, destination, 0, at);
    } else {
      move_line(carry, values - kLine);
    }
    const std::ptrdiff_t end = at + (count - at) / kLine * kLine;
    if (past_caches_) {
      for (; at < end; at += lanes) {
        simd::F64 v;
        simd::load_doubles(v, values + at);
        simd::stream_doubles(destination + at, v);
      }
    } else {
      for (; at < end; at += lanes) {
        simd::F64 v;
        simd::load_doubles(v, values + at);
        simd::store_doubles(destination + at, v);
      }
    }
    if (last_ == row_length_) {
      copy(values, destination, at, count);
    } else {
      move_line(values + count - kLine, carry);
    }
  }

  static void copy(const double* from, double* to, std::ptrdiff_t first, std::ptrdiff_t last) noexcept {
    for (std::ptrdiff_t i = first; i < last; ++i) to[i] = from[i];
  }
  static void move_line(const double* from, double* to) noexcept {
    for (int i = 0; i < kLine; i += simd::F64::kLanes) {
      simd::F64 v;
      simd::load_doubles(v, from + i);
      simd::store_doubles(to + i, v);
    }
  }

  double* destination_[2];
  std::ptrdiff_t row_length_;
  bool past_caches_;
  double* carry_;
  std::ptrdiff_t first_ = 0;
  std::ptrdiff_t last_ = 0;
  alignas(64) double values_[kMaxFixedRadix * 2 * kPart];
};

// Columns whose last stage writes to the caller.
template <class V>
struct ColumnRun {
  const LinePlan<LaneOf<V>>& line;
  int last_radix;  // 0 where the last stage is not one that can write to the caller
};

// Rows of finished blocks to the caller: result k is element positions[k].
template <class V>
void store_rows(const LinePlan<LaneOf<V>>& line, const ColumnOutput<LaneOf<V>>& out, std::int32_t first,
                std::int32_t last) noexcept {
  for (std::int32_t k = first; k < last; ++k) {
    for (int b = 0; b < out.count; ++b) {
      const Complex<V> x = load_element<V>(out.blocks[b] + line.positions[k] * kElement<V>);
      const std::ptrdiff_t place = (k - first) * out.group_step + out.columns[b];
      simd::store_doubles(out.re + place, x.re);
      simd::store_doubles(out.im + place, x.im);
    }
  }
}

// Adjacent blocks whose rows are written together: a piece of each row long enough for the memory.
template <class V>
inline constexpr int kBlocksAtOnce = static_cast<int>(kPieceValues) / V::kLanes > kMaxBlocksAtOnce
                                         ? kMaxBlocksAtOnce
                                         : static_cast<int>(kPieceValues) / V::kLanes;

// The radix whose butterflies can write to the caller, or 0.
template <class T>
int storing_radix(const LinePlan<T>& line) noexcept {
  if (line.method != LineMethod::kMixedRadix || line.stages == 0) return 0;
  const int radix = line.radices[line.stages - 1];
  return radix <= kMaxFixedRadix ? radix : 0;
}

// The columns of some adjacent blocks but for the stage that writes to the caller, and where they go: from
// column `origin` on.
template <class V>
void prepare_columns(const PlanePlan<LaneOf<V>>& plan, const BlockCut<V>& cut, const Workspace<V>& workspace,
                     std::int32_t first, int count, std::int32_t origin,
                     ColumnOutput<LaneOf<V>>& out) noexcept {
  const LinePlan<LaneOf<V>>& column = *plan.column;
  out.count = count;
  for (int i = 0; i < count; ++i) {
    LaneOf<V>* block = workspace.blocks + static_cast<std::size_t>(first + i) * plan.block_pitch;
    if (storing_radix(column) > 0) {
      run_stages<V>(column, column.stages - 1, block);
    } else {
      transform_lines<V>(column, block, workspace.line);
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
  const RadixCode<V>& code = kRadixCode<V>[storing_radix(*plan.column)];
  const std::int32_t groups = plan.column->length / storing_radix(*plan.column);
  const std::int32_t whole_end = cut.whole_blocks_end();
  for (std::int32_t b = 0; b < cut.blocks(); b += out.count) {
    const bool in_lines = b >= cut.lead_blocks() && b < whole_end;
    const std::int32_t end = b < cut.lead_blocks() ? cut.lead_blocks() : in_lines ? whole_end : cut.blocks();
    prepare_columns<V>(plan, cut, workspace, b, end - b < kBlocksAtOnce<V> ? end - b : kBlocksAtOnce<V>, 0,
                       out);
    (in_lines ? code.stream_last : code.store_last)(out, 0, groups);
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
    kRadixCode<V>[radix].stream_re_last(out, g, g + 1);
    for (int q = 0; q < radix; ++q) pieces.finish_im(q, g + q * groups);
  }
}

template <class V>
void transform_columns(const PlanePlan<LaneOf<V>>& plan, const BlockCut<V>& cut, const PlaneArrays& arrays,
                       const Workspace<V>& workspace) noexcept {
  if (cut.streams_both()) return stream_columns<V>(plan, cut, arrays, workspace);
  const LinePlan<LaneOf<V>>& column = *plan.column;
  const int radix = storing_radix(column);
  const std::int32_t groups = radix > 0 ? column.length / radix : column.length;
  const bool in_pieces =
      plan.output != RowOutput::kDirect && is_aligned(arrays.dst_re) && is_aligned(arrays.dst_im);
  ColumnOutput<LaneOf<V>> out = direct_output<V>(plan, arrays);
  RowPieces pieces(arrays.dst_re, arrays.dst_im, plan.row_length, plan.output == RowOutput::kPastCaches,
                   workspace.carry);
  if (in_pieces) {
    out.re = pieces.re();
    out.im = pieces.im();
    out.result_step = RowPieces::kRowStep();
  }
  out.im_result_step = RowPieces::kRowStep();
  const std::int32_t blocks = cut.blocks();
  for (std::int32_t b = 0; b < blocks; b += out.count) {
    // The first group is long enough for what it leaves of lines.
    const bool in_lines = cut.streams_re() && b > cut.lead_blocks() && b < cut.whole_blocks_end();
    const std::int32_t left = (in_lines ? cut.whole_blocks_end() : blocks) - b;
    const std::int32_t origin = in_pieces ? cut.start(b) : 0;
    const std::int32_t most =
        b < cut.lead_blocks()
            ? cut.lead_blocks() + (kBlocksAtOnce<V> - cut.lead_blocks()) / kBlocksInLine<V> * kBlocksInLine<V>
            : kBlocksAtOnce<V>;
    prepare_columns<V>(plan, cut, workspace, b, left < most ? left : most, origin, out);
    if (!in_pieces) {
      if (radix > 0) {
        kRadixCode<V>[radix].store_last(out, 0, groups);
      } else {
        store_rows<V>(column, out, 0, groups);
      }
      continue;
    }
    pieces.start(origin, b + out.count == blocks ? plan.row_length : cut.start(b + out.count));
    if (in_lines) {
      store_re_in_lines<V>(plan, arrays, origin, pieces, out);
      continue;
    }
    for (std::int32_t g = 0; g < groups; ++g) {
      if (radix > 0) {
        kRadixCode<V>[radix].store_last(out, g, g + 1);
        for (int q = 0; q < radix; ++q) pieces.finish(q, g + q * groups);
      } else {
        store_rows<V>(column, out, g, g + 1);
        pieces.finish(0, g);
      }
    }
  }
  if (in_pieces) simd::stream_fence();
}

template <class V>
void transform_plane(const PlanePlan<LaneOf<V>>& plan, LaneOf<V> scale, const PlaneArrays& arrays,
                     void* memory) noexcept {
  auto* values = static_cast<LaneOf<V>*>(memory);
  const Workspace<V> workspace{values, values + plan.line_offset,
                               reinterpret_cast<double*>(values + plan.carry_offset)};
  const BlockCut<V> cut(plan, arrays);
  if constexpr (V::kLanes > 1) {
    if (plan.rows_within_lanes) {
      transform_rows_within<V>(plan, cut, simd::broadcast(scale), arrays, workspace);
      if (plan.blocks_past_caches) simd::stream_fence();
      return transform_columns<V>(plan, cut, arrays, workspace);
    }
  }
  transform_rows_across<V>(plan, cut, simd::broadcast(scale), arrays, workspace);
  if (plan.blocks_past_caches) simd::stream_fence();
  transform_columns<V>(plan, cut, arrays, workspace);
}

}  // namespace
}  // namespace kyv::psfotf
