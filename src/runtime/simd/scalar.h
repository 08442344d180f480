// The vector types without vectors: one lane, plain C++, the meaning of every other header here.
//
// For kernel units only. Everything sits in an unnamed namespace, so that no copy compiled for this
// instruction set can be picked by the linker for an older processor.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kyv::simd {
namespace {

struct F32 {
  float v;
  static constexpr int kLanes = 1;
};

struct F64 {
  double v;
  static constexpr int kLanes = 1;
};

inline constexpr int kVectorBytes = 4;

inline F32 load(const float* p) noexcept { return {*p}; }
inline void store(float* p, F32 a) noexcept { *p = a.v; }
inline void store_aligned(float* p, F32 a) noexcept { *p = a.v; }
inline void store_streaming(float* p, F32 a) noexcept { *p = a.v; }
inline F32 broadcast(float a) noexcept { return {a}; }
inline F32 operator+(F32 a, F32 b) noexcept { return {a.v + b.v}; }
inline F32 operator-(F32 a, F32 b) noexcept { return {a.v - b.v}; }
inline F32 operator*(F32 a, F32 b) noexcept { return {a.v * b.v}; }
// a*b + c, c - a*b and a*b - c; two roundings on this instruction set.
inline F32 mul_add(F32 a, F32 b, F32 c) noexcept { return a * b + c; }
inline F32 mul_sub_from(F32 a, F32 b, F32 c) noexcept { return c - a * b; }
inline F32 mul_sub(F32 a, F32 b, F32 c) noexcept { return a * b - c; }

inline F64 load(const double* p) noexcept { return {*p}; }
inline void store(double* p, F64 a) noexcept { *p = a.v; }
inline void store_aligned(double* p, F64 a) noexcept { *p = a.v; }
inline void store_streaming(double* p, F64 a) noexcept { *p = a.v; }
inline F64 broadcast(double a) noexcept { return {a}; }
inline F64 operator+(F64 a, F64 b) noexcept { return {a.v + b.v}; }
inline F64 operator-(F64 a, F64 b) noexcept { return {a.v - b.v}; }
inline F64 operator*(F64 a, F64 b) noexcept { return {a.v * b.v}; }
// a*b + c, c - a*b and a*b - c; two roundings on this instruction set.
inline F64 mul_add(F64 a, F64 b, F64 c) noexcept { return a * b + c; }
inline F64 mul_sub_from(F64 a, F64 b, F64 c) noexcept { return c - a * b; }
inline F64 mul_sub(F64 a, F64 b, F64 c) noexcept { return a * b - c; }

}  // namespace
}  // namespace kyv::simd

// Transforms: doubles in and out, square transposition.
namespace kyv::simd {
namespace {

// kLanes doubles rounded to the lane type, and lanes widened to doubles.
inline void load_doubles(F32& a, const double* p) noexcept { a.v = static_cast<float>(*p); }
inline void load_doubles(F64& a, const double* p) noexcept { a.v = *p; }
inline void store_doubles(double* p, F32 a) noexcept { *p = static_cast<double>(a.v); }
inline void store_doubles(double* p, F64 a) noexcept { *p = a.v; }
// Keeps a loaded vector in its register: the compiler would rather load it again for each use.
[[gnu::always_inline]] inline void keep_loaded(F32&) noexcept {}
[[gnu::always_inline]] inline void keep_loaded(F64&) noexcept {}
// The lower half of the lanes at one place and the upper half at another; a single lane is a lower half.
inline void store_doubles(double* lower, double*, F32 a) noexcept { store_doubles(lower, a); }
inline void store_doubles(double* lower, double*, F64 a) noexcept { store_doubles(lower, a); }
// The same past the caches; p aligned to 64 bytes or to the vector, whichever is less.
inline void stream_doubles(double* p, F32 a) noexcept { *p = static_cast<double>(a.v); }
inline void stream_doubles(double* p, F64 a) noexcept { *p = a.v; }
inline void stream_fence() noexcept {}

// Row i, lane j of kLanes rows becomes row j, lane i.
[[gnu::always_inline]] inline void transpose(F32*) noexcept {}
[[gnu::always_inline]] inline void transpose(F64*) noexcept {}

}  // namespace
}  // namespace kyv::simd

// Resampling: sums of products with one rounding per tap.
namespace kyv::simd {
namespace {

inline constexpr bool kHasFusedMultiplyAdd = false;

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

// sum + w * x with one rounding. With `kSumsAreExact` the caller vouches that every sum fits a double.
template <bool kSumsAreExact>
inline Sum accumulate(Weight w, Samples x, Sum sum) noexcept {
  const double product = w.v * x.v;
  const double next = kSumsAreExact ? sum.v + product : add_to_odd(sum.v, product);
  return {static_cast<double>(static_cast<float>(next))};
}
// The same for two vectors. The caller vouches that every sum is a multiple of the smallest float.
inline void accumulate_two(Weight w, const Samples* x, Sum* sum) noexcept {
  sum[0] = accumulate<false>(w, x[0], sum[0]);
  sum[1] = accumulate<false>(w, x[1], sum[1]);
}
inline F32 value_of(Sum sum) noexcept { return {static_cast<float>(sum.v)}; }

// Rounds to nearest, ties to even, and saturates: between 2^23 and 2^24 the floats are the integers.
inline std::uint32_t rounded(F32 a, float largest) noexcept {
  const float positive = a.v > 0.0f ? a.v : 0.0f;
  const float clamped = positive < largest ? positive : largest;
  return static_cast<std::uint32_t>((clamped + 8388608.0f) - 8388608.0f);
}
// Stores 4 results as bytes or 2 as 16-bit samples, at any address.
inline void store_rounded(std::uint8_t* p, F32 a, F32 b, F32 c, F32 d) noexcept {
  p[0] = static_cast<std::uint8_t>(rounded(a, 255.0f));
  p[1] = static_cast<std::uint8_t>(rounded(b, 255.0f));
  p[2] = static_cast<std::uint8_t>(rounded(c, 255.0f));
  p[3] = static_cast<std::uint8_t>(rounded(d, 255.0f));
}
inline void store_rounded(std::uint8_t* p, F32 a, F32 b) noexcept {
  const std::uint16_t samples[2] = {static_cast<std::uint16_t>(rounded(a, 65535.0f)),
                                    static_cast<std::uint16_t>(rounded(b, 65535.0f))};
  __builtin_memcpy(p, samples, sizeof samples);
}

inline F64 operator/(F64 a, F64 b) noexcept { return {a.v / b.v}; }
inline F64 absolute(F64 a) noexcept { return {a.v < 0.0 ? -a.v : a.v}; }
// a < b ? x : y.
inline F64 select_less(F64 a, F64 b, F64 x, F64 y) noexcept { return a.v < b.v ? x : y; }
inline F64 lane_numbers() noexcept { return {0.0}; }

}  // namespace
}  // namespace kyv::simd
