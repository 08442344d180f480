// Transforms by their definition in extended precision, and the tools to compare with them.
#pragma once

#include <cmath>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <ostream>
#include <random>
#include <string>
#include <vector>

#include "psfotf/conversion.h"
#include "runtime/dispatch.h"

namespace kyv::psfotf::test {

using Extended = std::complex<long double>;
using Spectrum = std::vector<Extended>;

// A stack of planes in separate arrays.
struct Stack {
  std::int32_t width = 0;
  std::int32_t height = 0;
  std::int32_t planes = 0;
  std::vector<double> re;
  std::vector<double> im;

  Stack() = default;
  Stack(std::int32_t w, std::int32_t h, std::int32_t p) : width(w), height(h), planes(p) {
    re.resize(plane_size() * static_cast<std::size_t>(p));
    im.resize(re.size());
  }

  std::size_t plane_size() const {
    return static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
  }
  friend bool operator==(const Stack&, const Stack&) = default;
};

inline Stack random_stack(std::int32_t width, std::int32_t height, std::int32_t planes,
                          std::uint32_t seed = 1) {
  Stack stack(width, height, planes);
  std::minstd_rand random(seed);
  const auto next = [&] { return static_cast<double>(random()) / 1073741824.0 - 1.0; };
  for (double& v : stack.re) v = next();
  for (double& v : stack.im) v = next();
  return stack;
}

// The values that a transform of this precision starts from.
inline Stack rounded(Stack stack, Precision precision) {
  if (precision == Precision::kDouble) return stack;
  for (double& v : stack.re) v = static_cast<double>(static_cast<float>(v));
  for (double& v : stack.im) v = static_cast<double>(static_cast<float>(v));
  return stack;
}

inline Stack real_part(Stack stack) {
  stack.im.assign(stack.im.size(), 0.0);
  return stack;
}

inline int convert(const Stack& from, Stack& to, Direction direction, Precision precision,
                   const runtime::KernelSet& kernels) {
  return convert_planes(
      {from.re.data(), from.im.data(), to.re.data(), to.im.data(), from.width, from.height, from.planes},
      direction, precision, kernels);
}

inline Stack converted(const Stack& from, Direction direction, Precision precision,
                       const runtime::KernelSet& kernels) {
  Stack to(from.width, from.height, from.planes);
  convert(from, to, direction, precision, kernels);
  return to;
}

// exp(-2 pi i k / n), k < n, in extended precision with exact reduction to an octant.
inline Spectrum extended_roots(std::int64_t n) {
  constexpr long double pi = 3.14159265358979323846264338327950288L;
  Spectrum roots(static_cast<std::size_t>(n));
  for (std::int64_t k = 0; k < n; ++k) {
    const std::int64_t quarter = (8 * k + n) / (2 * n);  // nearest multiple of a quarter turn
    const long double rest =
        2 * pi * static_cast<long double>(4 * k - quarter * n) / (4.0L * static_cast<long double>(n));
    const Extended w(std::cos(rest), -std::sin(rest));
    const Extended turns[4] = {{1, 0}, {0, -1}, {-1, 0}, {0, 1}};
    const Extended t = turns[quarter % 4];
    roots[static_cast<std::size_t>(k)] = {w.real() * t.real() - w.imag() * t.imag(),
                                          w.real() * t.imag() + w.imag() * t.real()};
  }
  return roots;
}

// Recursive decimation in time by the smallest prime factor; primes by their definition.
inline void reference_line(const Extended* in, std::size_t stride, Extended* out, std::size_t n,
                           const Spectrum& roots) {
  if (n == 1) {
    out[0] = in[0];
    return;
  }
  std::size_t radix = 2;
  while (n % radix != 0) ++radix;
  const std::size_t m = n / radix;
  const std::size_t step = roots.size() / n;
  Spectrum parts(n);
  for (std::size_t r = 0; r < radix; ++r) {
    reference_line(in + r * stride, stride * radix, parts.data() + r * m, m, roots);
  }
  for (std::size_t k = 0; k < n; ++k) {
    long double re = 0;
    long double im = 0;
    for (std::size_t r = 0; r < radix; ++r) {
      const Extended& w = roots[r * k % n * step];
      const Extended& x = parts[r * m + k % m];
      re += x.real() * w.real() - x.imag() * w.imag();
      im += x.real() * w.imag() + x.imag() * w.real();
    }
    out[k] = {re, im};
  }
}

// The forward transform of one plane, seen as `width` runs of `height` values.
inline Spectrum reference_plane(const Stack& stack, std::size_t plane) {
  const auto rows = static_cast<std::size_t>(stack.width);
  const auto length = static_cast<std::size_t>(stack.height);
  const std::size_t offset = plane * rows * length;
  Spectrum values(rows * length);
  for (std::size_t i = 0; i < values.size(); ++i) {
    values[i] = {static_cast<long double>(stack.re[offset + i]),
                 static_cast<long double>(stack.im[offset + i])};
  }
  const Spectrum row_roots = extended_roots(stack.height);
  const Spectrum column_roots = extended_roots(stack.width);
  Spectrum result(values.size());
  for (std::size_t r = 0; r < rows; ++r) {
    reference_line(values.data() + r * length, 1, result.data() + r * length, length, row_roots);
  }
  Spectrum column(rows);
  for (std::size_t c = 0; c < length; ++c) {
    reference_line(result.data() + c, length, column.data(), rows, column_roots);
    for (std::size_t r = 0; r < rows; ++r) result[r * length + c] = column[r];
  }
  return result;
}

// Relative L2 distance of one plane from the expected values; its square where all of these are zeros.
inline double relative_error(const Stack& stack, std::size_t plane, const Spectrum& expected) {
  const std::size_t offset = plane * expected.size();
  long double difference = 0;
  long double norm = 0;
  for (std::size_t i = 0; i < expected.size(); ++i) {
    const Extended x(static_cast<long double>(stack.re[offset + i]),
                     static_cast<long double>(stack.im[offset + i]));
    difference += std::norm(x - expected[i]);
    norm += std::norm(expected[i]);
  }
  return static_cast<double>(norm == 0 ? difference : std::sqrt(difference / norm));
}

inline Spectrum values_of(const Stack& stack, std::size_t plane) {
  Spectrum values(stack.plane_size());
  const std::size_t offset = plane * values.size();
  for (std::size_t i = 0; i < values.size(); ++i) {
    values[i] = {static_cast<long double>(stack.re[offset + i]),
                 static_cast<long double>(stack.im[offset + i])};
  }
  return values;
}

// The factor by which a backward transform misses the exact one: its scale is a single-precision reciprocal.
inline double scale_error(const Stack& s) {
  const auto count = static_cast<float>(s.plane_size());
  return static_cast<double>(1.0f / count) * static_cast<double>(count);
}

inline Stack without_scale_error(Stack psf) {
  const double factor = 1.0 / scale_error(psf);
  for (double& v : psf.re) v *= factor;
  for (double& v : psf.im) v *= factor;
  return psf;
}

// Error bounds of a forward transform, by the prime factors of its lengths.
inline double error_bound(std::int32_t width, std::int32_t height, Precision precision) {
  const auto smooth = [](std::int32_t n) {
    if (n > 512) return false;
    for (const std::int32_t p : {2, 3, 5, 7, 11, 13}) {
      while (n % p == 0) n /= p;
    }
    return n == 1;
  };
  const bool easy = smooth(width) && smooth(height);
  if (precision == Precision::kSingle) return easy ? 2.5e-7 : 6e-7;
  return easy ? 6e-16 : 1.2e-15;
}

// The kernel sets that this processor runs; of sets that share their transforms, the least demanding one.
inline std::vector<const runtime::KernelSet*> runnable_kernel_sets() {
  std::vector<const runtime::KernelSet*> sets;
  for (const runtime::KernelSet& set : runtime::all_kernel_sets()) {
    if (!runtime::machine_runs(set)) continue;
    if (!sets.empty() && sets.back()->psfotf == set.psfotf) sets.pop_back();
    sets.push_back(&set);
  }
  return sets;
}

inline std::string describe(const Stack& s, Precision precision, const runtime::KernelSet& kernels) {
  return std::to_string(s.width) + " x " + std::to_string(s.height) +
         (precision == Precision::kSingle ? " single " : " double ") + kernels.name;
}

inline constexpr double kInfinity = std::numeric_limits<double>::infinity();
inline constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

// A kernel set at work in one precision.
struct Variant {
  const runtime::KernelSet* kernels;
  Precision precision;

  Stack forward(const Stack& s) const { return converted(s, Direction::kForward, precision, *kernels); }
  Stack backward(const Stack& s) const { return converted(s, Direction::kBackward, precision, *kernels); }
  double tolerance() const { return precision == Precision::kSingle ? 6e-7 : 1.2e-15; }
  std::string name() const {
    return std::string(kernels->name) + (precision == Precision::kSingle ? "_single" : "_double");
  }
};

// Without it the listing of the tests shows the bytes of an address and of padding.
inline void PrintTo(const Variant& variant, std::ostream* out) { *out << variant.name(); }

// The runnable kernel sets, each in both precisions.
inline std::vector<Variant> variants() {
  std::vector<Variant> all;
  for (const runtime::KernelSet* set : runnable_kernel_sets()) {
    all.push_back({set, Precision::kSingle});
    all.push_back({set, Precision::kDouble});
  }
  return all;
}

}  // namespace kyv::psfotf::test
