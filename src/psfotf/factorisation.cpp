#include "psfotf/factorisation.h"

#include <algorithm>
#include <bit>

namespace kyv::psfotf {
namespace {

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

}  // namespace

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

std::int32_t part_length(const LineShape& shape) noexcept {
  return shape.stages > 0 ? shape.length / shape.radices[0] : shape.length;
}

std::int32_t part_pitch(const LineShape& shape, PartGap gap) noexcept {
  return part_length(shape) + static_cast<std::int32_t>(gap);
}

std::int32_t elements_with_gaps(const LineShape& shape, PartGap gap) noexcept {
  return part_pitch(shape, gap) * (shape.stages > 0 ? shape.radices[0] : 1);
}

PartGap gap_of(const LineShape& shape) noexcept {
  return shape.method == LineMethod::kMixedRadix && shape.stages > 1 ? PartGap::kOneElement : PartGap::kNone;
}

namespace {

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

void use_convolution(LineShape& shape, LineMethod method, const LineShape& inner) noexcept {
  shape.method = method;
  shape.inner_length = inner.length;
  shape.work_elements = elements_with_gaps(inner, gap_of(inner));
  shape.cost = convolution_cost(inner, shape.length);
}

}  // namespace

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

}  // namespace kyv::psfotf
