// The conversions, four times in five with sizes that are good, else with any: the status, the sum of the
// definition where few values are not zero, one result from every variant within the accuracy of the
// precision, the round trip, and nothing else touched.
#include <algorithm>
#include <complex>
#include <cstdint>
#include <cstring>

#include "KyvMath.h"
#include "arena.h"
#include "fuzz_target.h"
#include "input.h"
#include "psfotf/conversion.h"
#include "psfotf/reference.h"

namespace {

using namespace kyv;

constexpr std::int32_t kMostValues = 20000;
constexpr std::int32_t kMostLargeValues = 600000;  // larger than what the library keeps in the caches
constexpr std::size_t kArenaBytes = (kMostLargeValues + 64) * sizeof(double);

struct Call {
  std::int32_t width = 0;
  std::int32_t height = 0;
  std::int32_t planes = 0;
  std::int32_t most = kMostValues;
  psfotf::Direction direction = psfotf::Direction::kForward;
  psfotf::Precision precision = psfotf::Precision::kSingle;
  bool in_place = false;
  bool any_bits = false;  // values are any doubles: infinities, NaNs, denormals
  bool sparse = false;    // few values are not zero
  bool real = false;  // imaginary values are zeros of either sign: what comes of them forward is Hermitian
};

struct Sides {
  std::int32_t longer;
  std::int32_t shorter;
};

Sides read_sides(fuzz::Input& in, bool longest) {
  const std::int32_t most = in.size(kMostValues);
  const std::int32_t longer = longest ? most : 1 + in.below(most);
  return {longer, 1 + in.below(most / longer)};
}

Sides read_large_sides(fuzz::Input& in) {
  const std::int32_t longer = 1 + 20 * in.below(kMostLargeValues / 20);
  return {longer, kMostLargeValues / longer};
}

// A square, often of a size that is common; or any shape, rarely a large one.
void read_good_size(fuzz::Input& in, std::uint8_t kinds, Call& c) {
  const std::uint8_t shape = in.byte();
  if (shape < 32) {
    c.width = c.height = shape < 16 ? 4 << shape % 5 : 1 + in.below(140);
    c.planes = 1;
    return;
  }
  const bool large = shape == 255 && in.byte() < 8;
  if (large) c.most = kMostLargeValues;
  const auto [longer, shorter] = large ? read_large_sides(in) : read_sides(in, shape < 80);
  const bool upright = kinds % 64 < 32;
  c.width = upright ? longer : shorter;
  c.height = upright ? shorter : longer;
  c.planes = kinds < 192 ? 1 : 1 + in.below(std::min(4, c.most / (longer * shorter)));
}

Call read_call(fuzz::Input& in) {
  Call c;
  const std::uint8_t kinds = in.byte();
  c.direction = kinds % 2 == 0 ? psfotf::Direction::kForward : psfotf::Direction::kBackward;
  c.precision = kinds / 2 % 2 == 0 ? psfotf::Precision::kSingle : psfotf::Precision::kDouble;
  c.in_place = kinds / 4 % 2 == 1;
  c.any_bits = kinds / 8 % 8 == 0;
  c.sparse = kinds / 8 % 8 >= 4;
  if (in.byte() < 205) {
    read_good_size(in, kinds, c);
  } else {
    c.width = in.integer();
    c.height = in.integer();
    c.planes = in.integer();
  }
  return c;
}

bool is_empty(const Call& c) { return c.planes < 1 || c.width <= 0 || c.height <= 0; }

// Beyond 32 bits there is no plane; below, only what fits the arenas is tried.
bool is_refused(const Call& c) { return std::int64_t{c.width} * c.height > INT32_MAX; }

std::size_t count_of(const Call& c) {
  return static_cast<std::size_t>(c.width) * static_cast<std::size_t>(c.height) *
         static_cast<std::size_t>(c.planes);
}

bool fits(const Call& c) {
  const std::int64_t plane = std::int64_t{c.width} * c.height;
  return plane <= c.most && c.planes <= c.most / plane;
}

double value_of(const Call& c, const fuzz::Input& in, std::size_t k) {
  // The definition takes as long as there are values, for each that is not zero.
  const std::size_t distance = count_of(c) > kMostValues ? 200003 : 2003;
  if (c.sparse && !c.any_bits && k % distance > 1) return 0.0;
  if (!c.any_bits) return (in.content(k) - 100) / 16.0;
  double value = 0.0;
  std::uint8_t bytes[sizeof value];
  for (std::size_t b = 0; b < sizeof value; ++b) bytes[b] = in.content(k * sizeof value + b);
  std::memcpy(&value, bytes, sizeof value);
  return value;
}

using psfotf::test::Extended;
using psfotf::test::Spectrum;
using psfotf::test::Stack;

// All values of a stack.
Spectrum values_of(const Stack& stack) {
  Spectrum values;
  for (std::size_t k = 0; k < stack.re.size(); ++k)
    values.emplace_back(static_cast<long double>(stack.re[k]), static_cast<long double>(stack.im[k]));
  return values;
}

// exp(-2 pi i k / n) forward, its conjugate backward.
Spectrum roots_of(std::int32_t n, bool forward) {
  Spectrum roots = psfotf::test::extended_roots(n);
  for (Extended& root : roots) root = forward ? root : std::conj(root);
  return roots;
}

// The transform by its definition of a stack of which few values are not zero.
Spectrum transform_sparse(const Call& c, const Spectrum& values) {
  const bool forward = c.direction == psfotf::Direction::kForward;
  const auto rows = static_cast<std::size_t>(c.width);
  const auto length = static_cast<std::size_t>(c.height);
  const Spectrum row_roots = roots_of(c.width, forward);
  const Spectrum roots = roots_of(c.height, forward);
  const float scale = forward ? 1.0f : 1.0f / static_cast<float>(rows * length);
  Spectrum sums(values.size());
  for (std::size_t k = 0; k < values.size(); ++k) {
    if (values[k] == Extended()) continue;
    const std::size_t plane = k / (rows * length) * rows * length;
    const std::size_t row = (k - plane) / length;
    const std::size_t column = k % length;
    for (std::size_t u = 0; u < rows; ++u) {
      const Extended scaled = static_cast<long double>(scale) * values[k] * row_roots[row * u % rows];
      for (std::size_t v = 0; v < length; ++v)
        sums[plane + u * length + v] += scaled * roots[column * v % length];
    }
  }
  return sums;
}

// Four arrays, each between inaccessible pages and at an address of its own; the results in place where the
// call says so.
class Arrays {
 public:
  Arrays(const Call& c, bool at_end, std::uint8_t offsets)
      : bytes_(count_of(c) * sizeof(double)), in_place_(c.in_place), at_end_(at_end) {
    for (std::size_t k = 0; k < 4; ++k)
      pointers_[k] = arena(static_cast<int>(k)).take(bytes_, at_end_, offsets * (2 * k + 1) % 67);
  }

  void fill(const Stack& stack) const {
    std::memcpy(pointers_[0], stack.re.data(), bytes_);
    std::memcpy(pointers_[1], stack.im.data(), bytes_);
  }
  Stack results(const Call& c) const {
    Stack stack(c.width, c.height, c.planes);
    std::memcpy(stack.re.data(), result(0), bytes_);
    std::memcpy(stack.im.data(), result(1), bytes_);
    return stack;
  }

  int convert(const Call& c, const runtime::KernelSet& set) const {
    return psfotf::convert_planes(
        {reinterpret_cast<const double*>(pointers_[0]), reinterpret_cast<const double*>(pointers_[1]),
         reinterpret_cast<double*>(result(0)), reinterpret_cast<double*>(result(1)), c.width, c.height,
         c.planes},
        c.direction, c.precision, set);
  }

  bool surroundings_untouched() const {
    for (int k = 0; k < 4; ++k) {
      if (!arena(k).untouched(false)) return false;
    }
    return true;
  }

 private:
  static fuzz::Arena& arena(int k) {
    static fuzz::Arena arenas[4] = {fuzz::Arena(kArenaBytes), fuzz::Arena(kArenaBytes),
                                    fuzz::Arena(kArenaBytes), fuzz::Arena(kArenaBytes)};
    return arenas[k];
  }
  std::uint8_t* result(int part) const { return pointers_[in_place_ ? part : 2 + part]; }

  std::size_t bytes_;
  bool in_place_;
  bool at_end_;
  std::uint8_t* pointers_[4]{};
};

KyvMathStatusCode call_export(const Call& c, double* forbidden) {
  const bool single = c.precision == psfotf::Precision::kSingle;
  if (c.direction == psfotf::Direction::kForward) {
    return (single ? KyvMathConvertOtfFromPsf : KyvMathConvertOtfFromPsf_D)(
        forbidden, forbidden, forbidden, forbidden, c.width, c.height, c.planes);
  }
  return (single ? KyvMathConvertPsfFromOtf : KyvMathConvertPsfFromOtf_D)(
      forbidden, forbidden, forbidden, forbidden, c.width, c.height, c.planes);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input in(data, size);
  const std::uint8_t places = in.byte();
  const bool at_end = places % 2 == 0;
  const std::uint8_t offsets = places % 4 < 2 ? 0 : in.byte();
  Call c = read_call(in);
  c.real = places / 4 % 2 == 1;
  if (is_empty(c) || is_refused(c)) {
    static const fuzz::Arena nowhere(1);
    const KyvMathStatusCode status = call_export(c, reinterpret_cast<double*>(nowhere.forbidden()));
    const KyvMathStatusCode expected = is_empty(c) ? KYVMATH_OK : KYVMATH_FAILED;
    fuzz::require(status == expected, "status %u instead of %u", status, expected);
    return 0;
  }
  if (!fits(c)) return 0;

  Stack stack(c.width, c.height, c.planes);
  for (std::size_t k = 0; k < stack.re.size(); ++k) {
    stack.re[k] = value_of(c, in, 2 * k);
    stack.im[k] = c.real ? (in.content(k) % 2 == 0 ? 0.0 : -0.0) : value_of(c, in, 2 * k + 1);
  }
  const double bound = c.precision == psfotf::Precision::kSingle ? 2e-6 : 4e-15;
  const double round_trip_bound = 1e-6;  // the backward scale is a float's
  const Spectrum values = values_of(stack);
  Spectrum expected;
  if (c.sparse && !c.any_bits) expected = transform_sparse(c, values);
  fuzz::for_each_variant([&](const runtime::KernelSet& set) {
    Arrays arrays(c, at_end, offsets);
    arrays.fill(stack);
    fuzz::require(arrays.convert(c, set) == 0, "%s: failed", set.name);
    fuzz::require(arrays.surroundings_untouched(), "%s: bytes outside the planes were written", set.name);
    if (c.any_bits) return;
    const Stack there = arrays.results(c);
    if (expected.empty()) expected = values_of(there);
    const double error = relative_error(there, 0, expected);
    fuzz::require(error <= bound, "%s: %dx%d differs by %g", set.name, c.width, c.height, error);

    Call back = c;
    const bool forward = c.direction == psfotf::Direction::kForward;
    back.direction = forward ? psfotf::Direction::kBackward : psfotf::Direction::kForward;
    arrays.fill(there);
    fuzz::require(arrays.convert(back, set) == 0, "%s: failed on the way back", set.name);
    const double trip = relative_error(arrays.results(c), 0, values);
    fuzz::require(trip <= round_trip_bound + bound, "%s: %dx%d comes back changed by %g", set.name, c.width,
                  c.height, trip);
  });
  return 0;
}
