#include "psfotf/plane_layout.h"

#include <algorithm>
#include <bit>
#include <cstddef>

#include "psfotf/factorisation.h"
#include "psfotf/kernel_sets.h"
#include "psfotf/line_tables.h"
#include "runtime/arena.h"
#include "runtime/cpu_features.h"
#include "runtime/memory_model.h"

namespace kyv::psfotf {
namespace {

// Beside so many lines of Bluestein's, the room for one more may be a large part of the memory: it lies among
// the elements that it works in then. Without gaps between the parts of these, many lines are slower.
constexpr std::int32_t kFewLines = 16;

// The longest rows that gain by lying across the lanes of up to 32 bytes where they could lie within them.
template <class T>
constexpr std::int32_t kLongestAcross = sizeof(T) == sizeof(double) ? 128 : 384;

// Whether rows are transformed within their lanes: whole vectors, and enough of them to fill those of the
// last step. Few rows would leave lanes empty otherwise. Many gain by it where their results come as whole
// blocks; others go through a plain row, which costs more than a second transposition, unless there are only
// two lanes, or lines across them are long. Direct sums are better off across the lanes.
template <class T>
bool belong_within_lanes(const LineShape& elements, const PlaneShape& shape,
                         const PrecisionKernels<T>& kernels) noexcept {
  const std::int32_t lanes = kernels.lanes;
  if (lanes == 1 || elements.length < lanes) return false;
  if (2 * shape.rows <= lanes) return true;
  if (std::any_of(elements.radices, elements.radices + elements.stages,
                  [](int radix) { return radix > kMaxFixedRadix; })) {
    return false;
  }
  if (shape.rows <= kFewLines || shape.rows < 2 * lanes || lanes == 2) return true;
  const bool is_long = kernels.radices != RadixSet::kLarge && shape.row_length > kLongestAcross<T>;
  return elements.length % lanes == 0 || is_long;
}

// From these sizes on, a plane in the caller's arrays and the blocks of the workspace are better not kept in
// the caches while they are written. A plane's values before and behind the transform and the blocks between
// are three times as much as the plane: more than the L2 holds where Intel's cores, whose last cache is slow,
// begin to gain. Others, on which only larger planes were tried, keep theirs.
std::uint64_t streamed_plane_bytes() noexcept {
  const bool is_intel = runtime::this_processor().vendor == runtime::Vendor::kIntel;
  return is_intel ? 5 * runtime::kL2Bytes / 4 : runtime::kStreamedBytes;
}
constexpr std::uint64_t kStreamedBlockBytes = runtime::kLastCacheBytes;

// Rows that the last stage writes together, this far apart, meet in the same few places of the first cache:
// from this radix on, too many for them.
constexpr int kCollidingRadix = 8;

std::uint64_t row_bytes(const PlaneShape& shape) noexcept {
  return sizeof(double) * static_cast<std::uint64_t>(shape.row_length);
}

// In the caller's arrays.
std::uint64_t plane_bytes(const PlaneShape& shape) noexcept {
  return 2 * row_bytes(shape) * static_cast<std::uint64_t>(shape.rows);
}

// Whether the last stage is one that writes to the caller.
bool can_store(const LineShape& column) noexcept {
  return column.method == LineMethod::kMixedRadix && column.stages > 0 &&
         column.radices[column.stages - 1] <= kMaxFixedRadix;
}

RowOutput choose_output(const PlaneShape& shape, const LineShape& column) noexcept {
  if (plane_bytes(shape) >= streamed_plane_bytes()) return RowOutput::kPastCaches;
  const int radix = can_store(column) ? column.radices[column.stages - 1] : 1;
  if (radix < kCollidingRadix) return RowOutput::kDirect;
  const auto groups = static_cast<std::uint64_t>(shape.rows / radix);
  return groups * row_bytes(shape) % runtime::kCollidingStride == 0 ? RowOutput::kWholeLines
                                                                    : RowOutput::kDirect;
}

// Whether each row is a convolution within the lanes.
bool are_rows_convolved_within(const PlaneMethod& method) noexcept {
  return method.rows_within_lanes && method.row.method == LineMethod::kBluestein;
}

// Whether finished rows leave as whole lines straight from the registers, the blocks shifted for it. Rows
// whose results come as whole blocks lose that by it: for these a large plane is needed to gain.
bool leaves_in_lines(const PlaneShape& shape, const PlaneMethod& method, std::int32_t lanes) noexcept {
  if (shape.row_length % 8 != 0 || !can_store(method.column) || are_rows_convolved_within(method))
    return false;
  const bool come_as_blocks = method.rows_within_lanes && method.row.length % lanes == 0;
  return !come_as_blocks || plane_bytes(shape) >= kStreamedBlockBytes;
}

// The parts of few rows are too short to meet in a few cache sets.
PartGap block_gap(const PlaneShape& shape, const LineShape& column) noexcept {
  return shape.rows <= kFewLines ? PartGap::kNone : gap_of(column);
}

// The plan's own places in the workspace, in values.
struct WorkspaceLayout {
  std::int32_t blocks;
  std::int32_t part_rows;
  PartGap part_gap;
  RowOutput output;
  bool rows_of_lines;
  bool blocks_past_caches;
  bool rows_in_place;
  bool columns_in_place;
  bool has_halves;
  Waiting waiting;
  std::uint64_t block_offset;
  std::uint64_t block_pitch;
  std::uint64_t line_offset;
  std::uint64_t row_work_offset;
  std::uint64_t column_work_offset;
  std::uint64_t waiting_offset;
  std::uint64_t carry_offset;
  std::uint64_t values;
};

// Whether real and Hermitian planes are worked on by halves. Thin planes gain nothing by it: half of the
// columns are to fill about two vectors, and rows that lie across the lanes are to be more than these. Half
// of the columns' blocks, one block for the columns before the first whole line and two values of each row
// find room where all blocks have theirs. Where rows wait, no others do: half of them fit a vector's lanes.
bool has_halves(const PlaneShape& shape, const PlaneMethod& method, const WorkspaceLayout& layout,
                std::int32_t lanes) noexcept {
  const std::int32_t columns = half_columns(shape.row_length);
  const std::int32_t least_rows = method.rows_within_lanes ? 4 : lanes + 1;
  if (lanes == 1 || shape.rows < least_rows || 4 * columns < 7 * lanes || layout.columns_in_place ||
      are_rows_convolved_within(method)) {
    return false;
  }
  const auto blocks = static_cast<std::uint64_t>((columns + lanes - 1) / lanes);
  const std::uint64_t edges = 2 * static_cast<std::uint64_t>(shape.rows);
  const std::uint64_t behind = std::max(edges, layout.rows_of_lines ? layout.block_pitch : 0);
  const bool rows_wait = layout.waiting == Waiting::kLastRows;
  if (rows_wait && shape.rows / 2 + 1 > lanes) return false;
  const std::uint64_t room = rows_wait ? layout.waiting_offset - layout.block_offset : layout.line_offset;
  return blocks * layout.block_pitch + behind <= room;
}

// Whether all rows lie across one vector's lanes: they are transformed at once, and what they worked in is
// free when the blocks are written.
bool all_across_lanes(const PlaneShape& shape, const PlaneMethod& method, std::int32_t lanes) noexcept {
  return !method.rows_within_lanes && shape.rows <= lanes && method.column.work_elements == 0;
}

// Whether the plane is one row within its lanes, which goes through a plain row only where it does not come
// as whole blocks; its elements are free then.
bool is_one_row_within(const PlaneShape& shape, const PlaneMethod& method,
                       const WorkspaceLayout& layout) noexcept {
  return method.rows_within_lanes && shape.rows == 1 && !layout.rows_of_lines;
}

// Three times the plane's own bytes and 64 KiB.
std::uint64_t welcome_bytes(const PlaneShape& shape) noexcept {
  return 3 * plane_bytes(shape) + (std::uint64_t{64} << 10);
}

// All tables of a convolution: the inner roots, the spectrum, and half a chirp or the powers of a generator.
std::uint64_t table_values(const ConvolutionShape& line) noexcept {
  return 4 * static_cast<std::uint64_t>(line.inner_length) + static_cast<std::uint64_t>(line.length);
}

// Of a line: those of the convolutions in it, roots and positions.
std::uint64_t table_values(const LineShape& line) noexcept {
  if (line.method != LineMethod::kMixedRadix) return table_values(line.convolution());
  std::uint64_t values = 3 * static_cast<std::uint64_t>(line.length);
  for (int i = 0; i < line.convolved_stages; ++i) values += table_values(line.convolutions[i]);
  return values;
}

// Up to three lines of doubles; floats have half of the bytes.
template <class T>
bool are_very_few(std::int32_t lines) noexcept {
  return lines * static_cast<std::int32_t>(sizeof(double) / sizeof(T)) <= 3;
}

// Beside these, or beside five lines of doubles, which leave most empty lanes of vectors of eight, all of a
// convolution's tables may be a large part of the memory: three times the plane's own bytes and 64 KiB.
template <class T>
bool may_outgrow(std::int32_t lines) noexcept {
  return are_very_few<T>(lines) || (sizeof(T) == sizeof(double) && lines == 5);
}

// Whether few lines would take too much with one more beside `blocks` values: themselves, what they work in,
// and tables of twice the inner length.
template <class T>
bool is_too_much(const PlaneShape& shape, const LineShape& line, std::int32_t lanes,
                 std::uint64_t blocks) noexcept {
  const std::uint64_t work =
      static_cast<std::uint64_t>(line.length) + static_cast<std::uint64_t>(line.work_elements);
  return (blocks + 2 * static_cast<std::uint64_t>(lanes) * work + table_values(line)) * sizeof(T) >
         welcome_bytes(shape);
}

// Rows that are transformed all at once always do. So may Rader's be where some of the lanes are empty: else
// that saves less than their tables of places take.
template <class T>
bool are_rows_in_place(const PlaneShape& shape, const PlaneMethod& method, std::int32_t lanes,
                       std::uint64_t blocks) noexcept {
  if (method.rows_within_lanes || method.row.method == LineMethod::kMixedRadix || shape.rows > kFewLines ||
      shape.rows == shape.row_length) {
    return false;
  }
  const bool are_all = all_across_lanes(shape, method, lanes);
  if (method.row.method == LineMethod::kRader && (!are_all || shape.rows == lanes)) return false;
  const bool always = are_all && method.row.method == LineMethod::kBluestein;
  return always || is_too_much<T>(shape, method.row, lanes, blocks);
}

// The gap between the parts of lines in place, for which up to three lines of doubles are too few.
template <class T>
PartGap gap_in_place(std::int32_t lines, const LineShape& line) noexcept {
  const bool has_gaps = !are_very_few<T>(lines) && line.work_elements > line.inner_length;
  return has_gaps ? PartGap::kOneElement : PartGap::kNone;
}

// The same of columns, whose last block it is.
template <class T>
bool are_columns_in_place(const PlaneShape& shape, const PlaneMethod& method, const WorkspaceLayout& layout,
                          std::int32_t lanes, std::uint64_t blocks) noexcept {
  return method.column.method == LineMethod::kBluestein && layout.blocks <= 2 &&
         shape.row_length <= kFewLines && layout.output == RowOutput::kDirect &&
         shape.rows != shape.row_length && is_too_much<T>(shape, method.column, lanes, blocks);
}

// Where few lines more than a vector's lanes would take too much beside all of the others, these wait: rows
// that are done first, where the columns need no work of their own, or columns that come last.
template <class T>
Waiting choose_waiting(const PlaneShape& shape, const PlaneMethod& method, const WorkspaceLayout& layout,
                       std::int32_t lanes, std::uint64_t blocks) noexcept {
  const std::uint64_t element = 2 * static_cast<std::uint64_t>(lanes);
  const auto is_too_much = [&](std::int32_t lines, const LineShape& line, std::uint64_t others,
                               std::int32_t in_work) {
    // Tables for few leave out most roots of the first stage.
    const auto left_out = static_cast<std::uint64_t>(may_outgrow<T>(lines) ? 3 * (line.inner_length / 2) : 0);
    const std::uint64_t work = element * static_cast<std::uint64_t>(in_work);
    return (others + work + table_values(line) - left_out) * sizeof(T) > welcome_bytes(shape);
  };
  if (method.rows_within_lanes) return Waiting::kNone;
  if (layout.columns_in_place) {
    const bool are_more = shape.row_length > lanes && shape.row_length < 2 * lanes;
    const bool wait = are_more && is_too_much(shape.row_length, method.column, layout.block_pitch,
                                              method.column.inner_length);
    return wait ? Waiting::kLastColumns : Waiting::kNone;
  }
  const bool are_more = shape.rows > lanes && shape.rows <= 2 * lanes && shape.rows <= kFewLines &&
                        shape.rows != shape.row_length && method.column.work_elements == 0;
  const LineShape& row = method.row;
  const std::int32_t work = layout.rows_in_place ? row.inner_length : row.length + row.work_elements;
  return are_more && is_too_much(shape.rows, row, blocks, work) ? Waiting::kLastRows : Waiting::kNone;
}

std::uint64_t waiting_values(const PlaneShape& shape, const WorkspaceLayout& layout,
                             std::int32_t lanes) noexcept {
  const auto element = 2 * static_cast<std::uint64_t>(lanes);
  switch (layout.waiting) {
    case Waiting::kNone:
      return 0;
    case Waiting::kLastRows:
      return element * static_cast<std::uint64_t>(shape.rows - lanes) *
             static_cast<std::uint64_t>(layout.blocks);
    case Waiting::kLastColumns:
      return 2 * static_cast<std::uint64_t>(lanes) +
             2 * static_cast<std::uint64_t>(shape.row_length - lanes) *
                 static_cast<std::uint64_t>(shape.rows);
  }
  return 0;
}

// That a line takes which is convolved in place: Rader's first one lies behind the others.
std::uint64_t in_place_elements(const LineShape& line) noexcept {
  const auto elements = static_cast<std::uint64_t>(line.work_elements);
  return line.method == LineMethod::kRader ? elements + 1 : elements;
}

template <class T>
constexpr std::uint64_t whole_lines(std::uint64_t values) noexcept {
  constexpr std::uint64_t line = runtime::kCacheLine / sizeof(T);
  return (values + line - 1) / line * line;
}

// Where the `blocks` values of the blocks lie, the lines and what convolutions work in.
template <class T>
void place_regions(const PlaneShape& shape, const PlaneMethod& method, std::int32_t lanes,
                   std::uint64_t blocks, WorkspaceLayout& layout) noexcept {
  const std::uint64_t element = 2 * static_cast<std::uint64_t>(lanes);
  // Within lanes: the row's elements and a plain row with a vector's room behind each part.
  const auto row = static_cast<std::uint64_t>(method.row.length);
  const std::uint64_t line_values =
      element * (method.rows_within_lanes
                     ? static_cast<std::uint64_t>(elements_with_gaps(method.row, gap_of(method.row)))
                     : row);
  const std::uint64_t behind_line =
      element * (method.rows_within_lanes ? row + kRowSlackVectors
                                          : static_cast<std::uint64_t>(method.row.work_elements));
  // In place, the line is the first of these.
  const bool in_place = layout.rows_in_place;
  const std::uint64_t rows_end =
      in_place ? element * in_place_elements(method.row) : line_values + behind_line;
  const std::uint64_t column_values = element * static_cast<std::uint64_t>(method.column.work_elements);
  const std::uint64_t row_work = in_place ? 0 : line_values;
  if (are_rows_convolved_within(method)) {
    // One row's results take the places of its elements.
    layout.block_offset = layout.row_work_offset = layout.column_work_offset = 0;
    layout.line_offset = shape.rows == 1 ? 0 : blocks;
    const std::uint64_t line = element * static_cast<std::uint64_t>(method.row.inner_length);
    layout.carry_offset = layout.line_offset + line;
  } else if (all_across_lanes(shape, method, lanes) || layout.waiting == Waiting::kLastRows) {
    layout.line_offset = layout.column_work_offset = 0;
    layout.row_work_offset = row_work;
    // In place, the results have gaps, or Rader's lie anywhere among the elements.
    const auto gaps = static_cast<std::uint64_t>(method.row.work_elements - method.row.inner_length);
    const bool by_powers = in_place && method.row.method == LineMethod::kRader;
    const std::uint64_t results = by_powers ? rows_end : line_values + (in_place ? element * gaps : 0);
    layout.block_offset = whole_lines<T>(results);
    layout.waiting_offset = std::max(layout.block_offset + blocks, whole_lines<T>(rows_end));
    layout.carry_offset = layout.waiting_offset + waiting_values(shape, layout, lanes);
  } else if (is_one_row_within(shape, method, layout)) {
    const bool comes_as_blocks = method.row.length % lanes == 0;
    layout.block_offset = layout.row_work_offset = layout.column_work_offset = 0;
    layout.line_offset = comes_as_blocks ? blocks : 0;
    layout.carry_offset = layout.line_offset + line_values + (comes_as_blocks ? 0 : behind_line);
  } else if (layout.columns_in_place) {
    layout.block_offset = 0;
    layout.column_work_offset = layout.waiting == Waiting::kLastColumns
                                    ? 0
                                    : static_cast<std::uint64_t>(layout.blocks - 1) * layout.block_pitch;
    layout.waiting_offset = layout.column_work_offset + std::max(layout.block_pitch, column_values);
    layout.line_offset = whole_lines<T>(layout.waiting_offset + waiting_values(shape, layout, lanes));
    layout.row_work_offset = layout.line_offset + row_work;
    layout.carry_offset = layout.line_offset + rows_end;
  } else {
    layout.line_offset = layout.column_work_offset = blocks;
    layout.block_offset = 0;
    layout.row_work_offset = blocks + row_work;
    layout.carry_offset = blocks + std::max(rows_end, column_values);
  }
}

// Blocks of columns that lie among the elements that they work in have the gaps of these.
template <class T>
void set_gaps_in_place(const PlaneShape& shape, const LineShape& column, std::uint64_t element,
                       WorkspaceLayout& layout) noexcept {
  layout.part_gap = gap_in_place<T>(shape.row_length, column);
  if (layout.part_gap == PartGap::kNone) return;
  const std::int32_t parts = column.work_elements - column.inner_length;
  layout.part_rows = column.inner_length / parts;
  layout.block_pitch = element * static_cast<std::uint64_t>(shape.rows + parts);
}

template <class T>
WorkspaceLayout lay_workspace(const PlaneShape& shape, const PlaneMethod& method,
                              std::int32_t lanes) noexcept {
  constexpr std::uint64_t line = runtime::kCacheLine / sizeof(T);
  constexpr std::uint64_t padding = 5 * line;  // keeps blocks of power-of-two heights off one another's sets
  const std::uint64_t element = 2 * static_cast<std::uint64_t>(lanes);
  WorkspaceLayout layout;
  layout.blocks = shape.row_length / lanes + (shape.row_length % lanes != 0 ? 1 : 0);
  layout.part_rows = part_length(method.column);
  layout.part_gap = block_gap(shape, method.column);
  const auto block_elements = static_cast<std::uint64_t>(elements_with_gaps(method.column, layout.part_gap));
  const std::uint64_t block = element * block_elements;
  // Short blocks follow one another, and so do those that are written whole, or one by one for few rows:
  // beside such planes padding would be most of the memory.
  const bool few =
      shape.rows <= kFewLines && (!method.rows_within_lanes || are_rows_convolved_within(method));
  const bool padded = block > 4 * line && !few && !all_across_lanes(shape, method, lanes);
  layout.block_pitch = padded ? whole_lines<T>(block) + padding : block;
  layout.output = choose_output(shape, method.column);
  layout.rows_of_lines = leaves_in_lines(shape, method, lanes) && layout.output == RowOutput::kPastCaches;
  const std::uint64_t blocks = whole_lines<T>(
      layout.block_pitch * static_cast<std::uint64_t>(layout.blocks + (layout.rows_of_lines ? 1 : 0)));
  layout.blocks_past_caches = blocks * sizeof(T) >= kStreamedBlockBytes;
  layout.rows_in_place = are_rows_in_place<T>(shape, method, lanes, blocks);
  layout.columns_in_place = are_columns_in_place<T>(shape, method, layout, lanes, blocks);
  if (layout.columns_in_place) set_gaps_in_place<T>(shape, method.column, element, layout);
  layout.waiting = choose_waiting<T>(shape, method, layout, lanes, blocks);
  layout.waiting_offset = 0;
  place_regions<T>(shape, method, lanes, blocks, layout);
  layout.has_halves = has_halves(shape, method, layout, lanes);
  constexpr std::uint64_t carry = kCarryDoubles * sizeof(double) / sizeof(T);
  const bool in_one_piece = !layout.rows_of_lines && layout.blocks <= blocks_at_once(lanes);
  const bool carries = layout.output != RowOutput::kDirect && !in_one_piece;
  layout.values = layout.carry_offset + (carries ? carry * static_cast<std::uint64_t>(shape.rows) : 0);
  return layout;
}

template <class T>
Tables tables_for(std::int32_t lines, const LineShape& line, const PlaneShape& shape,
                  const WorkspaceLayout& layout) noexcept {
  if (!may_outgrow<T>(lines)) return Tables::kForMany;
  const bool is_alone = line.method != LineMethod::kMixedRadix;
  const bool fit = (layout.values + table_values(line)) * sizeof(T) <= welcome_bytes(shape);
  return is_alone && fit ? Tables::kForMany : Tables::kForFew;
}

template <class T>
void fill_row_twiddles(const RootTable<T>& roots, std::int32_t elements, std::int32_t lanes,
                       T* twiddles) noexcept {
  for (std::int32_t k = 0; k < elements; ++k, twiddles += 2 * lanes) {
    for (std::int32_t lane = 0; lane < lanes; ++lane) {
      twiddles[lane] = roots.re[k * lane];
      twiddles[lanes + lane] = roots.im[k * lane];
    }
  }
}

// Axes of equal length share their tables.
template <class T>
PlanePlan<T>* lay_plane(const PlaneShape& shape, const PlaneMethod& method, const Kernels& kernels,
                        runtime::Arena& arena, PlanningMemory& memory) noexcept {
  const std::int32_t lanes = precision_of<T>(kernels).lanes;
  const bool square = shape.rows == shape.row_length;
  const auto roots_of = [&memory](const LineShape& line, std::int32_t order) {
    return line.method == LineMethod::kMixedRadix ? lay_roots<T>(order, memory) : RootTable<T>{};
  };
  auto* plan = arena.take<PlanePlan<T>>(1);
  RootTable<T> roots = roots_of(method.column, shape.rows);
  const WorkspaceLayout layout = lay_workspace<T>(shape, method, lanes);
  const LineUse column_use{layout.part_gap,
                           layout.columns_in_place ? Results::kInPlace : Results::kAtPositions,
                           tables_for<T>(shape.row_length, method.column, shape, layout)};
  const LinePlan<T>* column = lay_line<T>(method.column, roots, column_use, kernels, arena, memory);
  const LinePlan<T>* row = column;
  T* row_twiddles = nullptr;
  if (!square) roots = roots_of(method.row, shape.row_length);
  if (are_rows_convolved_within(method)) {
    const LineUse row_use{.results = Results::kInOrder,
                          .tables = shape.rows == 1 ? Tables::kForFew : Tables::kForMany,
                          .lanes = lanes};
    row = lay_line<T>(method.row, {}, row_use, kernels, arena, memory);
  } else if (method.rows_within_lanes) {
    row = lay_mixed_radix<T>(method.row, gap_of(method.row), roots, arena);
    row_twiddles = arena.take<T>(2 * static_cast<std::uint64_t>(shape.row_length));
    if (roots.re != nullptr) fill_row_twiddles(roots, method.row.length, lanes, row_twiddles);
  } else if (!square) {
    const bool by_powers = layout.rows_in_place && method.row.method == LineMethod::kRader;
    const Results results = all_across_lanes(shape, method, lanes) && !by_powers ? Results::kInOrder
                            : layout.rows_in_place                               ? Results::kInPlace
                                                                                 : Results::kAtPositions;
    const PartGap gap = layout.rows_in_place ? gap_in_place<T>(shape.rows, method.row) : PartGap::kNone;
    const LineUse row_use{gap, results, tables_for<T>(shape.rows, method.row, shape, layout)};
    row = lay_line<T>(method.row, roots, row_use, kernels, arena, memory);
  } else if (layout.part_gap != PartGap::kNone) {
    row = lay_mixed_radix<T>(method.row, PartGap::kNone, roots, arena);
  }
  if (arena.is_counting()) return nullptr;
  *plan = {.rows = shape.rows,
           .row_length = shape.row_length,
           .column = column,
           .rows_within_lanes = method.rows_within_lanes,
           .row = row,
           .row_twiddles = row_twiddles,
           .blocks = layout.blocks,
           .part_rows = layout.part_rows,
           .part_gap = static_cast<std::int32_t>(layout.part_gap),
           .block_offset = static_cast<std::size_t>(layout.block_offset),
           .block_pitch = static_cast<std::size_t>(layout.block_pitch),
           .line_offset = static_cast<std::size_t>(layout.line_offset),
           .row_work_offset = static_cast<std::size_t>(layout.row_work_offset),
           .column_work_offset = static_cast<std::size_t>(layout.column_work_offset),
           .waiting_offset = static_cast<std::size_t>(layout.waiting_offset),
           .carry_offset = static_cast<std::size_t>(layout.carry_offset),
           .waiting = layout.waiting,
           .output = layout.output,
           .rows_of_lines = layout.rows_of_lines,
           .blocks_past_caches = layout.blocks_past_caches,
           .columns_in_place = layout.columns_in_place,
           .has_halves = layout.has_halves};
  return plan;
}

// Shorter rows take little memory in any way, and planning would be most of what could be gained.
constexpr std::int32_t kLeastConvolvedRow = 256;
// Beside one row of doubles that is longer, tables for vectors of more than 32 bytes are too large: with
// fewer lanes there are more lengths to choose from.
constexpr std::int32_t kLongestInWideVectors = 3584;
constexpr std::int32_t kWideVector = 32;  // bytes
// A convolution within lanes costs no less for each value: twice the length, five passes and two radices 6.
constexpr double kLeastCostWithin = 90;
// The roots between elements and lanes, and those of first stages, of the longest row of which that matters.
constexpr double kOtherValuesWithin = 1800;
// And this much for each row, in the same unit as those of one value.
constexpr double kRowCost = 4000;

// What lines across the lanes cost in all, in those of one line: the lanes that the rows take, at least those
// of 32 bytes, since narrower vectors take as long. Beside wider ones pairs of doubles take two fifths longer
// (measured).
template <class T>
double lines_across(std::int32_t rows, std::int32_t lanes) noexcept {
  const auto least = static_cast<std::int32_t>(kWideVector / sizeof(T));
  const auto whole = static_cast<std::int32_t>(std::bit_ceil(static_cast<std::uint32_t>(rows)));
  const bool are_pairs = rows == 2 && sizeof(T) == sizeof(double) && lanes > least;
  return std::max(std::min(lanes, least), whole) * (are_pairs ? 1.4 : 1.0);
}

// Chooses the convolution of rows within their lanes where there is one that is cheaper than the line across
// them.
template <class T>
void choose_cheaper_within(const PlaneShape& shape, const PrecisionKernels<T>& kernels,
                           PlaneMethod& method) noexcept {
  const std::int32_t lanes = kernels.lanes;
  const bool is_one = shape.rows == 1;
  const bool is_wide =
      lanes * static_cast<std::int32_t>(sizeof(T)) > kWideVector && sizeof(T) == sizeof(double);
  const double cost = lines_across<T>(shape.rows, lanes) * method.row.cost;
  const auto cost_within = [&shape](double line) {
    return shape.rows * (line + kRowCost / shape.row_length);
  };
  if (shape.row_length < kLeastConvolvedRow || shape.rows >= lanes || cost_within(kLeastCostWithin) >= cost ||
      (is_one && is_wide && shape.row_length > kLongestInWideVectors)) {
    return;
  }
  LineShape within = choose_line_within(shape.row_length, lanes, kernels.radices,
                                        is_one ? WithinFor::kLessMemory : WithinFor::kLeastTime);
  if (is_one && is_possible(within)) {
    const double values =
        values_within(within, lanes, kernels.radices) + shape.row_length + kOtherValuesWithin;
    if (values * sizeof(T) > static_cast<double>(welcome_bytes(shape))) {
      within = choose_line_within(shape.row_length, lanes, kernels.radices, WithinFor::kLeastMemory);
    }
  }
  if (!is_possible(within) || cost_within(within.cost) >= cost) return;
  method.row = within;
  method.rows_within_lanes = true;
}

}  // namespace

template <class T>
PlaneMethod choose_plane(const PlaneShape& shape, const PrecisionKernels<T>& kernels) noexcept {
  const RadixSet radices = kernels.radices;
  if (shape.row_length % kernels.lanes == 0) {
    LineShape elements;
    if (factorize(elements, shape.row_length / kernels.lanes, radices) &&
        belong_within_lanes(elements, shape, kernels)) {
      return {choose_line(shape.rows, radices), elements, true};
    }
  }
  if (shape.rows == shape.row_length) {
    const LineShape line = choose_line(shape.rows, radices);
    return {line, line, false};
  }
  PlaneMethod method{choose_line(shape.rows, radices), choose_line(shape.row_length, radices), false};
  choose_cheaper_within(shape, kernels, method);
  return method;
}

template <class T>
std::uint64_t plan_bytes(const PlaneShape& shape, const PlaneMethod& method,
                         const Kernels& kernels) noexcept {
  if (!is_possible(method.row) || !is_possible(method.column)) return kImpossible;
  runtime::Arena arena;
  PlanningMemory memory;
  lay_plane<T>(shape, method, kernels, arena, memory);
  return arena.aligned_bytes();
}

template <class T>
std::uint64_t workspace_bytes(const PlaneShape& shape, const PlaneMethod& method,
                              const Kernels& kernels) noexcept {
  if (!is_possible(method.row) || !is_possible(method.column)) return kImpossible;
  const std::uint64_t bytes =
      lay_workspace<T>(shape, method, precision_of<T>(kernels).lanes).values * sizeof(T);
  PlanningMemory memory;
  if (method.row.work_elements == 0 && method.column.work_elements == 0) {
    lay_roots<T>(std::max(shape.rows, shape.row_length), memory);
  } else {
    runtime::Arena arena;
    lay_plane<T>(shape, method, kernels, arena, memory);
  }
  return std::max(bytes, memory.bytes());
}

template <class T>
const PlanePlan<T>* make_plane_plan(const PlaneShape& shape, const PlaneMethod& method,
                                    const Kernels& kernels, void* memory, void* workspace) noexcept {
  runtime::Arena arena(memory);
  PlanningMemory for_a_while(workspace);
  return lay_plane<T>(shape, method, kernels, arena, for_a_while);
}

bool may_fit_within_lanes(const PlaneShape& shape, std::int32_t lanes) noexcept {
  return shape.row_length % lanes == 0 || shape.row_length >= kLeastConvolvedRow;
}

template PlaneMethod choose_plane(const PlaneShape&, const PrecisionKernels<float>&) noexcept;
template std::uint64_t plan_bytes<float>(const PlaneShape&, const PlaneMethod&, const Kernels&) noexcept;
template std::uint64_t workspace_bytes<float>(const PlaneShape&, const PlaneMethod&, const Kernels&) noexcept;
template const PlanePlan<float>* make_plane_plan(const PlaneShape&, const PlaneMethod&, const Kernels&, void*,
                                                 void*) noexcept;
template PlaneMethod choose_plane(const PlaneShape&, const PrecisionKernels<double>&) noexcept;
template std::uint64_t plan_bytes<double>(const PlaneShape&, const PlaneMethod&, const Kernels&) noexcept;
template std::uint64_t workspace_bytes<double>(const PlaneShape&, const PlaneMethod&,
                                               const Kernels&) noexcept;
template const PlanePlan<double>* make_plane_plan(const PlaneShape&, const PlaneMethod&, const Kernels&,
                                                  void*, void*) noexcept;

}  // namespace kyv::psfotf
