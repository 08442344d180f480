// What only resizing needs of one lane: see simd.md.
//
// For kernel units only, in an unnamed namespace like the vector types.
#pragma once

#include "runtime/simd/scalar.h"

#include <cstddef>
#include <cstdint>

// Resampling: sums of products with one rounding per tap.
namespace kyv::simd {
namespace {

// A weight, a sample, and the running sum of their products: floats, kept as doubles, in which their products
// are exact.
struct Weight {
  double v;
};
using Samples = Weight;
using Sum = Weight;
inline Weight load_weight(const float* p) noexcept { return {static_cast<double>(*p)}; }
inline Samples load_samples(const float* p) noexcept { return {static_cast<double>(*p)}; }
inline Samples load_shared_samples(const float* p) noexcept { return load_samples(p); }
inline Sum zero_sum() noexcept { return {0.0}; }

namespace detail {

// a + b rounded to odd: where the sum is inexact, the neighbouring double with the odd last bit. Rounding
// that to float gives the correctly rounded sum (S. Boldo and G. Melquiond, Emulation of a FMA and correctly
// rounded sums, IEEE Trans. Computers 57, 2008). The error term is Knuth's.
inline double add_to_odd(double a, double b) noexcept {
  const double sum = a + b;
  const double b_part = sum - a;
  const double error = (a - (sum - b_part)) + (b - b_part);
  if (error == 0.0) return sum;
  std::uint64_t bits = 0;
  __builtin_memcpy(&bits, &sum, sizeof bits);
  if ((error < 0.0) != (sum < 0.0)) --bits;
  bits |= 1;
  double odd = 0.0;
  __builtin_memcpy(&odd, &bits, sizeof odd);
  return odd;
}

}  // namespace detail

// sum + w * x with one rounding. The caller vouches that every sum is a multiple of the smallest float and,
// with `kSumsAreExact`, that it fits a double.
template <bool kSumsAreExact>
inline Sum accumulate(Weight w, Samples x, Sum sum) noexcept {
  const double product = w.v * x.v;
  const double next = kSumsAreExact ? sum.v + product : detail::add_to_odd(sum.v, product);
  return {static_cast<double>(static_cast<float>(next))};
}
// The same for sums of any size.
inline Sum accumulate_any(Weight w, Samples x, Sum sum) noexcept { return accumulate<false>(w, x, sum); }
// accumulate<false> for two vectors.
inline void accumulate_two(Weight w, const Samples* x, Sum* sum) noexcept {
  sum[0] = accumulate<false>(w, x[0], sum[0]);
  sum[1] = accumulate<false>(w, x[1], sum[1]);
}
inline F32 value_of(Sum sum) noexcept { return {static_cast<float>(sum.v)}; }

namespace detail {

// Rounds to nearest, ties to even, and saturates: between 2^23 and 2^24 the floats are the integers.
inline std::uint32_t rounded(F32 a, float largest) noexcept {
  const float positive = a.v > 0.0f ? a.v : 0.0f;
  const float clamped = positive < largest ? positive : largest;
  return static_cast<std::uint32_t>((clamped + 8388608.0f) - 8388608.0f);
}

}  // namespace detail

// Stores 4 results as bytes or 2 as 16-bit samples, at any address.
inline void store_rounded(std::uint8_t* p, F32 a, F32 b, F32 c, F32 d) noexcept {
  p[0] = static_cast<std::uint8_t>(detail::rounded(a, 255.0f));
  p[1] = static_cast<std::uint8_t>(detail::rounded(b, 255.0f));
  p[2] = static_cast<std::uint8_t>(detail::rounded(c, 255.0f));
  p[3] = static_cast<std::uint8_t>(detail::rounded(d, 255.0f));
}
inline void store_rounded(std::uint8_t* p, F32 a, F32 b) noexcept {
  const std::uint16_t samples[2] = {static_cast<std::uint16_t>(detail::rounded(a, 65535.0f)),
                                    static_cast<std::uint16_t>(detail::rounded(b, 65535.0f))};
  __builtin_memcpy(p, samples, sizeof samples);
}

inline F64 operator/(F64 a, F64 b) noexcept { return {a.v / b.v}; }
inline F64 absolute(F64 a) noexcept { return {a.v < 0.0 ? -a.v : a.v}; }
// a < b ? x : y.
inline F64 select_less(F64 a, F64 b, F64 x, F64 y) noexcept { return a.v < b.v ? x : y; }
inline F64 lane_numbers() noexcept { return {0.0}; }

}  // namespace
}  // namespace kyv::simd
