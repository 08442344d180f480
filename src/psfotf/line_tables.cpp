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

}  // namespace

template <class T>
RootTable<T> lay_roots(std::int32_t order, runtime::Arena& arena) noexcept {
  auto* re = arena.take<T>(static_cast<std::uint64_t>(order));
  auto* im = arena.take<T>(static_cast<std::uint64_t>(order));
  if (!arena.is_counting()) fill_roots(order, order, re, im);
  return {order, re, im};
}

template <class T>
const LinePlan<T>* lay_mixed_radix(const LineShape& shape, PartGap gap, const RootTable<T>& roots,
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

namespace {

template <class T>
const LinePlan<T>* lay_mixed_radix(const LineShape& shape, PartGap gap, runtime::Arena& arena) noexcept {
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
void fill_spectrum(const PrecisionKernels<double>& one_line, const LinePlan<double>& plan, const Sequence& b,
                   double* work, T* re, T* im) noexcept {
  const std::int32_t n = plan.length;
  const std::int32_t part = n / plan.radices[0];
  const auto element = [&](std::int32_t k) {
    return work + 2 * static_cast<std::ptrdiff_t>(k / part * plan.part_pitch + k % part);
  };
  for (std::int32_t k = 0; k < n; ++k) {
    element(k)[0] = b.re[k];
    element(k)[1] = b.im[k];
  }
  one_line.transform_lines(plan, work, nullptr);
  for (std::int32_t k = 0; k < n; ++k) {
    re[k] = static_cast<T>(element(k)[0] / n);
    im[k] = static_cast<T>(element(k)[1] / n);
  }
}

template <class T>
const LinePlan<T>* lay_convolution(const LineShape& shape, const Kernels& kernels,
                                   runtime::Arena& arena) noexcept {
  LineShape inner_shape;
  factorize(inner_shape, shape.inner_length, precision_of<T>(kernels).radices);
  const PrecisionKernels<double>& one_line = narrowest(kernels).double_precision;
  const PartGap gap = gap_of(inner_shape);
  const bool rader = shape.method == LineMethod::kRader;
  const auto n = static_cast<std::uint64_t>(shape.length);
  const auto inner_n = static_cast<std::uint64_t>(shape.inner_length);
  const std::uint64_t root_count = rader ? n : 2 * n;

  auto* plan = arena.take<LinePlan<T>>(1);
  auto* positions = arena.take<std::int32_t>(n);
  auto* spectrum_re = arena.take<T>(inner_n);
  auto* spectrum_im = arena.take<T>(inner_n);
  auto* first_table = arena.take<T>(rader ? 0 : n);
  auto* second_table = arena.take<T>(rader ? 0 : n);
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
  fill_spectrum(one_line, *exact_inner, kernel, work, spectrum_re, spectrum_im);
  return plan;
}

}  // namespace

template <class T>
const LinePlan<T>* lay_line(const LineShape& shape, PartGap gap, const Kernels& kernels,
                            runtime::Arena& arena) noexcept {
  return shape.method == LineMethod::kMixedRadix ? lay_mixed_radix<T>(shape, gap, arena)
                                                 : lay_convolution<T>(shape, kernels, arena);
}

template RootTable<float> lay_roots(std::int32_t, runtime::Arena&) noexcept;
template const LinePlan<float>* lay_line(const LineShape&, PartGap, const Kernels&, runtime::Arena&) noexcept;
template const LinePlan<float>* lay_mixed_radix(const LineShape&, PartGap, const RootTable<float>&,
                                                runtime::Arena&) noexcept;
template RootTable<double> lay_roots(std::int32_t, runtime::Arena&) noexcept;
template const LinePlan<double>* lay_line(const LineShape&, PartGap, const Kernels&,
                                          runtime::Arena&) noexcept;
template const LinePlan<double>* lay_mixed_radix(const LineShape&, PartGap, const RootTable<double>&,
                                                 runtime::Arena&) noexcept;

}  // namespace kyv::psfotf
