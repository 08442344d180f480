// The vector types on 64-bit ARM: 4 floats, 2 doubles, fused multiply-add, in every processor.
//
// For kernel units only. Everything sits in an unnamed namespace, so that no copy compiled for this
// instruction set can be picked by the linker for an older processor.
#pragma once

#include <arm_neon.h>

#include <cstddef>
#include <cstdint>

#include "runtime/memory_model.h"

namespace kyv::simd {
namespace {

struct F32 {
  float32x4_t v;
  static constexpr int kLanes = 4;
};

struct F64 {
  float64x2_t v;
  static constexpr int kLanes = 2;
};

inline constexpr int kVectorBytes = 16;
inline constexpr int kRegisters = 32;
inline constexpr bool kHasFusedMultiplyAdd = true;

namespace detail {

// 16 bytes of any type at any address: the vectors themselves may not stand for other types in memory.
template <class Vector>
[[gnu::always_inline]] inline Vector load_bytes(const void* p) noexcept {
  Vector v;
  __builtin_memcpy(&v, p, sizeof v);
  return v;
}
template <class Vector>
[[gnu::always_inline]] inline void store_bytes(void* p, Vector v) noexcept {
  __builtin_memcpy(p, &v, sizeof v);
}

}  // namespace detail

inline F32 load(const float* p) noexcept { return {detail::load_bytes<float32x4_t>(p)}; }
inline void store(float* p, F32 a) noexcept { detail::store_bytes(p, a.v); }
inline void store_aligned(float* p, F32 a) noexcept { store(p, a); }
// Processors see for themselves that lines are written whole, one after the other, and pass the caches by.
inline void store_streaming(float* p, F32 a) noexcept { store(p, a); }
inline F32 broadcast(float a) noexcept { return {vdupq_n_f32(a)}; }
inline F32 operator+(F32 a, F32 b) noexcept { return {vaddq_f32(a.v, b.v)}; }
inline F32 operator-(F32 a, F32 b) noexcept { return {vsubq_f32(a.v, b.v)}; }
inline F32 operator*(F32 a, F32 b) noexcept { return {vmulq_f32(a.v, b.v)}; }
// a*b + c, c - a*b and a*b - c, one rounding. (The last is not the second one negated: where the result is 0,
// its sign would be the other one.)
inline F32 mul_add(F32 a, F32 b, F32 c) noexcept { return {vfmaq_f32(c.v, a.v, b.v)}; }
inline F32 mul_sub_from(F32 a, F32 b, F32 c) noexcept { return {vfmsq_f32(c.v, a.v, b.v)}; }
inline F32 mul_sub(F32 a, F32 b, F32 c) noexcept { return {vfmaq_f32(vnegq_f32(c.v), a.v, b.v)}; }

inline F64 load(const double* p) noexcept { return {detail::load_bytes<float64x2_t>(p)}; }
inline void store(double* p, F64 a) noexcept { detail::store_bytes(p, a.v); }
inline void store_aligned(double* p, F64 a) noexcept { store(p, a); }
inline void store_streaming(double* p, F64 a) noexcept { store(p, a); }
inline F64 broadcast(double a) noexcept { return {vdupq_n_f64(a)}; }
inline F64 operator+(F64 a, F64 b) noexcept { return {vaddq_f64(a.v, b.v)}; }
inline F64 operator-(F64 a, F64 b) noexcept { return {vsubq_f64(a.v, b.v)}; }
inline F64 operator*(F64 a, F64 b) noexcept { return {vmulq_f64(a.v, b.v)}; }
// a*b + c, c - a*b and a*b - c, one rounding.
inline F64 mul_add(F64 a, F64 b, F64 c) noexcept { return {vfmaq_f64(c.v, a.v, b.v)}; }
inline F64 mul_sub_from(F64 a, F64 b, F64 c) noexcept { return {vfmsq_f64(c.v, a.v, b.v)}; }
inline F64 mul_sub(F64 a, F64 b, F64 c) noexcept { return {vfmaq_f64(vnegq_f64(c.v), a.v, b.v)}; }

// kLanes doubles rounded to the lane type, and lanes widened to doubles.
inline void load_doubles(F32& a, const double* p) noexcept {
  a.v = vcvt_high_f32_f64(vcvt_f32_f64(load(p).v), load(p + 2).v);
}
inline void load_doubles(F64& a, const double* p) noexcept { a = load(p); }
inline void store_doubles(double* p, F32 a) noexcept {
  store(p, F64{vcvt_f64_f32(vget_low_f32(a.v))});
  store(p + 2, F64{vcvt_high_f64_f32(a.v)});
}
inline void store_doubles(double* p, F64 a) noexcept { store(p, a); }
// Keeps a loaded vector in its register: the compiler would rather load it again for each use.
[[gnu::always_inline]] inline void keep_loaded(F32& a) noexcept { asm("" : "+w"(a.v)); }
[[gnu::always_inline]] inline void keep_loaded(F64& a) noexcept { asm("" : "+w"(a.v)); }
// The same past the caches; p aligned to 64 bytes or to the vector, whichever is less.
inline void stream_doubles(double* p, F32 a) noexcept { store_doubles(p, a); }
inline void stream_doubles(double* p, F64 a) noexcept { store(p, a); }
inline void stream_fence() noexcept {}

// The lanes in reverse order.
inline F32 reverse(F32 a) noexcept {
  const float32x4_t pairs = vrev64q_f32(a.v);
  return {vextq_f32(pairs, pairs, 2)};
}
inline F64 reverse(F64 a) noexcept { return {vextq_f64(a.v, a.v, 1)}; }
// The bits of both: zeros, of whatever sign, where both are.
inline F64 operator|(F64 a, F64 b) noexcept {
  return {vreinterpretq_f64_u64(vorrq_u64(vreinterpretq_u64_f64(a.v), vreinterpretq_u64_f64(b.v)))};
}
// Whether every lane is a zero of either sign.
inline bool all_zero(F64 a) noexcept { return vminvq_u32(vreinterpretq_u32_u64(vceqzq_f64(a.v))) != 0; }

namespace detail {

// Two lanes of a and two of b: the lower ones, or the upper ones.
[[gnu::always_inline]] inline float32x4_t lower_halves(float32x4_t a, float32x4_t b) noexcept {
  return vreinterpretq_f32_f64(vtrn1q_f64(vreinterpretq_f64_f32(a), vreinterpretq_f64_f32(b)));
}
[[gnu::always_inline]] inline float32x4_t upper_halves(float32x4_t a, float32x4_t b) noexcept {
  return vreinterpretq_f32_f64(vtrn2q_f64(vreinterpretq_f64_f32(a), vreinterpretq_f64_f32(b)));
}

}  // namespace detail

// Lane 0 of `next`, then lanes kLanes - 1 to 1 of a.
inline F32 mirror(F32 a, F32 next) noexcept {
  const float32x4_t reversed = reverse(a).v;
  return {vextq_f32(vdupq_laneq_f32(next.v, 0), reversed, 3)};
}
inline F64 mirror(F64 a, F64 next) noexcept {
  return {vcombine_f64(vget_low_f64(next.v), vget_high_f64(a.v))};
}
// The upper half of a and the lower half of b change places.
inline void exchange_halves(F32& a, F32& b) noexcept {
  const float32x4_t lower = detail::lower_halves(a.v, b.v);
  b.v = detail::upper_halves(a.v, b.v);
  a.v = lower;
}
inline void exchange_halves(F64& a, F64& b) noexcept {
  const float64x2_t lower = vtrn1q_f64(a.v, b.v);
  b.v = vtrn2q_f64(a.v, b.v);
  a.v = lower;
}

// Row i, lane j of kLanes rows becomes row j, lane i.
[[gnu::always_inline]] inline void transpose(F32* r) noexcept {
  const float32x4_t a = vtrn1q_f32(r[0].v, r[1].v);
  const float32x4_t b = vtrn2q_f32(r[0].v, r[1].v);
  const float32x4_t c = vtrn1q_f32(r[2].v, r[3].v);
  const float32x4_t d = vtrn2q_f32(r[2].v, r[3].v);
  r[0].v = detail::lower_halves(a, c);
  r[1].v = detail::lower_halves(b, d);
  r[2].v = detail::upper_halves(a, c);
  r[3].v = detail::upper_halves(b, d);
}
[[gnu::always_inline]] inline void transpose(F64* r) noexcept {
  const float64x2_t a = vtrn1q_f64(r[0].v, r[1].v);
  r[1].v = vtrn2q_f64(r[0].v, r[1].v);
  r[0].v = a;
}

}  // namespace
}  // namespace kyv::simd
