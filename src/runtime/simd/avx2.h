// The vector types on AVX2 and FMA: 8 floats, 4 doubles.
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
  __m256 v;
  static constexpr int kLanes = 8;
};

struct F64 {
  __m256d v;
  static constexpr int kLanes = 4;
};

inline constexpr int kVectorBytes = 32;
inline constexpr int kRegisters = runtime::kFewRegisters ? 8 : 16;
inline constexpr bool kHasFusedMultiplyAdd = true;

inline F32 load(const float* p) noexcept { return {_mm256_loadu_ps(p)}; }
inline void store(float* p, F32 a) noexcept { _mm256_storeu_ps(p, a.v); }
inline void store_aligned(float* p, F32 a) noexcept { _mm256_store_ps(p, a.v); }
inline void store_streaming(float* p, F32 a) noexcept { _mm256_stream_ps(p, a.v); }
inline F32 broadcast(float a) noexcept { return {_mm256_set1_ps(a)}; }
inline F32 operator+(F32 a, F32 b) noexcept { return {_mm256_add_ps(a.v, b.v)}; }
inline F32 operator-(F32 a, F32 b) noexcept { return {_mm256_sub_ps(a.v, b.v)}; }
inline F32 operator*(F32 a, F32 b) noexcept { return {_mm256_mul_ps(a.v, b.v)}; }
// a*b + c, c - a*b and a*b - c, one rounding.
inline F32 mul_add(F32 a, F32 b, F32 c) noexcept { return {_mm256_fmadd_ps(a.v, b.v, c.v)}; }
inline F32 mul_sub_from(F32 a, F32 b, F32 c) noexcept { return {_mm256_fnmadd_ps(a.v, b.v, c.v)}; }
inline F32 mul_sub(F32 a, F32 b, F32 c) noexcept { return {_mm256_fmsub_ps(a.v, b.v, c.v)}; }

inline F64 load(const double* p) noexcept { return {_mm256_loadu_pd(p)}; }
inline void store(double* p, F64 a) noexcept { _mm256_storeu_pd(p, a.v); }
inline void store_aligned(double* p, F64 a) noexcept { _mm256_store_pd(p, a.v); }
inline void store_streaming(double* p, F64 a) noexcept { _mm256_stream_pd(p, a.v); }
inline F64 broadcast(double a) noexcept { return {_mm256_set1_pd(a)}; }
inline F64 operator+(F64 a, F64 b) noexcept { return {_mm256_add_pd(a.v, b.v)}; }
inline F64 operator-(F64 a, F64 b) noexcept { return {_mm256_sub_pd(a.v, b.v)}; }
inline F64 operator*(F64 a, F64 b) noexcept { return {_mm256_mul_pd(a.v, b.v)}; }
// a*b + c, c - a*b and a*b - c, one rounding.
inline F64 mul_add(F64 a, F64 b, F64 c) noexcept { return {_mm256_fmadd_pd(a.v, b.v, c.v)}; }
inline F64 mul_sub_from(F64 a, F64 b, F64 c) noexcept { return {_mm256_fnmadd_pd(a.v, b.v, c.v)}; }
inline F64 mul_sub(F64 a, F64 b, F64 c) noexcept { return {_mm256_fmsub_pd(a.v, b.v, c.v)}; }

// kLanes doubles rounded to the lane type, and lanes widened to doubles.
inline void load_doubles(F32& a, const double* p) noexcept {
  const __m128 low = _mm256_cvtpd_ps(_mm256_loadu_pd(p));
  const __m128 high = _mm256_cvtpd_ps(_mm256_loadu_pd(p + 4));
  a.v = _mm256_insertf128_ps(_mm256_castps128_ps256(low), high, 1);
}
inline void load_doubles(F64& a, const double* p) noexcept { a.v = _mm256_loadu_pd(p); }
inline void store_doubles(double* p, F32 a) noexcept {
  _mm256_storeu_pd(p, _mm256_cvtps_pd(_mm256_castps256_ps128(a.v)));
  _mm256_storeu_pd(p + 4, _mm256_cvtps_pd(_mm256_extractf128_ps(a.v, 1)));
}
inline void store_doubles(double* p, F64 a) noexcept { _mm256_storeu_pd(p, a.v); }
// Keeps a loaded vector in its register: the compiler would rather load it again for each use.
[[gnu::always_inline]] inline void keep_loaded(F32& a) noexcept { asm("" : "+x"(a.v)); }
[[gnu::always_inline]] inline void keep_loaded(F64& a) noexcept { asm("" : "+x"(a.v)); }
// The same past the caches; p aligned to 64 bytes or to the vector, whichever is less.
inline void stream_doubles(double* p, F32 a) noexcept {
  _mm256_stream_pd(p, _mm256_cvtps_pd(_mm256_castps256_ps128(a.v)));
  _mm256_stream_pd(p + 4, _mm256_cvtps_pd(_mm256_extractf128_ps(a.v, 1)));
}
inline void stream_doubles(double* p, F64 a) noexcept { _mm256_stream_pd(p, a.v); }
inline void stream_fence() noexcept { _mm_sfence(); }

// The lanes in reverse order.
inline F32 reverse(F32 a) noexcept {
  return {_mm256_permute_ps(_mm256_permute2f128_ps(a.v, a.v, 0x01), 0x1B)};
}
inline F64 reverse(F64 a) noexcept { return {_mm256_permute4x64_pd(a.v, 0x1B)}; }
// Lane 0 of `next`, then lanes kLanes - 1 to 1 of a.
inline F32 mirror(F32 a, F32 next) noexcept {
  const __m256i order = _mm256_setr_epi32(0, 7, 6, 5, 4, 3, 2, 1);
  return {_mm256_permutevar8x32_ps(_mm256_blend_ps(a.v, next.v, 0x01), order)};
}
inline F64 mirror(F64 a, F64 next) noexcept {
  return {_mm256_permute4x64_pd(_mm256_blend_pd(a.v, next.v, 0x1), 0x6C)};
}
// The upper half of a and the lower half of b change places.
inline void exchange_halves(F32& a, F32& b) noexcept {
  const __m256 lower = _mm256_permute2f128_ps(a.v, b.v, 0x20);
  b.v = _mm256_permute2f128_ps(a.v, b.v, 0x31);
  a.v = lower;
}
inline void exchange_halves(F64& a, F64& b) noexcept {
  const __m256d lower = _mm256_permute2f128_pd(a.v, b.v, 0x20);
  b.v = _mm256_permute2f128_pd(a.v, b.v, 0x31);
  a.v = lower;
}
// The bits of both: zeros, of whatever sign, where both are.
inline F64 operator|(F64 a, F64 b) noexcept { return {_mm256_or_pd(a.v, b.v)}; }
// Whether every lane is a zero of either sign.
inline bool all_zero(F64 a) noexcept {
  return _mm256_movemask_pd(_mm256_cmp_pd(a.v, _mm256_setzero_pd(), _CMP_EQ_OQ)) == 0xF;
}

// Row i, lane j of kLanes rows becomes row j, lane i.
[[gnu::always_inline]] inline void transpose(F32* r) noexcept {
  __m256 pairs[8];
  for (int i = 0; i < 8; i += 2) {
    pairs[i] = _mm256_unpacklo_ps(r[i].v, r[i + 1].v);
    pairs[i + 1] = _mm256_unpackhi_ps(r[i].v, r[i + 1].v);
  }
  __m256 quads[8];
  for (int i = 0; i < 8; i += 4) {
    quads[i] = _mm256_shuffle_ps(pairs[i], pairs[i + 2], 0x44);
    quads[i + 1] = _mm256_shuffle_ps(pairs[i], pairs[i + 2], 0xEE);
    quads[i + 2] = _mm256_shuffle_ps(pairs[i + 1], pairs[i + 3], 0x44);
    quads[i + 3] = _mm256_shuffle_ps(pairs[i + 1], pairs[i + 3], 0xEE);
  }
  for (int i = 0; i < 4; ++i) {
    r[i].v = _mm256_permute2f128_ps(quads[i], quads[i + 4], 0x20);
    r[i + 4].v = _mm256_permute2f128_ps(quads[i], quads[i + 4], 0x31);
  }
}
[[gnu::always_inline]] inline void transpose(F64* r) noexcept {
  const __m256d a = _mm256_unpacklo_pd(r[0].v, r[1].v);
  const __m256d b = _mm256_unpackhi_pd(r[0].v, r[1].v);
  const __m256d c = _mm256_unpacklo_pd(r[2].v, r[3].v);
  const __m256d d = _mm256_unpackhi_pd(r[2].v, r[3].v);
  r[0].v = _mm256_permute2f128_pd(a, c, 0x20);
  r[1].v = _mm256_permute2f128_pd(b, d, 0x20);
  r[2].v = _mm256_permute2f128_pd(a, c, 0x31);
  r[3].v = _mm256_permute2f128_pd(b, d, 0x31);
}

}  // namespace
}  // namespace kyv::simd
