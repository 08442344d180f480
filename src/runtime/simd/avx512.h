// The vector types on AVX-512 (F, BW, VL, DQ): 16 floats, 8 doubles.
//
// For kernel units only. Everything sits in an unnamed namespace, so that no copy compiled for this
// instruction set can be picked by the linker for an older processor.
#pragma once

#include <immintrin.h>

#include <cstddef>
#include <cstdint>

#include "runtime/memory_model.h"

namespace kyv::simd {
namespace {

struct F32 {
  __m512 v;
  static constexpr int kLanes = 16;
};

struct F64 {
  __m512d v;
  static constexpr int kLanes = 8;
};

inline constexpr int kVectorBytes = 64;
inline constexpr int kRegisters = runtime::kFewRegisters ? 8 : 32;
inline constexpr bool kHasFusedMultiplyAdd = true;

inline F32 load(const float* p) noexcept { return {_mm512_loadu_ps(p)}; }
inline void store(float* p, F32 a) noexcept { _mm512_storeu_ps(p, a.v); }
inline void store_aligned(float* p, F32 a) noexcept { _mm512_store_ps(p, a.v); }
inline void store_streaming(float* p, F32 a) noexcept { _mm512_stream_ps(p, a.v); }
inline F32 broadcast(float a) noexcept { return {_mm512_set1_ps(a)}; }
inline F32 operator+(F32 a, F32 b) noexcept { return {_mm512_add_ps(a.v, b.v)}; }
inline F32 operator-(F32 a, F32 b) noexcept { return {_mm512_sub_ps(a.v, b.v)}; }
inline F32 operator*(F32 a, F32 b) noexcept { return {_mm512_mul_ps(a.v, b.v)}; }
// a*b + c, c - a*b and a*b - c, one rounding.
inline F32 mul_add(F32 a, F32 b, F32 c) noexcept { return {_mm512_fmadd_ps(a.v, b.v, c.v)}; }
inline F32 mul_sub_from(F32 a, F32 b, F32 c) noexcept { return {_mm512_fnmadd_ps(a.v, b.v, c.v)}; }
inline F32 mul_sub(F32 a, F32 b, F32 c) noexcept { return {_mm512_fmsub_ps(a.v, b.v, c.v)}; }

inline F64 load(const double* p) noexcept { return {_mm512_loadu_pd(p)}; }
inline void store(double* p, F64 a) noexcept { _mm512_storeu_pd(p, a.v); }
inline void store_aligned(double* p, F64 a) noexcept { _mm512_store_pd(p, a.v); }
inline void store_streaming(double* p, F64 a) noexcept { _mm512_stream_pd(p, a.v); }
inline F64 broadcast(double a) noexcept { return {_mm512_set1_pd(a)}; }
inline F64 operator+(F64 a, F64 b) noexcept { return {_mm512_add_pd(a.v, b.v)}; }
inline F64 operator-(F64 a, F64 b) noexcept { return {_mm512_sub_pd(a.v, b.v)}; }
inline F64 operator*(F64 a, F64 b) noexcept { return {_mm512_mul_pd(a.v, b.v)}; }
// a*b + c, c - a*b and a*b - c, one rounding.
inline F64 mul_add(F64 a, F64 b, F64 c) noexcept { return {_mm512_fmadd_pd(a.v, b.v, c.v)}; }
inline F64 mul_sub_from(F64 a, F64 b, F64 c) noexcept { return {_mm512_fnmadd_pd(a.v, b.v, c.v)}; }
inline F64 mul_sub(F64 a, F64 b, F64 c) noexcept { return {_mm512_fmsub_pd(a.v, b.v, c.v)}; }

// kLanes doubles rounded to the lane type, and lanes widened to doubles.
inline void load_doubles(F32& a, const double* p) noexcept {
  const __m256 low = _mm512_cvtpd_ps(_mm512_loadu_pd(p));
  const __m256 high = _mm512_cvtpd_ps(_mm512_loadu_pd(p + 8));
  a.v = _mm512_insertf32x8(_mm512_castps256_ps512(low), high, 1);
}
inline void load_doubles(F64& a, const double* p) noexcept { a.v = _mm512_loadu_pd(p); }
inline void store_doubles(double* p, F32 a) noexcept {
  _mm512_storeu_pd(p, _mm512_cvtps_pd(_mm512_castps512_ps256(a.v)));
  _mm512_storeu_pd(p + 8, _mm512_cvtps_pd(_mm512_extractf32x8_ps(a.v, 1)));
}
inline void store_doubles(double* p, F64 a) noexcept { _mm512_storeu_pd(p, a.v); }
// Keeps a loaded vector in its register: the compiler would rather load it again for each use.
[[gnu::always_inline]] inline void keep_loaded(F32& a) noexcept { asm("" : "+v"(a.v)); }
[[gnu::always_inline]] inline void keep_loaded(F64& a) noexcept { asm("" : "+v"(a.v)); }
// The same past the caches; p aligned to 64 bytes or to the vector, whichever is less.
inline void stream_doubles(double* p, F32 a) noexcept {
  _mm512_stream_pd(p, _mm512_cvtps_pd(_mm512_castps512_ps256(a.v)));
  _mm512_stream_pd(p + 8, _mm512_cvtps_pd(_mm512_extractf32x8_ps(a.v, 1)));
}
inline void stream_doubles(double* p, F64 a) noexcept { _mm512_stream_pd(p, a.v); }
inline void stream_fence() noexcept { _mm_sfence(); }

// The lanes in reverse order.
inline F32 reverse(F32 a) noexcept {
  const __m512i order = _mm512_setr_epi32(15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0);
  return {_mm512_permutexvar_ps(order, a.v)};
}
inline F64 reverse(F64 a) noexcept {
  return {_mm512_permutexvar_pd(_mm512_setr_epi64(7, 6, 5, 4, 3, 2, 1, 0), a.v)};
}
// Lane 0 of `next`, then lanes kLanes - 1 to 1 of a.
inline F32 mirror(F32 a, F32 next) noexcept {
  const __m512i order = _mm512_setr_epi32(16, 15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1);
  return {_mm512_permutex2var_ps(a.v, order, next.v)};
}
inline F64 mirror(F64 a, F64 next) noexcept {
  return {_mm512_permutex2var_pd(a.v, _mm512_setr_epi64(8, 7, 6, 5, 4, 3, 2, 1), next.v)};
}
// The upper half of a and the lower half of b change places.
inline void exchange_halves(F32& a, F32& b) noexcept {
  const __m512 lower = _mm512_shuffle_f32x4(a.v, b.v, 0x44);
  b.v = _mm512_shuffle_f32x4(a.v, b.v, 0xEE);
  a.v = lower;
}
inline void exchange_halves(F64& a, F64& b) noexcept {
  const __m512d lower = _mm512_shuffle_f64x2(a.v, b.v, 0x44);
  b.v = _mm512_shuffle_f64x2(a.v, b.v, 0xEE);
  a.v = lower;
}
// The bits of both: zeros, of whatever sign, where both are.
inline F64 operator|(F64 a, F64 b) noexcept { return {_mm512_or_pd(a.v, b.v)}; }
// Whether every lane is a zero of either sign.
inline bool all_zero(F64 a) noexcept {
  return _mm512_cmp_pd_mask(a.v, _mm512_setzero_pd(), _CMP_EQ_OQ) == 0xFF;
}

// Row i, lane j of kLanes rows becomes row j, lane i.
[[gnu::always_inline]] inline void transpose(F32* r) noexcept {
  __m512 t[16];
  for (int i = 0; i < 16; i += 2) {
    t[i] = _mm512_unpacklo_ps(r[i].v, r[i + 1].v);
    t[i + 1] = _mm512_unpackhi_ps(r[i].v, r[i + 1].v);
  }
  // u[4 * g + k]: column k of each 128-bit quarter, rows 4g to 4g + 3.
  __m512 u[16];
  for (int i = 0; i < 16; i += 4) {
    u[i] = _mm512_shuffle_ps(t[i], t[i + 2], 0x44);
    u[i + 1] = _mm512_shuffle_ps(t[i], t[i + 2], 0xEE);
    u[i + 2] = _mm512_shuffle_ps(t[i + 1], t[i + 3], 0x44);
    u[i + 3] = _mm512_shuffle_ps(t[i + 1], t[i + 3], 0xEE);
  }
  for (int k = 0; k < 4; ++k) {
    const __m512 a = _mm512_shuffle_f32x4(u[k], u[4 + k], 0x44);
    const __m512 b = _mm512_shuffle_f32x4(u[k], u[4 + k], 0xEE);
    const __m512 c = _mm512_shuffle_f32x4(u[8 + k], u[12 + k], 0x44);
    const __m512 d = _mm512_shuffle_f32x4(u[8 + k], u[12 + k], 0xEE);
    r[k].v = _mm512_shuffle_f32x4(a, c, 0x88);
    r[4 + k].v = _mm512_shuffle_f32x4(a, c, 0xDD);
    r[8 + k].v = _mm512_shuffle_f32x4(b, d, 0x88);
    r[12 + k].v = _mm512_shuffle_f32x4(b, d, 0xDD);
  }
}
[[gnu::always_inline]] inline void transpose(F64* r) noexcept {
  __m512d t[8];
  for (int i = 0; i < 8; i += 2) {
    t[i] = _mm512_unpacklo_pd(r[i].v, r[i + 1].v);
    t[i + 1] = _mm512_unpackhi_pd(r[i].v, r[i + 1].v);
  }
  for (int k = 0; k < 2; ++k) {
    const __m512d a = _mm512_shuffle_f64x2(t[k], t[2 + k], 0x44);
    const __m512d b = _mm512_shuffle_f64x2(t[k], t[2 + k], 0xEE);
    const __m512d c = _mm512_shuffle_f64x2(t[4 + k], t[6 + k], 0x44);
    const __m512d d = _mm512_shuffle_f64x2(t[4 + k], t[6 + k], 0xEE);
    r[k].v = _mm512_shuffle_f64x2(a, c, 0x88);
    r[2 + k].v = _mm512_shuffle_f64x2(a, c, 0xDD);
    r[4 + k].v = _mm512_shuffle_f64x2(b, d, 0x88);
    r[6 + k].v = _mm512_shuffle_f64x2(b, d, 0xDD);
  }
}

}  // namespace
}  // namespace kyv::simd
