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

template <class T>
void fill_stage_roots(const LineShape& shape, const RootTable<T>& roots, T* stage_roots) noexcept {
  std::int32_t step = roots.order / shape.length;
  std::int32_t length = shape.length;
  for (int s = 0; s < shape.stages; ++s) {
    const std::int32_t radix = shape.radices[s];
    length /= radix;
    for (std::int32_t j = 0; j < length; ++j) {
      for (std::int32_t q = 1; q < radix; ++q) {
        // Wherever there is a plan to fill, its roots were laid before.
        // NOLINTNEXTLINE(clang-analyzer-core.NullDereference)
        *stage_roots++ = roots.re[j * q * step];
        // NOLINTNEXTLINE(clang-analyzer-core.NullDereference)
        *stage_roots++ = roots.im[j * q * step];
      }
    }
    step *= radix;
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
  auto* stage_roots = arena.take<T>(2 * static_cast<std::uint64_t>(shape.length));
  auto* sum_roots = arena.take<T>(sum_root_values(shape));
  if (arena.is_counting()) return nullptr;
  *plan = mixed_radix_plan<T>(shape, gap);
  fill_positions(shape, gap, positions);
  fill_stage_roots(shape, roots, stage_roots);
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
      : values_(values), part_(plan.length / plan.radices[0]), pitch_(plan.part_pitch) {}
  double* values() const noexcept { return values_; }
  double* element(std::int32_t k) const noexcept {
    return values_ + 2 * static_cast<std::ptrdiff_t>(k / part_ * pitch_ + k % part_);
  }
  void set(std::int32_t k, double re, double im) const noexcept {
    element(k)[0] = re;
    element(k)[1] = im;
  }

 private:
  double* values_;
  std::int32_t part_;
  std::int32_t pitch_;
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
  for (std::int32_t m = 0; m <= n / 2; ++m) {
    const std::int64_t square = static_cast<std::int64_t>(m) * m % (2 * static_cast<std::int64_t>(n));
    const double c = roots.re(square);
    const double s = roots.im(square);
    re[m] = static_cast<T>(c);
    im[m] = static_cast<T>(s);
    set_both(m, c, -s);
    if (m != 0) set_both(n - m, sign * c, -sign * s);
  }
}

// The transform of `b` in double precision, divided by its length, in the order of the elements.
template <class T>
void fill_spectrum(const PrecisionKernels<double>& one_line, const LinePlan<double>& plan, const InnerLine& b,
                   std::int32_t count, T* re, T* im) noexcept {
  one_line.transform_lines(plan, b.values(), nullptr);
  for (std::int32_t k = 0; k < count; ++k) {
    re[k] = static_cast<T>(b.element(k)[0] / plan.length);
    im[k] = static_cast<T>(b.element(k)[1] / plan.length);
  }
}

// The transform over a convolution's inner length; nothing asks where its results are left. The roots of the
// whole circle lie in `scratch` for a while, or behind what is kept in the arena where that is null.
const LinePlan<double>* lay_inner(const LineShape& shape, PartGap gap, runtime::Arena& arena,
                                  const runtime::Arena* scratch, PlanningMemory& memory) noexcept {
  auto* plan = arena.take<LinePlan<double>>(1);
  auto* stage_roots = arena.take<double>(2 * static_cast<std::uint64_t>(shape.length));
  auto* sum_roots = arena.take<double>(sum_root_values(shape));
  runtime::Arena beyond = scratch != nullptr ? *scratch : arena;
  const RootTable<double> roots = lay_roots<double>(shape.length, beyond);
  memory.count(beyond);
  if (arena.is_counting()) return nullptr;
  *plan = mixed_radix_plan<double>(shape, gap);
  fill_stage_roots(shape, roots, stage_roots);
  plan->stage_roots = stage_roots;
  plan->sum_roots = fill_sum_roots(shape, roots, sum_roots);
  return plan;
}

// The same in single precision.
const LinePlan<float>* lay_rounded(const LineShape& shape, PartGap gap, const LinePlan<double>* exact,
                                   runtime::Arena& arena) noexcept {
  auto* plan = arena.take<LinePlan<float>>(1);
  auto* stage_roots = arena.take<float>(2 * static_cast<std::uint64_t>(shape.length));
  auto* sum_roots = arena.take<float>(sum_root_values(shape));
  if (arena.is_counting()) return nullptr;
  *plan = mixed_radix_plan<float>(shape, gap);
  const auto round = [](const double* from, std::uint64_t count, float* to) {
    std::transform(from, from + count, to, [](double root) { return static_cast<float>(root); });
    return to;
  };
  plan->stage_roots =
      round(exact->stage_roots, 2 * (static_cast<std::uint64_t>(shape.length) - 1), stage_roots);
  if (exact->sum_roots != nullptr) {
    plan->sum_roots = round(exact->sum_roots, sum_root_values(shape), sum_roots);
  }
  return plan;
}

template <class T>
LinePlan<T>* lay_convolution(const ConvolutionShape& shape, Results results, const Kernels& kernels,
                             runtime::Arena& arena, PlanningMemory& memory) noexcept {
  LineShape inner_shape;
  factorize(inner_shape, shape.inner_length, precision_of<T>(kernels).radices);
  const bool rader = shape.method == LineMethod::kRader;
  const bool in_place = !rader && results == Results::kInOrder;
  const PartGap gap = in_place ? PartGap::kNone : gap_of(inner_shape);
  const auto n = static_cast<std::uint64_t>(shape.length);
  const std::int32_t spectrum =
      part_length(inner_shape) * spectrum_parts(shape.method, inner_shape.radices[0]);

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
    inner = exact_inner = lay_inner(inner_shape, gap, arena, &scratch, memory);
  } else {
    exact_inner = lay_inner(inner_shape, gap, scratch, nullptr, memory);
    inner = lay_rounded(inner_shape, gap, exact_inner, arena);
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
    const std::int64_t g = generator(inner_shape);
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
const LinePlan<T>* const* lay_primes(const LineShape& shape, const Kernels& kernels, runtime::Arena& arena,
                                     PlanningMemory& memory) noexcept {
  auto** primes = arena.take<const LinePlan<T>*>(shape.stages);
  const int direct = shape.direct_stages();
  if (!arena.is_counting()) std::fill(primes, primes + direct, nullptr);
  const LinePlan<T>* line = nullptr;
  for (int i = 0; i < shape.convolved_stages; ++i) {
    const ConvolutionShape& prime = shape.convolutions[i];
    const bool repeated = i > 0 && prime.length == shape.convolutions[i - 1].length;
    if (!repeated) line = lay_convolution<T>(prime, Results::kAtPositions, kernels, arena, memory);
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
const LinePlan<T>* lay_line(const LineShape& shape, const RootTable<T>& roots, PartGap gap, Results results,
                            const Kernels& kernels, runtime::Arena& arena, PlanningMemory& memory) noexcept {
  if (shape.method != LineMethod::kMixedRadix) {
    const bool in_order = results == Results::kInOrder;
    auto* positions = arena.take<std::int32_t>(in_order ? 0 : static_cast<std::uint64_t>(shape.length));
    LinePlan<T>* plan = lay_convolution<T>(shape.convolution(), results, kernels, arena, memory);
    if (plan == nullptr || in_order) return plan;
    std::iota(positions, positions + shape.length, 0);
    plan->positions = positions;
    return plan;
  }
  auto* plan = lay_mixed_radix<T>(shape, gap, roots, arena);
  if (shape.convolved_stages == 0) return plan;
  const LinePlan<T>* const* primes = lay_primes<T>(shape, kernels, arena, memory);
  if (plan != nullptr) plan->primes = primes;
  return plan;
}

template RootTable<float> lay_roots(std::int32_t, PlanningMemory&) noexcept;
template const LinePlan<float>* lay_line(const LineShape&, const RootTable<float>&, PartGap, Results,
                                         const Kernels&, runtime::Arena&, PlanningMemory&) noexcept;
template LinePlan<float>* lay_mixed_radix(const LineShape&, PartGap, const RootTable<float>&,
                                          runtime::Arena&) noexcept;
template RootTable<double> lay_roots(std::int32_t, PlanningMemory&) noexcept;
template const LinePlan<double>* lay_line(const LineShape&, const RootTable<double>&, PartGap, Results,
                                          const Kernels&, runtime::Arena&, PlanningMemory&) noexcept;
template LinePlan<double>* lay_mixed_radix(const LineShape&, PartGap, const RootTable<double>&,
                                           runtime::Arena&) noexcept;

}  // namespace kyv::psfotf
