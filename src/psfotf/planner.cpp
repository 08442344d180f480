#include "psfotf/planner.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <type_traits>

#include "psfotf/roots.h"
#include "runtime/arena.h"
#include "runtime/memory_model.h"

namespace kyv::psfotf {

extern const Kernels kernels_scalar;

namespace {

// How a length is transformed, before any table is made.
struct LineShape {
  std::int32_t length = 1;
  LineMethod method = LineMethod::kMixedRadix;
  std::uint8_t stages = 0;
  std::uint8_t radices[kMaxStages] = {};
  std::int32_t inner_length = 0;   // of the convolution methods
  std::int32_t work_elements = 0;  // that these take beside the line
  double cost = 0;                 // of one element, about in nanoseconds times a constant
};

double radix_cost(int radix) noexcept {
  if (radix > kMaxFixedRadix) return 4.0 + 0.7 * radix;
  constexpr double costs[kMaxFixedRadix + 1] = {0,   0,   2.0, 2.4, 2.4, 2.9, 2.8, 4.0,
                                                3.0, 3.6, 3.6, 6.0, 3.7, 7.0, 0,   4.4};
  return costs[radix];
}

void add_stage(LineShape& shape, int radix) noexcept {
  shape.radices[shape.stages++] = static_cast<std::uint8_t>(radix);
  shape.cost += radix_cost(radix);
}

void add_powers_of_two(LineShape& shape, int exponent, RadixSet radices) noexcept {
  const int log_max = radices == RadixSet::kSmall ? 2 : 3;
  while (exponent > 0) {
    // As few stages as the largest radix allows, as even as they get.
    const int left = (exponent + log_max - 1) / log_max;
    const int log_radix = (exponent + left - 1) / left;
    add_stage(shape, 1 << log_radix);
    exponent -= log_radix;
  }
}

// The exponents of 2, 3 and 5 in a length.
struct SmallFactors {
  int twos = 0;
  int threes = 0;
  int fives = 0;
};

// Adds stages for these factors: as many radices 15, 12 and 10 as given, nines while they last, powers of two
// at the end.
void add_composites(LineShape& shape, SmallFactors left, int fifteens, int twelves, int tens,
                    RadixSet radices) noexcept {
  left.threes -= fifteens + twelves;
  left.fives -= fifteens + tens;
  left.twos -= 2 * twelves + tens;
  for (; left.fives > 0; --left.fives) add_stage(shape, 5);
  for (int i = 0; i < fifteens; ++i) add_stage(shape, 15);
  for (; left.threes > 1; left.threes -= 2) add_stage(shape, 9);
  for (int i = 0; i < twelves; ++i) add_stage(shape, 12);
  for (int i = 0; i < tens; ++i) add_stage(shape, 10);
  if (left.threes > 0) {
    const bool odd_two = left.twos % 3 == 1;
    add_stage(shape, odd_two ? 6 : 3);
    left.twos -= odd_two ? 1 : 0;
  }
  add_powers_of_two(shape, left.twos, radices);
}

// Stages for the factors 2, 3 and 5, after those that the shape has: the cheapest.
void add_small_factors(LineShape& shape, const SmallFactors& factors, RadixSet radices) noexcept {
  if (radices != RadixSet::kLarge) {
    for (int i = 0; i < factors.fives; ++i) add_stage(shape, 5);
    for (int i = 0; i < factors.threes; ++i) add_stage(shape, 3);
    return add_powers_of_two(shape, factors.twos, radices);
  }
  const LineShape before = shape;
  shape.cost = -1;
  for (int fifteens = 0; fifteens <= std::min(factors.threes, factors.fives); ++fifteens) {
    for (int twelves = 0; twelves <= std::min(factors.threes - fifteens, factors.twos / 2); ++twelves) {
      for (int tens = 0; tens <= std::min(factors.fives - fifteens, factors.twos - 2 * twelves); ++tens) {
        LineShape candidate = before;
        add_composites(candidate, factors, fifteens, twelves, tens, radices);
        if (shape.cost < 0 || candidate.cost < shape.cost) shape = candidate;
      }
    }
  }
}

int take_factors(std::int32_t& length, std::int32_t factor) noexcept {
  int count = 0;
  for (; length % factor == 0; length /= factor) ++count;
  return count;
}

// Large primes first, powers of two last. False when a prime factor is too large to be summed directly.
bool factorize(LineShape& shape, std::int32_t length, RadixSet radices) noexcept {
  shape.length = length;
  SmallFactors small;
  small.twos = std::countr_zero(static_cast<std::uint32_t>(length));
  std::int32_t rest = length >> small.twos;
  small.threes = take_factors(rest, 3);
  small.fives = take_factors(rest, 5);
  std::uint8_t large[kMaxStages];
  int count = 0;
  for (std::int32_t f = 7; rest > 1; f += 2) {
    if (f > kMaxDirectRadix) return false;
    for (; rest % f == 0; rest /= f) large[count++] = static_cast<std::uint8_t>(f);
  }
  while (count > 0) add_stage(shape, large[--count]);
  add_small_factors(shape, small, radices);
  return true;
}

bool is_prime(std::int32_t n) noexcept {
  if (n % 2 == 0) return n == 2;
  for (std::int32_t f = 3; static_cast<std::int64_t>(f) * f <= n; f += 2) {
    if (n % f == 0) return false;
  }
  return n > 1;
}

constexpr double kConvolutionPassCost = 2.0;

// A convolution costs two transforms of the inner length and three passes over it.
double convolution_cost(const LineShape& inner, std::int32_t length) noexcept {
  return (2 * inner.cost + 3 * kConvolutionPassCost) * inner.length / length;
}

// The cheapest smooth length from `least` on; a cost below 0 tells that there is none in range.
LineShape convolution_length(std::int64_t least, RadixSet radices) noexcept {
  LineShape best;
  best.cost = -1;
  for (const std::int64_t odd : {1, 3, 5, 7, 9, 15}) {
    std::int64_t length = odd;
    while (length < least) length *= 2;
    if (length > INT32_MAX) continue;
    LineShape candidate;
    factorize(candidate, static_cast<std::int32_t>(length), radices);
    const double cost = (candidate.cost + kConvolutionPassCost) * static_cast<double>(length);
    const double best_cost = (best.cost + kConvolutionPassCost) * best.length;
    if (best.cost < 0 || cost < best_cost) best = candidate;
  }
  return best;
}

// The unused elements behind each part that the first stage makes.
enum class PartGap : std::int32_t { kNone = 0, kOneElement = 1 };

std::int32_t part_length(const LineShape& shape) noexcept {
  return shape.stages > 0 ? shape.length / shape.radices[0] : shape.length;
}

std::int32_t part_pitch(const LineShape& shape, PartGap gap) noexcept {
  return part_length(shape) + static_cast<std::int32_t>(gap);
}

// Elements that a line takes, the gaps among them.
std::int32_t elements_with_gaps(const LineShape& shape, PartGap gap) noexcept {
  return part_pitch(shape, gap) * (shape.stages > 0 ? shape.radices[0] : 1);
}

PartGap gap_of(const LineShape& shape) noexcept {
  return shape.method == LineMethod::kMixedRadix && shape.stages > 1 ? PartGap::kOneElement : PartGap::kNone;
}

void use_convolution(LineShape& shape, LineMethod method, const LineShape& inner) noexcept {
  shape.method = method;
  shape.inner_length = inner.length;
  shape.work_elements = elements_with_gaps(inner, gap_of(inner));
  shape.cost = convolution_cost(inner, shape.length);
}

// Inner length 0 with a convolution method: there is no plan for this length.
LineShape choose_line(std::int32_t length, RadixSet radices) noexcept {
  LineShape direct;
  if (factorize(direct, length, radices)) return direct;

  LineShape shape;
  shape.length = length;
  shape.method = LineMethod::kBluestein;
  const LineShape padded = convolution_length(2 * static_cast<std::int64_t>(length) - 1, radices);
  if (padded.cost < 0) return shape;
  use_convolution(shape, LineMethod::kBluestein, padded);

  LineShape cyclic;
  if (is_prime(length) && factorize(cyclic, length - 1, radices) &&
      convolution_cost(cyclic, length) < shape.cost) {
    use_convolution(shape, LineMethod::kRader, cyclic);
  }
  return shape;
}

bool is_possible(const LineShape& shape) noexcept {
  return shape.method == LineMethod::kMixedRadix || shape.inner_length > 0;
}

// Where result k of the stages is left: its mixed-radix digits in reverse order.
void fill_positions(const LineShape& shape, PartGap gap, std::int32_t* positions) noexcept {
  positions[0] = 0;
  std::int32_t known = 1;
  std::int32_t length = shape.length;
  for (int s = 0; s < shape.stages; ++s) {
    const std::int32_t radix = shape.radices[s];
    length /= radix;
    const std::int32_t step = s == 0 ? part_pitch(shape, gap) : length;
    for (std::int32_t digit = 1; digit < radix; ++digit) {
      for (std::int32_t k = 0; k < known; ++k) positions[digit * known + k] = positions[k] + digit * step;
    }
    known *= radix;
  }
}

// Roots of unity of one order: entry k at place k.
template <class T>
struct RootTable {
  std::int32_t order = 0;
  const T* re = nullptr;
  const T* im = nullptr;
};

template <class T>
RootTable<T> lay_roots(std::int32_t order, runtime::Arena& arena) noexcept {
  auto* re = arena.take<T>(static_cast<std::uint64_t>(order));
  auto* im = arena.take<T>(static_cast<std::uint64_t>(order));
  if (!arena.is_counting()) fill_roots(order, order, re, im);
  return {order, re, im};
}

template <class T>
void fill_stage_roots(const LineShape& shape, const RootTable<T>& roots, T* stage_roots) noexcept {
  std::int32_t step = roots.order / shape.length;
  std::int32_t length = shape.length;
  for (int s = 0; s < shape.stages; ++s) {
    const std::int32_t radix = shape.radices[s];
    length /= radix;
    for (std::int32_t j = 0; j < length; ++j) {
      for (std::int32_t q = 1; q < radix; ++q) {
        *stage_roots++ = roots.re[j * q * step];
        *stage_roots++ = roots.im[j * q * step];
      }
    }
    step *= radix;
  }
}

// The order of the roots is a multiple of the length.
template <class T>
LinePlan<T>* lay_mixed_radix(const LineShape& shape, PartGap gap, const RootTable<T>& roots,
                             runtime::Arena& arena) noexcept {
  auto* plan = arena.take<LinePlan<T>>(1);
  auto* positions = arena.take<std::int32_t>(static_cast<std::uint64_t>(shape.length));
  auto* stage_roots = arena.take<T>(2 * static_cast<std::uint64_t>(shape.length));
  if (arena.is_counting()) return nullptr;
  *plan = {};
  plan->length = shape.length;
  plan->method = shape.method;
  plan->stages = shape.stages;
  std::copy(shape.radices, shape.radices + kMaxStages, plan->radices);
  fill_positions(shape, gap, positions);
  plan->part_pitch = part_pitch(shape, gap);
  fill_stage_roots(shape, roots, stage_roots);
  plan->stage_roots = stage_roots;
  plan->root_re = roots.re;
  plan->root_im = roots.im;
  plan->root_count = roots.order;
  plan->positions = positions;
  return plan;
}

template <class T>
LinePlan<T>* lay_mixed_radix(const LineShape& shape, PartGap gap, runtime::Arena& arena) noexcept {
  const RootTable<T> roots = lay_roots<T>(shape.length, arena);
  return lay_mixed_radix<T>(shape, gap, roots, arena);
}

std::int32_t power_mod(std::int64_t base, std::int32_t exponent, std::int32_t modulus) noexcept {
  std::int64_t result = 1;
  for (; exponent > 0; exponent /= 2) {
    if (exponent % 2 != 0) result = result * base % modulus;
    base = base * base % modulus;
  }
  return static_cast<std::int32_t>(result);
}

// The smallest generator of the multiplicative group modulo the prime `cyclic.length` + 1.
std::int32_t generator(const LineShape& cyclic) noexcept {
  const std::int32_t order = cyclic.length;
  const auto generates = [&](std::int32_t g) {
    for (int s = 0; s < cyclic.stages; ++s) {
      for (int rest = cyclic.radices[s], prime = 2; rest > 1; rest % prime == 0 ? rest /= prime : ++prime) {
        if (rest % prime == 0 && power_mod(g, order / prime, order + 1) == 1) return false;
      }
    }
    return true;
  };
  std::int32_t g = 2;
  while (!generates(g)) ++g;
  return g;
}

// Doubles that a convolution's tables are computed in, whatever the precision of the transform.
struct Sequence {
  double* re;
  double* im;
};

// b[q] = w^(g^-q), w the first root of unity of the prime length.
void fill_rader_kernel(const double* root_re, const double* root_im, const std::int32_t* inverse_powers,
                       std::int32_t count, const Sequence& b) noexcept {
  for (std::int32_t q = 0; q < count; ++q) {
    b.re[q] = root_re[inverse_powers[q]];
    b.im[q] = root_im[inverse_powers[q]];
  }
}

// b[m] = exp(+pi i m^2 / n) for |m| < n, cyclic; the roots are those of order 2n.
void fill_bluestein_kernel(const double* root_re, const double* root_im, std::int32_t n,
                           std::int32_t inner_length, const Sequence& b) noexcept {
  std::fill(b.re, b.re + inner_length, 0.0);
  std::fill(b.im, b.im + inner_length, 0.0);
  for (std::int64_t m = 0; m < n; ++m) {
    const std::int64_t square = m * m % (2 * static_cast<std::int64_t>(n));
    const std::int64_t mirrored = m == 0 ? 0 : inner_length - m;
    b.re[m] = b.re[mirrored] = root_re[square];
    b.im[m] = b.im[mirrored] = -root_im[square];
  }
}

// The transform of `b` in double precision, divided by its length, in the order of the elements.
template <class T>
void fill_spectrum(const LinePlan<double>& plan, const Sequence& b, double* work, T* re, T* im) noexcept {
  const std::int32_t n = plan.length;
  const std::int32_t part = n / plan.radices[0];
  const auto element = [&](std::int32_t k) {
    return work + 2 * static_cast<std::ptrdiff_t>(k / part * plan.part_pitch + k % part);
  };
  for (std::int32_t k = 0; k < n; ++k) {
    element(k)[0] = b.re[k];
    element(k)[1] = b.im[k];
  }
  kernels_scalar.double_precision.transform_lines(plan, work, nullptr);
  for (std::int32_t k = 0; k < n; ++k) {
    re[k] = static_cast<T>(element(k)[0] / n);
    im[k] = static_cast<T>(element(k)[1] / n);
  }
}

template <class T>
LinePlan<T>* lay_convolution(const LineShape& shape, RadixSet radices, runtime::Arena& arena) noexcept {
  LineShape inner_shape;
  factorize(inner_shape, shape.inner_length, radices);
  const PartGap gap = gap_of(inner_shape);
  const bool rader = shape.method == LineMethod::kRader;
  const auto n = static_cast<std::uint64_t>(shape.length);
  const auto inner_n = static_cast<std::uint64_t>(shape.inner_length);
  const std::uint64_t root_count = rader ? n : 2 * n;

  auto* plan = arena.take<LinePlan<T>>(1);
  auto* positions = arena.take<std::int32_t>(n);
  auto* spectrum_re = arena.take<T>(inner_n);
  auto* spectrum_im = arena.take<T>(inner_n);
  auto* first_table = arena.take<T>(n);
  auto* second_table = arena.take<T>(n);
  auto* gather = arena.take<std::int32_t>(rader ? n : 0);
  auto* scatter = arena.take<std::int32_t>(rader ? n : 0);
  const LinePlan<T>* inner = lay_mixed_radix<T>(inner_shape, gap, arena);
  const LinePlan<double>* exact_inner = nullptr;
  if constexpr (std::is_same_v<T, double>) {
    exact_inner = inner;
  } else {
    exact_inner = lay_mixed_radix<double>(inner_shape, gap, arena);
  }
  auto* root_re = arena.take<double>(root_count);
  auto* root_im = arena.take<double>(root_count);
  const Sequence kernel{arena.take<double>(inner_n), arena.take<double>(inner_n)};
  auto* work = arena.take<double>(2 * static_cast<std::uint64_t>(shape.work_elements));
  if (arena.is_counting()) return nullptr;

  *plan = {};
  plan->length = shape.length;
  plan->method = shape.method;
  plan->positions = positions;
  plan->inner = inner;
  plan->spectrum_re = spectrum_re;
  plan->spectrum_im = spectrum_im;
  for (std::int32_t k = 0; k < shape.length; ++k) positions[k] = k;
  const auto order = static_cast<std::int32_t>(root_count);
  fill_roots(order, order, root_re, root_im);
  if (rader) {
    const std::int64_t g = generator(inner_shape);
    const std::int64_t inverse = power_mod(g, shape.length - 2, shape.length);
    gather[0] = scatter[0] = 1;
    for (std::int32_t q = 1; q < shape.inner_length; ++q) {
      gather[q] = static_cast<std::int32_t>(gather[q - 1] * g % shape.length);
      scatter[q] = static_cast<std::int32_t>(scatter[q - 1] * inverse % shape.length);
    }
    plan->gather = gather;
    plan->scatter = scatter;
    fill_rader_kernel(root_re, root_im, scatter, shape.inner_length, kernel);
  } else {
    fill_bluestein_kernel(root_re, root_im, shape.length, shape.inner_length, kernel);
    for (std::int32_t k = 0; k < shape.length; ++k) {
      first_table[k] = static_cast<T>(kernel.re[k]);
      second_table[k] = static_cast<T>(-kernel.im[k]);
    }
    plan->chirp_re = first_table;
    plan->chirp_im = second_table;
  }
  fill_spectrum(*exact_inner, kernel, work, spectrum_re, spectrum_im);
  return plan;
}

template <class T>
LinePlan<T>* lay_line(const LineShape& shape, PartGap gap, RadixSet radices, runtime::Arena& arena) noexcept {
  return shape.method == LineMethod::kMixedRadix ? lay_mixed_radix<T>(shape, gap, arena)
                                                 : lay_convolution<T>(shape, radices, arena);
}

// How both axes of a plane are transformed.
struct PlaneMethod {
  LineShape column;
  LineShape row;  // of the elements of a row, where rows are transformed within their lanes
  bool rows_within_lanes;
};

// A row within its lanes needs whole vectors, unrolled radices, and enough elements to fill the vectors of
// its last step.
bool fits_lanes(const LineShape& elements, std::int32_t lanes) noexcept {
  if (lanes == 1 || elements.length < lanes) return false;
  return std::all_of(elements.radices, elements.radices + elements.stages,
                     [](int radix) { return radix <= kMaxFixedRadix; });
}

template <class T>
PlaneMethod choose_plane(const PlaneShape& shape, const PrecisionKernels<T>& kernels) noexcept {
  const RadixSet radices = kernels.radices;
  PlaneMethod method{choose_line(shape.rows, radices), {}, false};
  LineShape elements;
  if (shape.row_length % kernels.lanes == 0 &&
      factorize(elements, shape.row_length / kernels.lanes, radices) && fits_lanes(elements, kernels.lanes)) {
    method.row = elements;
    method.rows_within_lanes = true;
  } else {
    method.row = shape.row_length == shape.rows ? method.column : choose_line(shape.row_length, radices);
  }
  return method;
}

// From these sizes on, a plane in the caller's arrays and the blocks of the workspace are better not kept in
// the caches while they are written.
constexpr std::uint64_t kStreamedPlaneBytes = runtime::kStreamedBytes;
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

RowOutput choose_output(const PlaneShape& shape, const LineShape& column) noexcept {
  if (plane_bytes(shape) >= kStreamedPlaneBytes) return RowOutput::kPastCaches;
  const int radix = column.stages > 0 ? column.radices[column.stages - 1] : 1;
  if (radix < kCollidingRadix) return RowOutput::kDirect;
  const auto groups = static_cast<std::uint64_t>(shape.rows / radix);
  return groups * row_bytes(shape) % runtime::kCollidingStride == 0 ? RowOutput::kWholeLines
                                                                    : RowOutput::kDirect;
}

// Whether the last stage is one that writes to the caller.
bool can_store(const LineShape& column) noexcept {
  return column.method == LineMethod::kMixedRadix && column.stages > 0 &&
         column.radices[column.stages - 1] <= kMaxFixedRadix;
}

// Whether finished rows leave as whole lines straight from the registers, the blocks shifted for it. Rows
// whose results come as whole blocks lose that by it: for these a large plane is needed to gain.
bool leaves_in_lines(const PlaneShape& shape, const PlaneMethod& method, std::int32_t lanes) noexcept {
  if (shape.row_length % 8 != 0 || !can_store(method.column)) return false;
  const bool come_as_blocks = method.rows_within_lanes && method.row.length % lanes == 0;
  return !come_as_blocks || plane_bytes(shape) >= kStreamedBlockBytes;
}

// The plan's own places in the workspace, in values.
struct WorkspaceLayout {
  std::int32_t blocks;
  std::int32_t part_rows;
  PartGap part_gap;
  RowOutput output;
  bool rows_of_lines;
  bool blocks_past_caches;
  std::uint64_t block_pitch;
  std::uint64_t line_offset;
  std::uint64_t carry_offset;
  std::uint64_t values;
};

template <class T>
WorkspaceLayout lay_workspace(const PlaneShape& shape, const PlaneMethod& method,
                              std::int32_t lanes) noexcept {
  constexpr std::uint64_t line = runtime::kCacheLine / sizeof(T);
  constexpr std::uint64_t padding = 5 * line;  // keeps blocks of power-of-two heights off one another's sets
  const std::uint64_t element = 2 * static_cast<std::uint64_t>(lanes);
  WorkspaceLayout layout;
  layout.blocks = shape.row_length / lanes + (shape.row_length % lanes != 0 ? 1 : 0);
  layout.part_rows = part_length(method.column);
  layout.part_gap = gap_of(method.column);
  const auto block_elements = static_cast<std::uint64_t>(elements_with_gaps(method.column, layout.part_gap));
  const std::uint64_t block = element * block_elements;
  layout.block_pitch = (block + line - 1) / line * line + padding;
  layout.output = choose_output(shape, method.column);
  layout.rows_of_lines = leaves_in_lines(shape, method, lanes) && layout.output == RowOutput::kPastCaches;
  layout.line_offset =
      layout.block_pitch * static_cast<std::uint64_t>(layout.blocks + (layout.rows_of_lines ? 1 : 0));
  // Within lanes: the row's elements and a plain row with a vector's room behind each part.
  const auto row = static_cast<std::uint64_t>(method.row.length);
  const std::uint64_t row_elements =
      method.rows_within_lanes
          ? static_cast<std::uint64_t>(elements_with_gaps(method.row, gap_of(method.row))) + row + 1
          : row + static_cast<std::uint64_t>(method.row.work_elements);
  const auto column_elements = static_cast<std::uint64_t>(method.column.work_elements);
  layout.carry_offset = layout.line_offset + element * std::max(row_elements, column_elements);
  layout.blocks_past_caches = layout.line_offset * sizeof(T) >= kStreamedBlockBytes;
  layout.values =
      layout.carry_offset +
      (layout.output != RowOutput::kDirect ? 128 / sizeof(T) * static_cast<std::uint64_t>(shape.rows) : 0);
  return layout;
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
PlanePlan<T>* lay_plane(const PlaneShape& shape, const PlaneMethod& method,
                        const PrecisionKernels<T>& kernels, runtime::Arena& arena) noexcept {
  const RadixSet radices = kernels.radices;
  const bool square = shape.rows == shape.row_length;
  auto* plan = arena.take<PlanePlan<T>>(1);
  const LinePlan<T>* column = lay_line<T>(method.column, gap_of(method.column), radices, arena);
  const LinePlan<T>* row = column;
  T* row_twiddles = nullptr;
  RootTable<T> roots;
  if (square && column != nullptr) roots = {shape.rows, column->root_re, column->root_im};
  if (method.rows_within_lanes) {
    if (!square) roots = lay_roots<T>(shape.row_length, arena);
    roots.order = shape.row_length;
    row = lay_mixed_radix<T>(method.row, gap_of(method.row), roots, arena);
    row_twiddles = arena.take<T>(2 * static_cast<std::uint64_t>(shape.row_length));
    if (!arena.is_counting()) fill_row_twiddles(roots, method.row.length, kernels.lanes, row_twiddles);
  } else if (!square) {
    row = lay_line<T>(method.row, PartGap::kNone, radices, arena);
  } else if (gap_of(method.column) != PartGap::kNone) {
    row = lay_mixed_radix<T>(method.row, PartGap::kNone, roots, arena);
  }
  if (arena.is_counting()) return nullptr;
  const WorkspaceLayout layout = lay_workspace<T>(shape, method, kernels.lanes);
  *plan = {shape.rows,
           shape.row_length,
           column,
           method.rows_within_lanes,
           row,
           row_twiddles,
           layout.blocks,
           layout.part_rows,
           static_cast<std::int32_t>(layout.part_gap),
           static_cast<std::size_t>(layout.block_pitch),
           static_cast<std::size_t>(layout.line_offset),
           static_cast<std::size_t>(layout.carry_offset),
           layout.output,
           layout.rows_of_lines,
           layout.blocks_past_caches};
  return plan;
}

}  // namespace

template <class T>
std::uint64_t plan_bytes(const PlaneShape& shape, const PrecisionKernels<T>& kernels) noexcept {
  const PlaneMethod method = choose_plane(shape, kernels);
  if (!is_possible(method.row) || !is_possible(method.column)) return kImpossible;
  runtime::Arena arena;
  lay_plane<T>(shape, method, kernels, arena);
  return arena.aligned_bytes();
}

template <class T>
std::uint64_t workspace_bytes(const PlaneShape& shape, const PrecisionKernels<T>& kernels) noexcept {
  const PlaneMethod method = choose_plane(shape, kernels);
  if (!is_possible(method.row) || !is_possible(method.column)) return kImpossible;
  return lay_workspace<T>(shape, method, kernels.lanes).values * sizeof(T);
}

template <class T>
const PlanePlan<T>* make_plane_plan(const PlaneShape& shape, const PrecisionKernels<T>& kernels,
                                    void* memory) noexcept {
  runtime::Arena arena(memory);
  return lay_plane<T>(shape, choose_plane(shape, kernels), kernels, arena);
}

template std::uint64_t plan_bytes(const PlaneShape&, const PrecisionKernels<float>&) noexcept;
template std::uint64_t plan_bytes(const PlaneShape&, const PrecisionKernels<double>&) noexcept;
template std::uint64_t workspace_bytes(const PlaneShape&, const PrecisionKernels<float>&) noexcept;
template std::uint64_t workspace_bytes(const PlaneShape&, const PrecisionKernels<double>&) noexcept;
template const PlanePlan<float>* make_plane_plan(const PlaneShape&, const PrecisionKernels<float>&,
                                                 void*) noexcept;
template const PlanePlan<double>* make_plane_plan(const PlaneShape&, const PrecisionKernels<double>&,
                                                  void*) noexcept;

}  // namespace kyv::psfotf
