// The vector types on SSE2: 4 floats, 2 doubles. Units that are compiled for processors with a fused
// multiply-add have it.
//
// For kernel units only. Everything sits in an unnamed namespace, so that no copy compiled for this
// instruction set can be picked by the linker for an older processor.
#pragma once

#ifdef __FMA__
#include <immintrin.h>
#else
#include <emmintrin.h>
#endif

#include <cstddef>
#include <cstdint>

#include "runtime/memory_model.h"

namespace kyv::simd {
namespace {

struct F32 {
  __m128 v;
  static constexpr int kLanes = 4;
};

struct F64 {
  __m128d v;
  static constexpr int kLanes = 2;
};

inline constexpr int kVectorBytes = 16;
inline constexpr int kRegisters = runtime::kFewRegisters ? 8 : 16;
#ifdef __FMA__
inline constexpr bool kHasFusedMultiplyAdd = true;
#else
inline constexpr bool kHasFusedMultiplyAdd = false;
#endif

inline F32 load(const float* p) noexcept { return {_mm_loadu_ps(p)}; }
inline void store(float* p, F32 a) noexcept { _mm_storeu_ps(p, a.v); }
inline void store_aligned(float* p, F32 a) noexcept { _mm_store_ps(p, a.v); }
inline void store_streaming(float* p, F32 a) noexcept { _mm_stream_ps(p, a.v); }
inline F32 broadcast(float a) noexcept { return {_mm_set1_ps(a)}; }
inline F32 operator+(F32 a, F32 b) noexcept { return {_mm_add_ps(a.v, b.v)}; }
inline F32 operator-(F32 a, F32 b) noexcept { return {_mm_sub_ps(a.v, b.v)}; }
inline F32 operator*(F32 a, F32 b) noexcept { return {_mm_mul_ps(a.v, b.v)}; }

inline F64 load(const double* p) noexcept { return {_mm_loadu_pd(p)}; }
inline void store(double* p, F64 a) noexcept { _mm_storeu_pd(p, a.v); }
inline void store_aligned(double* p, F64 a) noexcept { _mm_store_pd(p, a.v); }
inline void store_streaming(double* p, F64 a) noexcept { _mm_stream_pd(p, a.v); }
inline F64 broadcast(double a) noexcept { return {_mm_set1_pd(a)}; }
inline F64 operator+(F64 a, F64 b) noexcept { return {_mm_add_pd(a.v, b.v)}; }
inline F64 operator-(F64 a, F64 b) noexcept { return {_mm_sub_pd(a.v, b.v)}; }
inline F64 operator*(F64 a, F64 b) noexcept { return {_mm_mul_pd(a.v, b.v)}; }

#ifdef __FMA__
// a*b + c, c - a*b and a*b - c, one rounding.
inline F32 mul_add(F32 a, F32 b, F32 c) noexcept { return {_mm_fmadd_ps(a.v, b.v, c.v)}; }
inline F32 mul_sub_from(F32 a, F32 b, F32 c) noexcept { return {_mm_fnmadd_ps(a.v, b.v, c.v)}; }
inline F32 mul_sub(F32 a, F32 b, F32 c) noexcept { return {_mm_fmsub_ps(a.v, b.v, c.v)}; }
inline F64 mul_add(F64 a, F64 b, F64 c) noexcept { return {_mm_fmadd_pd(a.v, b.v, c.v)}; }
inline F64 mul_sub_from(F64 a, F64 b, F64 c) noexcept { return {_mm_fnmadd_pd(a.v, b.v, c.v)}; }
inline F64 mul_sub(F64 a, F64 b, F64 c) noexcept { return {_mm_fmsub_pd(a.v, b.v, c.v)}; }
#else
// The same with two roundings.
inline F32 mul_add(F32 a, F32 b, F32 c) noexcept { return a * b + c; }
inline F32 mul_sub_from(F32 a, F32 b, F32 c) noexcept { return c - a * b; }
inline F32 mul_sub(F32 a, F32 b, F32 c) noexcept { return a * b - c; }
inline F64 mul_add(F64 a, F64 b, F64 c) noexcept { return a * b + c; }
inline F64 mul_sub_from(F64 a, F64 b, F64 c) noexcept { return c - a * b; }
inline F64 mul_sub(F64 a, F64 b, F64 c) noexcept { return a * b - c; }
#endif

// kLanes doubles rounded to the lane type, and lanes widened to doubles.
inline void load_doubles(F32& a, const double* p) noexcept {
  a.v = _mm_movelh_ps(_mm_cvtpd_ps(_mm_loadu_pd(p)), _mm_cvtpd_ps(_mm_loadu_pd(p + 2)));
}
inline void load_doubles(F64& a, const double* p) noexcept { a.v = _mm_loadu_pd(p); }
inline void store_doubles(double* p, F32 a) noexcept {
  _mm_storeu_pd(p, _mm_cvtps_pd(a.v));
  _mm_storeu_pd(p + 2, _mm_cvtps_pd(_mm_movehl_ps(a.v, a.v)));
}
inline void store_doubles(double* p, F64 a) noexcept { _mm_storeu_pd(p, a.v); }
// Keeps a loaded vector in its register: the compiler would rather load it again for each use.
[[gnu::always_inline]] inline void keep_loaded(F32& a) noexcept { asm("" : "+x"(a.v)); }
[[gnu::always_inline]] inline void keep_loaded(F64& a) noexcept { asm("" : "+x"(a.v)); }
// The same past the caches; p aligned to 64 bytes or to the vector, whichever is less.
inline void stream_doubles(double* p, F32 a) noexcept {
  _mm_stream_pd(p, _mm_cvtps_pd(a.v));
  _mm_stream_pd(p + 2, _mm_cvtps_pd(_mm_movehl_ps(a.v, a.v)));
}
inline void stream_doubles(double* p, F64 a) noexcept { _mm_stream_pd(p, a.v); }
inline void stream_fence() noexcept { _mm_sfence(); }

// The lanes in reverse order.
inline F32 reverse(F32 a) noexcept { return {_mm_shuffle_ps(a.v, a.v, 0x1B)}; }
inline F64 reverse(F64 a) noexcept { return {_mm_shuffle_pd(a.v, a.v, 1)}; }
// Lane 0 of `next`, then lanes kLanes - 1 to 1 of a.
inline F32 mirror(F32 a, F32 next) noexcept {
  const __m128 moved = _mm_move_ss(a.v, next.v);
  return {_mm_shuffle_ps(moved, moved, 0x6C)};
}
inline F64 mirror(F64 a, F64 next) noexcept { return {_mm_move_sd(a.v, next.v)}; }
// The upper half of a and the lower half of b change places.
inline void exchange_halves(F32& a, F32& b) noexcept {
  const __m128 lower = _mm_movelh_ps(a.v, b.v);
  b.v = _mm_movehl_ps(b.v, a.v);
  a.v = lower;
}
inline void exchange_halves(F64& a, F64& b) noexcept {
  const __m128d lower = _mm_unpacklo_pd(a.v, b.v);
  b.v = _mm_unpackhi_pd(a.v, b.v);
  a.v = lower;
}
// The bits of both: zeros, of whatever sign, where both are.
inline F64 operator|(F64 a, F64 b) noexcept { return {_mm_or_pd(a.v, b.v)}; }
// Whether every lane is a zero of either sign.
inline bool all_zero(F64 a) noexcept { return _mm_movemask_pd(_mm_cmpeq_pd(a.v, _mm_setzero_pd())) == 3; }

// Row i, lane j of kLanes rows becomes row j, lane i.
[[gnu::always_inline]] inline void transpose(F32* r) noexcept {
  const __m128 a = _mm_unpacklo_ps(r[0].v, r[1].v);
  const __m128 b = _mm_unpackhi_ps(r[0].v, r[1].v);
  const __m128 c = _mm_unpacklo_ps(r[2].v, r[3].v);
  const __m128 d = _mm_unpackhi_ps(r[2].v, r[3].v);
  r[0].v = _mm_movelh_ps(a, c);
  r[1].v = _mm_movehl_ps(c, a);
  r[2].v = _mm_movelh_ps(b, d);
  r[3].v = _mm_movehl_ps(d, b);
}
[[gnu::always_inline]] inline void transpose(F64* r) noexcept {
  const __m128d a = _mm_unpacklo_pd(r[0].v, r[1].v);
  r[1].v = _mm_unpackhi_pd(r[0].v, r[1].v);
  r[0].v = a;
}

}  // namespace
}  // namespace kyv::simd
