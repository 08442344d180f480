// What the kernels need to know to transform one plane: lengths, radices, tables.
//
// Plans are plain data: the planner fills them, the kernels only read them. T is the lane type.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kyv::psfotf {

inline constexpr int kMaxStages = 20;       // 3^19 is the longest
inline constexpr int kMaxFixedRadix = 15;   // radices with unrolled code of their own
inline constexpr int kMaxDirectRadix = 97;  // the largest prime that is summed directly

// The radices that a processor's registers hold.
enum class RadixSet : std::uint8_t {
  kSmall,        // primes and powers of two up to 4
  kMedium,       // up to 8
  kMediumFused,  // and 6, 10 and 12: with fused multiply-adds in sixteen registers
  kLarge,        // and 9 and 15
};

enum class LineMethod : std::uint8_t {
  kMixedRadix,  // decimation in frequency; results at digit-reversed places
  kRader,       // prime length p: cyclic convolution of length p - 1
  kBluestein,   // any length n: chirps and a convolution of length 2n - 1 or more
};

// A one-dimensional transform of `length` elements, done for one vector of lines at a time.
// An element is one vector of real parts followed by one vector of imaginary parts.
template <class T>
struct LinePlan {
  std::int32_t length;
  LineMethod method;
  std::uint8_t stages;
  std::int32_t radices[kMaxStages];  // in the order of use; their product is the length

  // Mixed radix. Those of the stages that turn transforms of L elements into such of L / R lie behind 2
  // (length - L) others: butterfly j has exp(-2 pi i j q / L) for q = 1 to R - 1, real and imaginary part in
  // turn.
  const T* stage_roots;
  // Where lines are few, the first stage's roots, most of all, are not among them: so many pairs are left
  // out. Butterfly kFineRoots a + b has the products of the radix - 1 pairs of a among the coarse roots and
  // those of b among the fine ones; else both are null.
  std::int32_t left_out;
  const T* fine_roots;
  const T* coarse_roots;
  // The inner transform of a line that lies within lanes, value n in lane n % lanes of element n / lanes:
  // this one over the elements, and butterflies across the lanes of its results. In between, lane l of result
  // k has the root exp(-2 pi i k l / (lanes length)): the product of a coarse one, of element place /
  // fine_lane_roots, and of a fine one, of element place % fine_lane_roots. Else all of it null.
  const T* coarse_lanes;
  const T* fine_lanes;
  std::int32_t fine_lane_roots;
  // For each stage the line that its butterflies are, where these are convolutions, else null; all of it null
  // where none is.
  const LinePlan* const* primes;
  // For each radix R = 2 h + 1 that is summed directly, once and in the order of the stages: the real parts
  // of exp(-2 pi i k n / R), h rows, n = 1 to h, of k = 1 to h, and then as many imaginary parts; null where
  // there is no such radix.
  const T* sum_roots;

  // The first stage cuts the elements into parts of this length, each a transform in itself from then on.
  // They lie so many elements apart: the lines of a power of two, side by side, would fall into the same few
  // cache sets.
  std::int32_t part_length;
  std::int32_t part_pitch;
  // Result k of the finished transform is element positions[k]; null where nobody asks, and for the rows of a
  // plane that are convolutions and one vector of lines: their results are in order.
  const std::int32_t* positions;

  // The convolution methods: the transform of the kernel, over the inner length and by it divided, in the
  // order that the inner stages leave it in; spectrum_parts() parts of it, perhaps without the second half of
  // the last. Within lanes, each part is as many vectors as there are lanes, one behind the other.
  const LinePlan* inner;
  const T* spectrum_re;
  const T* spectrum_im;
  // Rader: powers 0 to length - 1 of a generator, the elements to take; backwards, those to fill.
  const std::int32_t* powers;
  // In place: element k of the line is expected at place inputs[k] of what the inner transform works in, and
  // `positions` tells of the results: Rader's by the powers, the first one behind all others, Bluestein's in
  // order with the gaps between the parts. Null where k is its place.
  const std::int32_t* inputs;
  // Bluestein: the chirp, elements 0 to length / 2, and a vector more within lanes; see chirp_sign().
  const T* chirp_re;
  const T* chirp_im;
};

// Where in LinePlan::sum_roots those of stage s begin; for s behind the last such stage, how many there are.
// Radices that are summed directly come first, equal ones side by side.
[[gnu::always_inline]] constexpr std::int64_t sum_roots_before(const std::int32_t* radices, int s) noexcept {
  std::int64_t values = 0;
  for (int i = 0; i < s && radices[i] > kMaxFixedRadix; ++i) {
    const std::int64_t half = radices[i] / 2;
    if (radices[i] != radices[i + 1]) values += 2 * half * half;
  }
  return values;
}

inline constexpr std::int32_t kFineRoots = 16;

// Bluestein's kernel is its own mirror image, and so is its transform: behind the middle, part i of the inner
// transform has the values of part radix - i in reverse order. Rader's is kept whole.
constexpr std::int32_t spectrum_parts(LineMethod method, std::int32_t radix) noexcept {
  return method == LineMethod::kRader ? radix : radix / 2 + 1;
}

// Beside few lines, an even number of parts have one in the middle that is its own mirror image: half of it
// is enough, where its last stage has an even number of butterflies. Many lines would be a little slower.
constexpr bool has_half_spectrum(LineMethod method, std::int32_t length, std::int32_t first_radix,
                                 std::int32_t last_radix, std::int32_t left_out) noexcept {
  return method == LineMethod::kBluestein && left_out > 0 && first_radix % 2 == 0 &&
         length / first_radix / last_radix % 2 == 0;
}

// Element length - m of a chirp is this times element m:
// exp(-pi i (n - m)^2 / n) = (-1)^n exp(-pi i m^2 / n).
constexpr int chirp_sign(std::int32_t length) noexcept { return length % 2 == 0 ? 1 : -1; }

// Slack, one constant for each stage that needs room beyond its values. Rows within lanes leave their results
// as plain rows: vectors of them run over the end by less than this.
inline constexpr std::int32_t kRowSlackVectors = 1;
// Doubles that wait between two pieces of a finished row: less than a cache line of each part.
inline constexpr std::int32_t kCarryDoubles = 16;

inline constexpr std::int32_t kPieceValues = 64;  // of one part of a row
inline constexpr int kMaxBlocksAtOnce = 16;
// Adjacent blocks whose rows are written together: a piece of each row long enough for the memory.
constexpr int blocks_at_once(std::int32_t lanes) noexcept {
  return kPieceValues / lanes > kMaxBlocksAtOnce ? kMaxBlocksAtOnce : kPieceValues / lanes;
}

// How finished rows reach the caller.
enum class RowOutput : std::uint8_t {
  kDirect,      // vectors as they come
  kWholeLines,  // as whole cache lines
  kPastCaches,  // and these without a place in the caches
};

// What waits in a small place, done or not begun, while the other lines work in all of theirs.
enum class Waiting : std::uint8_t {
  kNone,
  kLastRows,     // those beyond a vector's lanes, finished: one block after another, of these rows alone
  kLastColumns,  // likewise, not begun: row after row of these columns alone, and a vector's room behind each
                 // part
};

// A plane as the transform sees it: `rows` runs of `row_length` contiguous values, both at least 1, their
// product within 31 bits.
struct PlaneShape {
  std::int32_t rows;
  std::int32_t row_length;
};

// A plane: `rows` runs of `row_length` contiguous values.
template <class T>
struct PlanePlan {
  std::int32_t rows;
  std::int32_t row_length;
  const LinePlan<T>* column;

  // Rows several at a time, one in each lane, or else each row in itself: value n in lane n % lanes of
  // element n / lanes, so that a row is row_length / lanes elements.
  bool rows_within_lanes;
  const LinePlan<T>* row;  // over row_length or over those elements
  const T* row_twiddles;   // within lanes: element k, lane l is exp(-2 pi i k l / row_length)

  // The workspace: from value `block_offset` on blocks of as many columns as a vector has lanes, each `rows`
  // elements with a gap after every `part_rows` of them, block_pitch values apart; from `line_offset` on the
  // lines in work. The last block starts at column row_length - lanes and may overlap the one before. The
  // blocks lie before the lines, or among what rows that are transformed all at once leave behind there.
  std::int32_t blocks;
  std::int32_t part_rows;
  std::int32_t part_gap;
  std::size_t block_offset;
  std::size_t block_pitch;
  std::size_t line_offset;
  std::size_t row_work_offset;     // of what convolutions of rows work in
  std::size_t column_work_offset;  // and of columns: in place, their last block lies there
  std::size_t waiting_offset;
  std::size_t carry_offset;
  Waiting waiting;
  RowOutput output;
  bool rows_of_lines;  // past the caches, and rows are whole cache lines: there is room for one block more
  bool blocks_past_caches;
  bool columns_in_place;
  bool has_halves;  // whether real and Hermitian planes have a way of their own
};

// A plane of real values has an exactly Hermitian transform: value c of row k is the conjugate of its mirror
// image, value (row_length - c) % row_length of row (rows - k) % rows. Where half of the columns are worked
// on, this is their number.
constexpr std::int32_t half_columns(std::int32_t row_length) noexcept { return (row_length + 1) / 2; }

// Real and imaginary parts of a plane in the caller's memory; source and destination may coincide.
struct PlaneArrays {
  const double* src_re;
  const double* src_im;
  double* dst_re;
  double* dst_im;
};

}  // namespace kyv::psfotf
