#include "psfotf/line_tables.h"

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <type_traits>

#include "psfotf/kernel_sets.h"
#include "psfotf/roots.h"

namespace kyv::psfotf {
namespace {

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

// Of stages `first` to `end` - 1.
template <class T>
void fill_stage_roots(const LineShape& shape, const RootTable<T>& roots, T* stage_roots, int first,
                      int end) noexcept {
  std::int32_t step = roots.order / shape.length;
  std::int32_t length = shape.length;
  for (int s = 0; s < end; ++s, step *= shape.radices[s - 1]) {
    const std::int32_t radix = shape.radices[s];
    length /= radix;
    if (s < first) continue;
    for (std::int32_t j = 0; j < length; ++j) {
      for (std::int32_t q = 1; q < radix; ++q) {
        // Wherever there is a plan to fill, its roots were laid before.
        // NOLINTNEXTLINE(clang-analyzer-core.NullDereference)
        *stage_roots++ = roots.re[j * q * step];
        // NOLINTNEXTLINE(clang-analyzer-core.NullDereference)
        *stage_roots++ = roots.im[j * q * step];
      }
    }
  }
}

// The roots of `count` butterflies of the first stage, every `butterflies`-th one.
void fill_first_roots(const LineShape& shape, const RootTable<double>& roots, std::int32_t butterflies,
                      std::int32_t count, double* first_roots) noexcept {
  const std::int32_t step = roots.order / shape.length * butterflies;
  for (std::int32_t j = 0; j < count; ++j) {
    for (std::int32_t q = 1; q < shape.radices[0]; ++q) {
      *first_roots++ = roots.re[j * q * step];
      *first_roots++ = roots.im[j * q * step];
    }
  }
}

// What needs no table.
template <class T>
LinePlan<T> mixed_radix_plan(const LineShape& shape, PartGap gap) noexcept {
  LinePlan<T> plan{};
  plan.length = shape.length;
  plan.method = LineMethod::kMixedRadix;
  plan.stages = shape.stages;
  std::copy(shape.radices, shape.radices + kMaxStages, plan.radices);
  plan.part_pitch = part_pitch(shape, gap);
  return plan;
}

template <class T>
RootTable<T> lay_roots(std::int32_t order, runtime::Arena& arena) noexcept {
  auto* re = arena.take<T>(static_cast<std::uint64_t>(order));
  auto* im = arena.take<T>(static_cast<std::uint64_t>(order));
  if (!arena.is_counting()) fill_roots(order, order, re, im);
  return {order, re, im};
}

std::uint64_t sum_root_values(const LineShape& shape) noexcept {
  return static_cast<std::uint64_t>(sum_roots_before(shape.radices, shape.direct_stages()));
}

// LinePlan::sum_roots, of roots whose order is a multiple of the length; null where there are none.
template <class T>
const T* fill_sum_roots(const LineShape& shape, const RootTable<T>& roots, T* sum_roots) noexcept {
  T* next = sum_roots;
  for (int s = 0; s < shape.direct_stages() && shape.radices[s] > kMaxFixedRadix; ++s) {
    const std::int32_t radix = shape.radices[s];
    if (radix == shape.radices[s + 1]) continue;
    const std::int32_t half = radix / 2;
    const std::int32_t step = roots.order / radix;
    for (std::int32_t n = 1; n <= half; ++n) {
      for (std::int32_t k = 1; k <= half; ++k, ++next) {
        const std::int32_t root = n * k % radix * step;
        next[0] = roots.re[root];
        next[half * half] = roots.im[root];
      }
    }
    next += half * half;
  }
  return next != sum_roots ? sum_roots : nullptr;
}

}  // namespace

template <class T>
LinePlan<T>* lay_mixed_radix(const LineShape& shape, PartGap gap, const RootTable<T>& roots,
                             runtime::Arena& arena) noexcept {
  auto* plan = arena.take<LinePlan<T>>(1);
  auto* positions = arena.take<std::int32_t>(static_cast<std::uint64_t>(shape.length));
  // A last stage of convolutions has none.
  const std::int32_t rootless = shape.convolved_stages > 0 ? shape.radices[shape.stages - 1] : 0;
  auto* stage_roots = arena.take<T>(2 * static_cast<std::uint64_t>(shape.length - rootless));
  auto* sum_roots = arena.take<T>(sum_root_values(shape));
  if (arena.is_counting()) return nullptr;
  *plan = mixed_radix_plan<T>(shape, gap);
  fill_positions(shape, gap, positions);
  fill_stage_roots(shape, roots, stage_roots, 0, rootless > 0 ? shape.stages - 1 : shape.stages);
  plan->stage_roots = stage_roots;
  plan->sum_roots = fill_sum_roots(shape, roots, sum_roots);
  plan->positions = positions;
  return plan;
}

namespace {

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

// The elements of one line of a convolution, pairs of real and imaginary part, with the gaps between its
// parts.
class InnerLine {
 public:
  InnerLine(double* values, const LinePlan<double>& plan) noexcept
      : values_(values),
        part_(plan.length / plan.radices[0]),
        gap_(plan.part_pitch - plan.length / plan.radices[0]) {}
  double* values() const noexcept { return values_; }
  double* element(std::int32_t k) const noexcept {
    return values_ + 2 * static_cast<std::ptrdiff_t>(gap_ != 0 ? k + k / part_ * gap_ : k);
  }
  void set(std::int32_t k, double re, double im) const noexcept {
    element(k)[0] = re;
    element(k)[1] = im;
  }

 private:
  double* values_;
  std::int32_t part_;
  std::int32_t gap_;
};

// exp(-2 pi i k / order) of half of the circle; the others are their conjugates.
class HalfCircle {
 public:
  // Lies in the first bytes of `idle`, which nothing reads before its last use, as far as there is room, and
  // in `scratch`.
  HalfCircle(std::int32_t order, void* idle, std::uint64_t idle_bytes, runtime::Arena& scratch) noexcept
      : order_(order) {
    const std::uint64_t values = static_cast<std::uint64_t>(order) / 2 + 1;
    const std::uint64_t room = idle_bytes / (values * sizeof(double));
    re_ = room >= 1 ? static_cast<double*>(idle) : scratch.take<double>(values);
    if (room < 2) im_ = scratch.take<double>(values);
    if (scratch.is_counting()) return;
    if (room >= 2) im_ = re_ + values;
    fill_roots(order, order / 2 + 1, re_, im_);
  }
  double re(std::int64_t k) const noexcept { return re_[2 * k > order_ ? order_ - k : k]; }
  double im(std::int64_t k) const noexcept { return 2 * k > order_ ? -im_[order_ - k] : im_[k]; }

 private:
  std::int64_t order_;
  double* re_;
  double* im_ = nullptr;
};

// b[q] = w^(g^-q), w the first root of unity of the prime length.
void fill_rader_kernel(const HalfCircle& roots, const std::int32_t* powers, std::int32_t count,
                       const InnerLine& b) noexcept {
  for (std::int32_t q = 0; q < count; ++q) {
    const std::int32_t k = powers[count - q];
    b.set(q, roots.re(k), roots.im(k));
  }
}

// The first half of the chirp exp(-pi i m^2 / n), from roots of order 2n; and b[m], its conjugate for
// |m| < n, cyclic.
template <class T>
void fill_chirp(const HalfCircle& roots, std::int32_t n, std::int32_t inner_length, T* re, T* im,
                const InnerLine& b) noexcept {
  for (std::int32_t m = n; m <= inner_length - n; ++m) b.set(m, 0.0, 0.0);
  const auto set_both = [&](std::int32_t m, double b_re, double b_im) {
    b.set(m, b_re, b_im);
    if (m != 0) b.set(inner_length - m, b_re, b_im);
  };
  const int sign = chirp_sign(n);
  std::int64_t square = 0;  // of m, modulo 2 n
  for (std::int32_t m = 0; m <= n / 2; ++m) {
    const double c = roots.re(square);
    const double s = roots.im(square);
    re[m] = static_cast<T>(c);
    im[m] = static_cast<T>(s);
    set_both(m, c, -s);
    if (m != 0) set_both(n - m, sign * c, -sign * s);
    square += 2 * std::int64_t{m} + 1;
    if (square >= 2 * std::int64_t{n}) square -= 2 * std::int64_t{n};
  }
}

// The transform of `b` in double precision, divided by its length, in the order of the elements.
template <class T>
void fill_spectrum(const PrecisionKernels<double>& one_line, const LinePlan<double>& plan, const InnerLine& b,
                   std::int32_t count, T* re, T* im) noexcept {
  one_line.transform_lines(plan, b.values(), nullptr);
  const double scale = 1.0 / plan.length;
  for (std::int32_t k = 0; k < count; ++k) {
    const double* element = b.element(k);
    re[k] = static_cast<T>(element[0] * scale);
    im[k] = static_cast<T>(element[1] * scale);
  }
}

// A convolution's inner length and its tables.
struct InnerShape {
  LineShape line;
  PartGap gap;
  bool has_products;  // the first stage's roots are products of coarse and fine ones

  InnerShape(std::int32_t length, RadixSet radices, Results results, Tables tables,
             LineMethod method) noexcept;

  std::int32_t left_out() const noexcept { return has_products ? line.length - part_length(line) : 0; }
  std::uint64_t stage_root_values() const noexcept {
    return 2 * static_cast<std::uint64_t>(line.length - left_out() - 1);
  }
  // Of one set of fine roots; there is a turned one, too.
  std::int32_t fine_values() const noexcept {
    return has_products ? 2 * (line.radices[0] - 1) * kFineRoots : 0;
  }
  std::int32_t coarse_count() const noexcept {
    return has_products ? (part_length(line) + kFineRoots - 1) / kFineRoots : 0;
  }
  std::uint64_t coarse_values() const noexcept {
    return 2 * static_cast<std::uint64_t>(line.radices[0] - 1) * static_cast<std::uint64_t>(coarse_count());
  }
};

// The shortest parts for the fewest tables: a first radix as large as any other, and one that lets an even
// stage be the last.
void begin_with_largest(LineShape& line) noexcept {
  std::int32_t* const end = line.radices + line.stages - 1;
  std::rotate(line.radices, std::max_element(line.radices, end), end);
}

// From this length on tables may outgrow a few lines, and from this length of parts on products are fewer.
constexpr std::int32_t kLeastForProducts = 2048;
constexpr std::int32_t kLeastPart = 2 * kFineRoots;

InnerShape::InnerShape(std::int32_t length, RadixSet radices, Results results, Tables tables,
                       LineMethod method) noexcept {
  factorize(line, length, radices);
  const bool is_few = tables == Tables::kForFew && length >= kLeastForProducts;
  if (is_few) begin_with_largest(line);
  const bool in_place = method == LineMethod::kBluestein && results != Results::kAtPositions;
  gap = in_place || is_few ? PartGap::kNone : gap_of(line);
  has_products = is_few && part_length(line) >= kLeastPart;
}

// The transform over a convolution's inner length; nothing asks where its results are left. The roots of the
// whole circle lie in `scratch` for a while, or behind what is kept in the arena where that is null.
const LinePlan<double>* lay_inner(const InnerShape& shape, runtime::Arena& arena,
                                  const runtime::Arena* scratch, PlanningMemory& memory) noexcept {
  auto* plan = arena.take<LinePlan<double>>(1);
  auto* stage_roots = arena.take<double>(shape.stage_root_values());
  auto* fine_roots = arena.take<double>(2 * static_cast<std::uint64_t>(shape.fine_values()));
  auto* coarse_roots = arena.take<double>(shape.coarse_values());
  auto* sum_roots = arena.take<double>(sum_root_values(shape.line));
  runtime::Arena beyond = scratch != nullptr ? *scratch : arena;
  const RootTable<double> roots = lay_roots<double>(shape.line.length, beyond);
  memory.count(beyond);
  if (arena.is_counting()) return nullptr;
  *plan = mixed_radix_plan<double>(shape.line, shape.gap);
  fill_stage_roots(shape.line, roots, stage_roots, shape.has_products ? 1 : 0, shape.line.stages);
  plan->stage_roots = stage_roots;
  plan->sum_roots = fill_sum_roots(shape.line, roots, sum_roots);
  plan->left_out = shape.left_out();
  if (!shape.has_products) return plan;
  fill_first_roots(shape.line, roots, 1, kFineRoots, fine_roots);
  double* turned = fine_roots + shape.fine_values();
  for (std::int32_t i = 0; i < shape.fine_values(); i += 2) {
    turned[i] = -fine_roots[i + 1];
    turned[i + 1] = fine_roots[i];
  }
  fill_first_roots(shape.line, roots, kFineRoots, shape.coarse_count(), coarse_roots);
  plan->fine_roots = fine_roots;
  plan->coarse_roots = coarse_roots;
  return plan;
}

// The same in single precision.
const LinePlan<float>* lay_rounded(const InnerShape& shape, const LinePlan<double>* exact,
                                   runtime::Arena& arena) noexcept {
  auto* plan = arena.take<LinePlan<float>>(1);
  if (!arena.is_counting()) {
    *plan = mixed_radix_plan<float>(shape.line, shape.gap);
    plan->left_out = shape.left_out();
  }
  // Null where there are none.
  const auto round = [&](auto roots, std::uint64_t count) -> const float* {
    auto* to = arena.take<float>(count);
    if (arena.is_counting() || exact->*roots == nullptr) return nullptr;
    std::transform(exact->*roots, exact->*roots + count, to,
                   [](double root) { return static_cast<float>(root); });
    return to;
  };
  const float* stage_roots = round(&LinePlan<double>::stage_roots, shape.stage_root_values());
  const float* fine_roots =
      round(&LinePlan<double>::fine_roots, 2 * static_cast<std::uint64_t>(shape.fine_values()));
  const float* coarse_roots = round(&LinePlan<double>::coarse_roots, shape.coarse_values());
  const float* sum_roots = round(&LinePlan<double>::sum_roots, sum_root_values(shape.line));
  if (arena.is_counting()) return nullptr;
  plan->stage_roots = stage_roots;
  plan->fine_roots = fine_roots;
  plan->coarse_roots = coarse_roots;
  plan->sum_roots = sum_roots;
  return plan;
}

// Elements of the spectrum that are kept.
std::int32_t spectrum_elements(const InnerShape& inner, LineMethod method) noexcept {
  const LineShape& line = inner.line;
  const std::int32_t radix = line.radices[0];
  const std::int32_t part = part_length(line);
  const bool halved =
      has_half_spectrum(method, line.length, radix, line.radices[line.stages - 1], inner.left_out());
  return part * spectrum_parts(method, radix) - (halved ? part / 2 : 0);
}

template <class T>
LinePlan<T>* lay_convolution(const ConvolutionShape& shape, const LineUse& use, const Kernels& kernels,
                             runtime::Arena& arena, PlanningMemory& memory) noexcept {
  const InnerShape inner_shape(shape.inner_length, precision_of<T>(kernels).radices, use.results, use.tables,
                               shape.method);
  const bool rader = shape.method == LineMethod::kRader;
  const auto n = static_cast<std::uint64_t>(shape.length);
  const std::int32_t spectrum = spectrum_elements(inner_shape, shape.method);

  auto* plan = arena.take<LinePlan<T>>(1);
  const std::uint64_t spectra = 2 * static_cast<std::uint64_t>(spectrum);
  auto* spectrum_re = arena.take<T>(spectra);
  auto* chirp_re = arena.take<T>(rader ? 0 : n / 2 + 1);
  auto* chirp_im = arena.take<T>(rader ? 0 : n / 2 + 1);
  auto* powers = arena.take<std::int32_t>(rader ? n : 0);
  runtime::Arena scratch = memory.arena();
  const LinePlan<T>* inner = nullptr;
  const LinePlan<double>* exact_inner = nullptr;
  if constexpr (std::is_same_v<T, double>) {
    inner = exact_inner = lay_inner(inner_shape, arena, &scratch, memory);
  } else {
    exact_inner = lay_inner(inner_shape, scratch, nullptr, memory);
    inner = lay_rounded(inner_shape, exact_inner, arena);
  }
  auto* line = scratch.take<double>(2 * static_cast<std::uint64_t>(shape.work_elements));
  // The spectrum is filled last.
  const HalfCircle roots(rader ? shape.length : 2 * shape.length, spectrum_re, spectra * sizeof(T), scratch);
  memory.count(scratch);
  if (arena.is_counting()) return nullptr;

  T* spectrum_im = spectrum_re + spectrum;
  *plan = {};
  plan->length = shape.length;
  plan->method = shape.method;
  plan->inner = inner;
  plan->spectrum_re = spectrum_re;
  plan->spectrum_im = spectrum_im;
  const InnerLine b(line, *exact_inner);
  if (rader) {
    const std::int64_t g = generator(inner_shape.line);
    powers[0] = 1;
    for (std::int32_t q = 1; q <= shape.inner_length; ++q) {
      powers[q] = static_cast<std::int32_t>(powers[q - 1] * g % shape.length);
    }
    plan->powers = powers;
    fill_rader_kernel(roots, powers, shape.inner_length, b);
  } else {
    fill_chirp(roots, shape.length, shape.inner_length, chirp_re, chirp_im, b);
    plan->chirp_re = chirp_re;
    plan->chirp_im = chirp_im;
  }
  fill_spectrum(narrowest(kernels).double_precision, *exact_inner, b, spectrum, spectrum_re, spectrum_im);
  return plan;
}

// The lines that a mixed radix has for butterflies; equal primes follow one another and share theirs.
template <class T>
const LinePlan<T>* const* lay_primes(const LineShape& shape, Tables tables, const Kernels& kernels,
                                     runtime::Arena& arena, PlanningMemory& memory) noexcept {
  auto** primes = arena.take<const LinePlan<T>*>(shape.stages);
  const int direct = shape.direct_stages();
  if (!arena.is_counting()) std::fill(primes, primes + direct, nullptr);
  const LinePlan<T>* line = nullptr;
  for (int i = 0; i < shape.convolved_stages; ++i) {
    const ConvolutionShape& prime = shape.convolutions[i];
    const bool repeated = i > 0 && prime.length == shape.convolutions[i - 1].length;
    if (!repeated) line = lay_convolution<T>(prime, {.tables = tables}, kernels, arena, memory);
    if (!arena.is_counting()) primes[direct + i] = line;
  }
  return primes;
}

}  // namespace

template <class T>
RootTable<T> lay_roots(std::int32_t order, PlanningMemory& memory) noexcept {
  runtime::Arena scratch = memory.arena();
  const RootTable<T> roots = lay_roots<T>(order, scratch);
  memory.count(scratch);
  return roots;
}

template <class T>
const LinePlan<T>* lay_line(const LineShape& shape, const RootTable<T>& roots, const LineUse& use,
                            const Kernels& kernels, runtime::Arena& arena, PlanningMemory& memory) noexcept {
  if (shape.method != LineMethod::kMixedRadix) {
    const bool in_order = use.results == Results::kInOrder;
    auto* positions = arena.take<std::int32_t>(in_order ? 0 : static_cast<std::uint64_t>(shape.length));
    LinePlan<T>* plan = lay_convolution<T>(shape.convolution(), use, kernels, arena, memory);
    if (plan == nullptr || in_order) return plan;
    std::iota(positions, positions + shape.length, 0);
    plan->positions = positions;
    return plan;
  }
  auto* plan = lay_mixed_radix<T>(shape, use.gap, roots, arena);
  if (shape.convolved_stages == 0) return plan;
  const LinePlan<T>* const* primes = lay_primes<T>(shape, use.tables, kernels, arena, memory);
  if (plan != nullptr) plan->primes = primes;
  return plan;
}

template RootTable<float> lay_roots(std::int32_t, PlanningMemory&) noexcept;
template const LinePlan<float>* lay_line(const LineShape&, const RootTable<float>&, const LineUse&,
                                         const Kernels&, runtime::Arena&, PlanningMemory&) noexcept;
template LinePlan<float>* lay_mixed_radix(const LineShape&, PartGap, const RootTable<float>&,
                                          runtime::Arena&) noexcept;
template RootTable<double> lay_roots(std::int32_t, PlanningMemory&) noexcept;
template const LinePlan<double>* lay_line(const LineShape&, const RootTable<double>&, const LineUse&,
                                          const Kernels&, runtime::Arena&, PlanningMemory&) noexcept;
template LinePlan<double>* lay_mixed_radix(const LineShape&, PartGap, const RootTable<double>&,
                                           runtime::Arena&) noexcept;

}  // namespace kyv::psfotf
