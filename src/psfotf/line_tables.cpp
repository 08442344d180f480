#include "psfotf/line_tables.h"

#include <algorithm>
#include <cstddef>
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
void set_roots(LinePlan<T>& plan, const RootTable<T>& roots) noexcept {
  plan.root_re = roots.re;
  plan.root_im = roots.im;
  plan.root_count = roots.order;
}

}  // namespace

template <class T>
RootTable<T> lay_roots(std::int32_t order, runtime::Arena& arena) noexcept {
  auto* re = arena.take<T>(static_cast<std::uint64_t>(order));
  auto* im = arena.take<T>(static_cast<std::uint64_t>(order));
  if (!arena.is_counting()) fill_roots(order, order, re, im);
  return {order, re, im};
}

template <class T>
LinePlan<T>* lay_mixed_radix(const LineShape& shape, PartGap gap, const RootTable<T>& roots,
                             runtime::Arena& arena) noexcept {
  auto* plan = arena.take<LinePlan<T>>(1);
  auto* positions = arena.take<std::int32_t>(static_cast<std::uint64_t>(shape.length));
  auto* stage_roots = arena.take<T>(2 * static_cast<std::uint64_t>(shape.length));
  if (arena.is_counting()) return nullptr;
  *plan = mixed_radix_plan<T>(shape, gap);
  fill_positions(shape, gap, positions);
  fill_stage_roots(shape, roots, stage_roots);
  plan->stage_roots = stage_roots;
  set_roots(*plan, roots);
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

// b[q] = w^(g^-q), w the first root of unity of the prime length.
void fill_rader_kernel(const RootTable<double>& roots, const std::int32_t* inverse_powers, std::int32_t count,
                       const InnerLine& b) noexcept {
  for (std::int32_t q = 0; q < count; ++q) b.set(q, roots.re[inverse_powers[q]], roots.im[inverse_powers[q]]);
}

// The chirp exp(-pi i m^2 / n), m < n, from roots of order 2n; and b[m], its conjugate for |m| < n, cyclic.
template <class T>
void fill_chirp(const RootTable<double>& roots, std::int32_t n, std::int32_t inner_length, T* re, T* im,
                const InnerLine& b) noexcept {
  for (std::int32_t m = 0; m < inner_length; ++m) b.set(m, 0.0, 0.0);
  for (std::int64_t m = 0; m < n; ++m) {
    const std::int64_t square = m * m % (2 * static_cast<std::int64_t>(n));
    re[m] = static_cast<T>(roots.re[square]);
    im[m] = static_cast<T>(roots.im[square]);
    b.set(static_cast<std::int32_t>(m), roots.re[square], -roots.im[square]);
    if (m != 0) b.set(static_cast<std::int32_t>(inner_length - m), roots.re[square], -roots.im[square]);
  }
}

// The transform of `b` in double precision, divided by its length, in the order of the elements.
template <class T>
void fill_spectrum(const PrecisionKernels<double>& one_line, const LinePlan<double>& plan, const InnerLine& b,
                   T* re, T* im) noexcept {
  one_line.transform_lines(plan, b.values(), nullptr);
  for (std::int32_t k = 0; k < plan.length; ++k) {
    re[k] = static_cast<T>(b.element(k)[0] / plan.length);
    im[k] = static_cast<T>(b.element(k)[1] / plan.length);
  }
}

// The transform over a convolution's inner length. Nothing asks where its results are left, and the roots of
// the whole circle are kept only where a radix, the first one then, is summed directly: else they lie in
// `scratch` for a while, or behind what is kept in the arena where that is null.
template <class T>
const LinePlan<T>* lay_inner(const LineShape& shape, runtime::Arena& arena, const runtime::Arena* scratch,
                             PlanningMemory& memory) noexcept {
  auto* plan = arena.take<LinePlan<T>>(1);
  auto* stage_roots = arena.take<T>(2 * static_cast<std::uint64_t>(shape.length));
  runtime::Arena beyond = scratch != nullptr ? *scratch : arena;
  const bool keeps_roots = sums_directly(shape);
  const RootTable<T> roots = lay_roots<T>(shape.length, keeps_roots ? arena : beyond);
  memory.count(beyond);
  if (arena.is_counting()) return nullptr;
  *plan = mixed_radix_plan<T>(shape, gap_of(shape));
  fill_stage_roots(shape, roots, stage_roots);
  plan->stage_roots = stage_roots;
  if (keeps_roots) set_roots(*plan, roots);
  return plan;
}

template <class T>
const LinePlan<T>* lay_convolution(const ConvolutionShape& shape, const Kernels& kernels,
                                   runtime::Arena& arena, PlanningMemory& memory) noexcept {
  LineShape inner_shape;
  factorize(inner_shape, shape.inner_length, precision_of<T>(kernels).radices);
  const bool rader = shape.method == LineMethod::kRader;
  const auto n = static_cast<std::uint64_t>(shape.length);
  const auto inner_n = static_cast<std::uint64_t>(shape.inner_length);

  auto* plan = arena.take<LinePlan<T>>(1);
  auto* positions = arena.take<std::int32_t>(n);
  auto* spectrum_re = arena.take<T>(inner_n);
  auto* spectrum_im = arena.take<T>(inner_n);
  auto* chirp_re = arena.take<T>(rader ? 0 : n);
  auto* chirp_im = arena.take<T>(rader ? 0 : n);
  auto* gather = arena.take<std::int32_t>(rader ? n : 0);
  auto* scatter = arena.take<std::int32_t>(rader ? n : 0);
  runtime::Arena scratch = memory.arena();
  const LinePlan<T>* inner = lay_inner<T>(inner_shape, arena, &scratch, memory);
  const LinePlan<double>* exact_inner = nullptr;
  if constexpr (std::is_same_v<T, double>) {
    exact_inner = inner;
  } else {
    exact_inner = lay_inner<double>(inner_shape, scratch, nullptr, memory);
  }
  const std::int32_t order = rader ? shape.length : 2 * shape.length;
  auto* line = scratch.take<double>(2 * static_cast<std::uint64_t>(shape.work_elements));
  const RootTable<double> roots = lay_roots<double>(order, scratch);
  memory.count(scratch);
  if (arena.is_counting()) return nullptr;

  *plan = {};
  plan->length = shape.length;
  plan->method = shape.method;
  plan->positions = positions;
  plan->inner = inner;
  plan->spectrum_re = spectrum_re;
  plan->spectrum_im = spectrum_im;
  for (std::int32_t k = 0; k < shape.length; ++k) positions[k] = k;
  const InnerLine b(line, *exact_inner);
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
    fill_rader_kernel(roots, scatter, shape.inner_length, b);
  } else {
    fill_chirp(roots, shape.length, shape.inner_length, chirp_re, chirp_im, b);
    plan->chirp_re = chirp_re;
    plan->chirp_im = chirp_im;
  }
  fill_spectrum(narrowest(kernels).double_precision, *exact_inner, b, spectrum_re, spectrum_im);
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
    if (!repeated) line = lay_convolution<T>(prime, kernels, arena, memory);
    if (!arena.is_counting()) primes[direct + i] = line;
  }
  return primes;
}

}  // namespace

template <class T>
const LinePlan<T>* lay_line(const LineShape& shape, PartGap gap, const Kernels& kernels,
                            runtime::Arena& arena, PlanningMemory& memory) noexcept {
  if (shape.method != LineMethod::kMixedRadix)
    return lay_convolution<T>(shape.convolution(), kernels, arena, memory);
  if (shape.work_elements == 0) {
    const RootTable<T> roots = lay_roots<T>(shape.length, arena);
    return lay_mixed_radix<T>(shape, gap, roots, arena);
  }
  runtime::Arena scratch = memory.arena();
  const bool keeps_roots = sums_directly(shape);
  const RootTable<T> roots = lay_roots<T>(shape.length, keeps_roots ? arena : scratch);
  memory.count(scratch);
  auto* plan = lay_mixed_radix<T>(shape, gap, roots, arena);
  const LinePlan<T>* const* primes = lay_primes<T>(shape, kernels, arena, memory);
  if (plan == nullptr) return nullptr;
  plan->primes = primes;
  if (!keeps_roots) set_roots(*plan, {});
  return plan;
}

template RootTable<float> lay_roots(std::int32_t, runtime::Arena&) noexcept;
template const LinePlan<float>* lay_line(const LineShape&, PartGap, const Kernels&, runtime::Arena&,
                                         PlanningMemory&) noexcept;
template LinePlan<float>* lay_mixed_radix(const LineShape&, PartGap, const RootTable<float>&,
                                          runtime::Arena&) noexcept;
template RootTable<double> lay_roots(std::int32_t, runtime::Arena&) noexcept;
template const LinePlan<double>* lay_line(const LineShape&, PartGap, const Kernels&, runtime::Arena&,
                                          PlanningMemory&) noexcept;
template LinePlan<double>* lay_mixed_radix(const LineShape&, PartGap, const RootTable<double>&,
                                           runtime::Arena&) noexcept;

}  // namespace kyv::psfotf
