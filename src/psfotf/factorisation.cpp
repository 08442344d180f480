#include "psfotf/factorisation.h"

#include <algorithm>
#include <bit>
#include <limits>

namespace kyv::psfotf {
namespace {

// Of one element in one stage, by radix and by how many registers there are. Radices 10 to 13 outgrow
// sixteen.
using Costs = double[kMaxFixedRadix + 1];
constexpr Costs kCostsInFew = {0, 0, 2.0, 2.4, 2.4, 2.9, 2.8, 4.0, 3.0, 0, 0, 6.0, 0, 7.0};
constexpr Costs kCostsInSixteen = {0, 0, 2.0, 2.4, 2.4, 2.9, 2.8, 4.0, 3.0, 0, 4.4, 7.0, 4.0, 9.5};
constexpr Costs kCostsInMany = {0, 0, 2.0, 2.3, 2.5, 2.9, 2.8, 4.0, 3.0, 3.6, 3.6, 6.0, 3.7, 7.0, 0, 4.4};

// Fused sums are cheap.
double radix_cost(std::int32_t radix, RadixSet radices) noexcept {
  const bool fused = radices == RadixSet::kMediumFused;
  if (radix > kMaxFixedRadix) return fused ? 3.5 + 0.54 * radix : 4.0 + 0.7 * radix;
  return (fused ? kCostsInSixteen : radices == RadixSet::kLarge ? kCostsInMany : kCostsInFew)[radix];
}

void add_stage(LineShape& shape, std::int32_t radix, double cost) noexcept {
  shape.radices[shape.stages++] = radix;
  shape.cost += cost;
}

void add_stage(LineShape& shape, std::int32_t radix, RadixSet radices) noexcept {
  add_stage(shape, radix, radix_cost(radix, radices));
}

// Calls add(radix) for the stages of a power of two: as few as the largest radix allows, as even as they get.
template <class Add>
void for_powers_of_two(int exponent, RadixSet radices, const Add& add) noexcept {
  const int log_max = radices == RadixSet::kSmall ? 2 : 3;
  while (exponent > 0) {
    const int left = (exponent + log_max - 1) / log_max;
    const int log_radix = (exponent + left - 1) / left;
    add(1 << log_radix);
    exponent -= log_radix;
  }
}

// The exponents of 2, 3 and 5 in a length.
struct SmallFactors {
  int twos = 0;
  int threes = 0;
  int fives = 0;
};

// How often composite radices are stages.
struct Composites {
  int fifteens = 0;
  int twelves = 0;
  int tens = 0;
  int nines = 0;
  int sixes = 0;
};

// What they leave of the factors, for primes and powers of two.
SmallFactors left_of(const SmallFactors& factors, const Composites& c) noexcept {
  return {factors.twos - 2 * c.twelves - c.tens - c.sixes,
          factors.threes - c.fifteens - c.twelves - 2 * c.nines - c.sixes,
          factors.fives - c.fifteens - c.tens};
}

void add_stages(LineShape& shape, std::int32_t radix, int count, RadixSet radices) noexcept {
  for (int i = 0; i < count; ++i) add_stage(shape, radix, radices);
}

// Even radices come last: convolutions end with one. With many registers these are powers of two, where there
// are any.
void add_all(LineShape& shape, const SmallFactors& factors, const Composites& c, RadixSet radices) noexcept {
  const SmallFactors left = left_of(factors, c);
  const bool large = radices == RadixSet::kLarge;
  const auto add_powers_of_two = [&] {
    for_powers_of_two(left.twos, radices, [&](int radix) { add_stage(shape, radix, radices); });
  };
  add_stages(shape, 5, left.fives, radices);
  add_stages(shape, 15, c.fifteens, radices);
  add_stages(shape, 9, c.nines, radices);
  add_stages(shape, 3, left.threes, radices);
  add_stages(shape, 12, c.twelves, radices);
  if (!large) add_powers_of_two();
  add_stages(shape, 10, c.tens, radices);
  add_stages(shape, 6, c.sixes, radices);
  if (large) add_powers_of_two();
}

double cost_of(const SmallFactors& factors, const Composites& c, RadixSet radices) noexcept {
  const SmallFactors left = left_of(factors, c);
  double sum = 0;
  const auto add = [&](int radix, int count = 1) { sum += count * radix_cost(radix, radices); };
  for_powers_of_two(left.twos, radices, add);
  add(3, left.threes);
  add(5, left.fives);
  add(6, c.sixes);
  add(9, c.nines);
  add(10, c.tens);
  add(12, c.twelves);
  add(15, c.fifteens);
  return sum;
}

// The cheapest composite radices for the factors; 9 and 15 are for many registers.
Composites cheapest_composites(const SmallFactors& factors, RadixSet radices) noexcept {
  Composites best;
  double least = cost_of(factors, best, radices);
  const bool large = radices == RadixSet::kLarge;
  const int most_fifteens = large ? std::min(factors.threes, factors.fives) : 0;
  for (int fifteens = 0; fifteens <= most_fifteens; ++fifteens) {
    const int threes = factors.threes - fifteens;
    for (int twelves = 0; twelves <= std::min(threes, factors.twos / 2); ++twelves) {
      const int twos = factors.twos - 2 * twelves;
      for (int tens = 0; tens <= std::min(factors.fives - fifteens, twos); ++tens) {
        for (int sixes = 0; sixes <= std::min(threes - twelves, twos - tens); ++sixes) {
          const int nines = large ? (threes - twelves - sixes) / 2 : 0;
          const Composites candidate{fifteens, twelves, tens, nines, sixes};
          const double cost = cost_of(factors, candidate, radices);
          if (cost >= least) continue;
          least = cost;
          best = candidate;
        }
      }
    }
  }
  return best;
}

// Whether the last stage may write the rows of a plane. Where their length is a multiple of 64, those that
// are written together are often a multiple of 4096 bytes apart and meet in the same few places of the first
// cache. The six of a radix 6, real and imaginary, are too many.
enum class LastStage { kInPlace, kMayWriteRows };
constexpr int kCollidingTwos = 6;

// Stages for the factors 2, 3 and 5, after those that the shape has: the cheapest.
void add_small_factors(LineShape& shape, const SmallFactors& factors, RadixSet radices,
                       LastStage last = LastStage::kInPlace) noexcept {
  const bool may_collide = last == LastStage::kMayWriteRows && factors.twos >= kCollidingTwos;
  const bool has_composites =
      (factors.threes > 0 || factors.fives > 0) &&
      (radices == RadixSet::kLarge || (radices == RadixSet::kMediumFused && !may_collide));
  add_all(shape, factors, has_composites ? cheapest_composites(factors, radices) : Composites{}, radices);
}

int take_factors(std::int32_t& length, std::int32_t factor) noexcept {
  int count = 0;
  for (; length % factor == 0; length /= factor) ++count;
  return count;
}

// A length's factors 2, 3 and 5, and its larger primes in ascending order.
struct Factors {
  SmallFactors small;
  std::int32_t primes[kMaxStages];
  int prime_count = 0;

  // Stops at the first prime above `most`; what is left then, or 1, is the rest.
  Factors(std::int32_t length, std::int32_t most) noexcept : rest(length) {
    small.twos = std::countr_zero(static_cast<std::uint32_t>(length));
    rest >>= small.twos;
    small.threes = take_factors(rest, 3);
    small.fives = take_factors(rest, 5);
    for (std::int32_t f = 7; f <= most && static_cast<std::int64_t>(f) * f <= rest; f += 2) {
      for (; rest % f == 0; rest /= f) primes[prime_count++] = f;
    }
    if (rest == 1 || rest > most) return;
    primes[prime_count++] = rest;
    rest = 1;
  }

  std::int32_t rest;
};

}  // namespace

bool factorize(LineShape& shape, std::int32_t length, RadixSet radices) noexcept {
  shape.length = length;
  Factors factors(length, kMaxDirectRadix);
  if (factors.rest > 1) return false;
  while (factors.prime_count > 0) add_stage(shape, factors.primes[--factors.prime_count], radices);
  add_small_factors(shape, factors.small, radices);
  return true;
}

std::int32_t part_length(const LineShape& shape) noexcept {
  return shape.stages > 0 ? shape.length / shape.radices[0] : shape.length;
}

std::int32_t part_pitch(const LineShape& shape, PartGap gap) noexcept {
  return part_length(shape) + static_cast<std::int32_t>(gap);
}

std::int32_t elements_with_gaps(const LineShape& shape, PartGap gap) noexcept {
  return part_pitch(shape, gap) * (shape.stages > 0 ? shape.radices[0] : 1);
}

// Beside a large prime factor parts are hardly a power of two apart, and without gaps the rows and columns of
// a square share their tables.
PartGap gap_of(const LineShape& shape) noexcept {
  const bool has_convolutions = shape.work_elements > 0;
  return shape.stages > 1 && !has_convolutions ? PartGap::kOneElement : PartGap::kNone;
}

namespace {

constexpr double kConvolutionPassCost = 6.5;

// A convolution costs two transforms of the inner length and three passes over it; within lanes, the way
// across these costs two more.
double convolution_cost(const LineShape& inner, std::int32_t length, int passes = 3) noexcept {
  return (2 * inner.cost + passes * kConvolutionPassCost) * inner.length / length;
}

// The smooth lengths from `least` on that are `unit` times odd factors and powers of two; longer than by a
// third they are never the cheapest.
template <class Visit>
void for_smooth_lengths(std::int64_t least, std::int32_t unit, const Visit& visit) noexcept {
  for (const std::int64_t odd : {1, 3, 5, 7, 9, 15, 21, 25, 27, 35, 45}) {
    std::int64_t length = odd * unit;
    while (length < least) length *= 2;
    if (length <= INT32_MAX && 3 * length <= 4 * least) visit(static_cast<std::int32_t>(length));
  }
}

// The cheapest of them; a cost below 0 tells that there is none in range.
LineShape convolution_length(std::int64_t least, RadixSet radices) noexcept {
  LineShape best;
  best.cost = -1;
  for_smooth_lengths(least, 1, [&](std::int32_t length) {
    LineShape candidate;
    factorize(candidate, length, radices);
    const double cost = (candidate.cost + kConvolutionPassCost) * length;
    const double best_cost = (best.cost + kConvolutionPassCost) * best.length;
    if (best.cost < 0 || cost < best_cost) best = candidate;
  });
  return best;
}

void use_convolution(LineShape& shape, LineMethod method, const LineShape& inner) noexcept {
  shape.method = method;
  shape.inner_length = inner.length;
  shape.work_elements = elements_with_gaps(inner, gap_of(inner));
  shape.cost = convolution_cost(inner, shape.length);
}

LineShape bluestein(std::int32_t length, RadixSet radices) noexcept {
  LineShape shape;
  shape.length = length;
  shape.method = LineMethod::kBluestein;
  const LineShape padded = convolution_length(2 * static_cast<std::int64_t>(length) - 1, radices);
  if (padded.cost >= 0) use_convolution(shape, LineMethod::kBluestein, padded);
  return shape;
}

// The prime factors of a length whose butterflies are convolutions. Their stages are the last, so that their
// elements lie side by side; two of them, with elements apart in the first one, put them together.
struct Convolutions {
  ConvolutionShape lines[kMaxConvolvedStages];
  double costs[kMaxConvolvedStages];
  int count = 0;

  void add(const LineShape& line) noexcept {
    lines[count] = line.convolution();
    costs[count++] = line.cost;
  }

  void add_stages(LineShape& shape) const noexcept {
    for (int i = 0; i < count; ++i) {
      add_stage(shape, lines[i].length, costs[i]);
      shape.convolutions[shape.convolved_stages++] = lines[i];
      shape.work_elements = std::max(shape.work_elements, lines[i].work_elements);
    }
    if (count > 1) shape.work_elements += lines[0].length;
  }
};

// Bluestein's costs no less: two stages of the cheapest radix, of about twice the length.
constexpr double kLeastBluesteinCost = 54;

// The cheapest way for a prime without code of its own: one stage, summed directly, or a convolution.
LineShape choose_prime(std::int32_t prime, RadixSet radices) noexcept {
  LineShape direct;
  const bool is_direct = factorize(direct, prime, radices);
  if (is_direct && prime < kLeastConvolution) return direct;
  LineShape cyclic;
  LineShape best;
  best.length = prime;
  if (factorize(cyclic, prime - 1, radices)) use_convolution(best, LineMethod::kRader, cyclic);
  if (best.inner_length == 0 || best.cost >= kLeastBluesteinCost) {
    const LineShape other = bluestein(prime, radices);
    const bool is_cheaper = best.inner_length == 0 || (is_possible(other) && other.cost <= best.cost);
    if (is_cheaper) best = other;
  }
  return is_direct && direct.cost <= best.cost ? direct : best;
}

// Whether the rows that a last radix writes together find room in a first cache with eight places at each
// distance of 4096 bytes. In a square they are length / radix rows apart, a power of two of bytes times
// something odd. Real planes write twice as many; for small radices only complex ones count.
bool rows_find_room(std::int32_t radix, std::int32_t length) noexcept {
  constexpr std::int32_t ways = 8;
  constexpr int log_page = 12;
  constexpr int log_line = 6;
  const auto twos = [](std::int32_t n) { return std::countr_zero(static_cast<std::uint32_t>(n)); };
  const int log_distance = std::clamp(2 * twos(length) - twos(radix) + 3, log_line, log_page);
  const std::int32_t room = ways << (log_page - log_distance);
  return radix <= 4 ? 2 * radix <= room : 4 * radix < room;
}

// The last stage has no roots, so that a large radix there leaves the fewest: the largest whose rows find
// room, else a power of two. The others come before it, small ones first. 11, 12 and 13 outgrow sixteen
// registers, most of all where they write rows, and have lower ranks; behind a direct sum 11 and 13 are never
// the last.
void order_stages(LineShape& shape) noexcept {
  if (shape.stages < 2) return;
  constexpr std::int8_t ranks[kMaxFixedRadix + 1] = {0, 0, 2, 3, 4, 7, 9, 10, 11, 12, 13, 6, 8, 5, 0, 15};
  std::int32_t* const end = shape.radices + shape.stages;
  std::int32_t* const first =
      std::find_if(shape.radices, end, [](std::int32_t radix) { return radix <= kMaxFixedRadix; });
  std::sort(first, end, [&](std::int32_t a, std::int32_t b) { return ranks[a] < ranks[b]; });
  const bool has_sums = first != shape.radices;
  std::int32_t* last = nullptr;
  for (std::int32_t* radix = first; radix != end; ++radix) {
    if (std::has_single_bit(static_cast<std::uint32_t>(*radix))) last = radix;
  }
  for (std::int32_t* radix = first; radix != end; ++radix) {
    const bool is_heavy = has_sums && (*radix == 11 || *radix == 13);
    if (!is_heavy && rows_find_room(*radix, shape.length)) last = radix;
  }
  if (last != nullptr) std::rotate(last, last + 1, end);
}

}  // namespace

LineShape choose_line(std::int32_t length, RadixSet radices) noexcept {
  const Factors factors(length, INT32_MAX);
  LineShape mixed;
  mixed.length = length;
  Convolutions convolutions;
  for (int i = factors.prime_count - 1; i >= 0; --i) {
    const std::int32_t prime = factors.primes[i];
    if (prime <= kMaxFixedRadix) {
      add_stage(mixed, prime, radices);
      continue;
    }
    const LineShape line = choose_prime(prime, radices);
    if (prime == length || !is_possible(line)) return line;
    if (line.work_elements == 0) {
      add_stage(mixed, prime, radices);
    } else {
      convolutions.add(line);
    }
  }
  add_small_factors(mixed, factors.small, radices, LastStage::kMayWriteRows);
  if (convolutions.count == 0) {
    order_stages(mixed);
    return mixed;
  }
  convolutions.add_stages(mixed);
  const LineShape whole = bluestein(length, radices);
  return is_possible(whole) && whole.cost < mixed.cost ? whole : mixed;
}

bool factorize_within(LineShape& shape, std::int32_t length, std::int32_t lanes, RadixSet radices) noexcept {
  if (length % lanes != 0 || !factorize(shape, length, radices)) return false;
  std::int32_t* const end = shape.radices + shape.stages;
  std::int32_t* first = end;
  for (std::int32_t* radix = shape.radices; radix != end; ++radix) {
    if (length / lanes % *radix == 0 && (first == end || *radix > *first)) first = radix;
  }
  if (first == end || shape.stages < 2) return false;
  std::rotate(shape.radices, first, first + 1);
  return true;
}

namespace {

// What an inner transform within lanes works in, its spectrum and its roots: the first radix spares all but a
// share of the roots and nearly half of the spectrum.
double inner_values(const LineShape& inner, std::int32_t lanes) noexcept {
  const double parts = inner.radices[0];
  return inner.length * (lanes * (3 + 1 / parts) + 2 / parts);
}

}  // namespace

LineShape choose_line_within(std::int32_t length, std::int32_t lanes, RadixSet radices,
                             WithinFor purpose) noexcept {
  LineShape shape;
  shape.length = length;
  shape.method = LineMethod::kBluestein;
  shape.cost = std::numeric_limits<double>::infinity();
  const std::int64_t least = (2 * static_cast<std::int64_t>(length) - 2) / lanes + 1;
  double least_values = 0;
  const auto consider = [&](std::int32_t elements) {
    LineShape inner;
    if (elements > INT32_MAX / lanes || !factorize_within(inner, elements, lanes, radices)) return;
    const double cost = convolution_cost(inner, length, 5) * lanes;
    const double values = inner_values(inner, lanes);
    const bool is_better = purpose == WithinFor::kLeastTime ? cost < shape.cost : values < least_values;
    if (shape.inner_length > 0 && !is_better) return;
    shape.inner_length = shape.work_elements = elements;
    shape.cost = cost;
    least_values = values;
  };
  for_smooth_lengths(least, 2 * lanes, consider);
  if (purpose != WithinFor::kLeastTime) {
    for (const std::int32_t odd : {63, 75, 81}) for_smooth_lengths(least, odd * 2 * lanes, consider);
  }
  if (purpose == WithinFor::kLeastMemory) {
    for (const std::int32_t prime : {7, 11, 13}) for_smooth_lengths(least, prime * 2 * lanes, consider);
  }
  return shape;
}

double values_within(const LineShape& shape, std::int32_t lanes, RadixSet radices) noexcept {
  LineShape inner;
  factorize_within(inner, shape.inner_length, lanes, radices);
  return inner_values(inner, lanes);
}

bool is_possible(const LineShape& shape) noexcept {
  return shape.method == LineMethod::kMixedRadix || shape.inner_length > 0;
}

}  // namespace kyv::psfotf
