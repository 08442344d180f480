// The vector types on AVX-512 (F, BW, VL, DQ): 16 floats, 8 doubles.
//
// For kernel units only. Everything sits in an unnamed namespace, so that no copy compiled for this
// instruction set can be picked by the linker for an older processor.
#pragma once

#include <immintrin.h>

#include <cstddef>
#include <cstdint>

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

}  // namespace
}  // namespace kyv::simd

// Transforms: doubles in and out, square transposition.
namespace kyv::simd {
namespace {

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
// The lower half of the lanes at one place and the upper half at another; a single lane is a lower half.
inline void store_doubles(double* lower, double* upper, F32 a) noexcept {
  _mm512_storeu_pd(lower, _mm512_cvtps_pd(_mm512_castps512_ps256(a.v)));
  _mm512_storeu_pd(upper, _mm512_cvtps_pd(_mm512_extractf32x8_ps(a.v, 1)));
}
inline void store_doubles(double* lower, double* upper, F64 a) noexcept {
  _mm256_storeu_pd(lower, _mm512_castpd512_pd256(a.v));
  _mm256_storeu_pd(upper, _mm512_extractf64x4_pd(a.v, 1));
}
// The same past the caches; p aligned to 64 bytes or to the vector, whichever is less.
inline void stream_doubles(double* p, F32 a) noexcept {
  _mm512_stream_pd(p, _mm512_cvtps_pd(_mm512_castps512_ps256(a.v)));
  _mm512_stream_pd(p + 8, _mm512_cvtps_pd(_mm512_extractf32x8_ps(a.v, 1)));
}
inline void stream_doubles(double* p, F64 a) noexcept { _mm512_stream_pd(p, a.v); }
inline void stream_fence() noexcept { _mm_sfence(); }

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

// Resampling: sums of products with one rounding per tap, and blocks of rows turned into vectors.
namespace kyv::simd {
namespace {

inline constexpr bool kHasFusedMultiplyAdd = true;

// A weight in every lane, a vector of samples, and the running sum of their products.
using Weight = F32;
using Samples = F32;
using Sum = F32;
inline Weight load_weight(const float* p) noexcept { return broadcast(*p); }
inline Samples load_samples(const float* p) noexcept { return load(p); }
// The same for several uses: compilers would rather load it again for each.
inline Samples load_shared_samples(const float* p) noexcept {
  Samples a = load(p);
  asm("" : "+v"(a.v));
  return a;
}
inline Sum zero_sum() noexcept { return {_mm512_setzero_ps()}; }
// sum + w * x with one rounding. With `kSumsAreExact` the caller vouches that every sum fits a double.
template <bool kSumsAreExact>
inline Sum accumulate(Weight w, Samples x, Sum sum) noexcept {
  return mul_add(w, x, sum);
}
// The same for two vectors. The caller vouches that every sum is a multiple of the smallest float.
inline void accumulate_two(Weight w, const Samples* x, Sum* sum) noexcept {
  sum[0] = accumulate<false>(w, x[0], sum[0]);
  sum[1] = accumulate<false>(w, x[1], sum[1]);
}
inline F32 value_of(Sum sum) noexcept { return sum; }

// 32-bit lanes of raw samples. A vector is made of quads (16 bytes); quad q belongs to row 4 * q.
struct Raw {
  __m512i v;
};
inline Raw load_quads(const std::uint8_t* const* rows, std::size_t offset) noexcept {
  const auto quad = [&](int row) noexcept {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(rows[row] + offset));
  };
  __m512i v = _mm512_castsi128_si512(quad(0));
  v = _mm512_mask_broadcast_i32x4(v, 0x00F0, quad(4));
  v = _mm512_mask_broadcast_i32x4(v, 0x0F00, quad(8));
  return {_mm512_mask_broadcast_i32x4(v, 0xF000, quad(12))};
}
// The reverse for kLanes / 4 vectors of floats, which follow each other in the rows.
inline void store_quads(const F32* a, float* const* rows, std::size_t offset) noexcept {
  const __m512 ab_lo = _mm512_shuffle_f32x4(a[0].v, a[1].v, 0x44);
  const __m512 ab_hi = _mm512_shuffle_f32x4(a[0].v, a[1].v, 0xEE);
  const __m512 cd_lo = _mm512_shuffle_f32x4(a[2].v, a[3].v, 0x44);
  const __m512 cd_hi = _mm512_shuffle_f32x4(a[2].v, a[3].v, 0xEE);
  _mm512_storeu_ps(rows[0] + offset, _mm512_shuffle_f32x4(ab_lo, cd_lo, 0x88));
  _mm512_storeu_ps(rows[4] + offset, _mm512_shuffle_f32x4(ab_lo, cd_lo, 0xDD));
  _mm512_storeu_ps(rows[8] + offset, _mm512_shuffle_f32x4(ab_hi, cd_hi, 0x88));
  _mm512_storeu_ps(rows[12] + offset, _mm512_shuffle_f32x4(ab_hi, cd_hi, 0xDD));
}
inline F32 as_floats(Raw a) noexcept { return {_mm512_castsi512_ps(a.v)}; }
inline Raw as_raw(F32 a) noexcept { return {_mm512_castps_si512(a.v)}; }
// Transposes the 4 x 4 matrix that the quads of the same number form.
inline void transpose_quads(F32& a, F32& b, F32& c, F32& d) noexcept {
  const __m512 ab_lo = _mm512_unpacklo_ps(a.v, b.v);
  const __m512 ab_hi = _mm512_unpackhi_ps(a.v, b.v);
  const __m512 cd_lo = _mm512_unpacklo_ps(c.v, d.v);
  const __m512 cd_hi = _mm512_unpackhi_ps(c.v, d.v);
  a.v = _mm512_shuffle_ps(ab_lo, cd_lo, 0x44);
  b.v = _mm512_shuffle_ps(ab_lo, cd_lo, 0xEE);
  c.v = _mm512_shuffle_ps(ab_hi, cd_hi, 0x44);
  d.v = _mm512_shuffle_ps(ab_hi, cd_hi, 0xEE);
}
// Byte or 16-bit field number kField of each 32-bit lane.
template <int kBits, int kField>
inline F32 field_to_float(Raw a) noexcept {
  __m512i v = a.v;
  if constexpr (kField != 0) v = _mm512_srli_epi32(v, kBits * kField);
  if constexpr (kBits * (kField + 1) != 32) v = _mm512_and_si512(v, _mm512_set1_epi32((1 << kBits) - 1));
  return {_mm512_cvtepi32_ps(v)};
}

// Rounds to nearest, ties to even, saturates, and stores 4 vectors as bytes or 2 as 16-bit samples.
inline void store_rounded(std::uint8_t* p, F32 a, F32 b, F32 c, F32 d) noexcept {
  const __m512i ab = _mm512_packs_epi32(_mm512_cvtps_epi32(a.v), _mm512_cvtps_epi32(b.v));
  const __m512i cd = _mm512_packs_epi32(_mm512_cvtps_epi32(c.v), _mm512_cvtps_epi32(d.v));
  const __m512i order = _mm512_setr_epi32(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15);
  _mm512_storeu_si512(p, _mm512_permutexvar_epi32(order, _mm512_packus_epi16(ab, cd)));
}
inline void store_rounded(std::uint8_t* p, F32 a, F32 b) noexcept {
  const __m512i ab = _mm512_packus_epi32(_mm512_cvtps_epi32(a.v), _mm512_cvtps_epi32(b.v));
  const __m512i order = _mm512_setr_epi64(0, 2, 4, 6, 1, 3, 5, 7);
  _mm512_storeu_si512(p, _mm512_permutexvar_epi64(order, ab));
}

inline F64 operator/(F64 a, F64 b) noexcept { return {_mm512_div_pd(a.v, b.v)}; }
inline F64 absolute(F64 a) noexcept { return {_mm512_abs_pd(a.v)}; }
// a < b ? x : y, lane by lane.
inline F64 select_less(F64 a, F64 b, F64 x, F64 y) noexcept {
  return {_mm512_mask_blend_pd(_mm512_cmp_pd_mask(a.v, b.v, _CMP_LT_OQ), y.v, x.v)};
}
inline F64 lane_numbers() noexcept { return {_mm512_setr_pd(0, 1, 2, 3, 4, 5, 6, 7)}; }

}  // namespace
}  // namespace kyv::simd

// Nearest neighbour: bytes by their place in a window of memory.
namespace kyv::simd {
namespace {

// Four lanes of 16 bytes, each from `kWindows` * 16 bytes at src + bases[lane].
struct QuadPicker {
  static constexpr int kLanes = 4;
  static constexpr int kLaneBytes = 16;

  template <int kWindows>
  static void pick(const std::uint8_t* src, const std::size_t* bases, const std::uint8_t* indices,
                   std::uint8_t* dst) noexcept {
    const __m512i index = _mm512_loadu_si512(indices);
    const auto quad = [&](int lane, int window) noexcept {
      return _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + bases[lane] + window * kLaneBytes));
    };
    __m512i picked = _mm512_setzero_si512();
    for (int window = 0; window < kWindows; ++window) {
      __m512i from = _mm512_castsi128_si512(quad(0, window));
      from = _mm512_mask_broadcast_i32x4(from, 0x00F0, quad(1, window));
      from = _mm512_mask_broadcast_i32x4(from, 0x0F00, quad(2, window));
      from = _mm512_mask_broadcast_i32x4(from, 0xF000, quad(3, window));
      // Places outside this window get a set top bit, which picks 0.
      const __m512i place =
          _mm512_adds_epu8(_mm512_sub_epi8(index, _mm512_set1_epi8(static_cast<char>(window * kLaneBytes))),
                           _mm512_set1_epi8(0x70));
      picked = _mm512_or_si512(picked, _mm512_shuffle_epi8(from, kWindows == 1 ? index : place));
    }
    _mm512_storeu_si512(dst, picked);
  }
};

}  // namespace
}  // namespace kyv::simd

// Resampling: lanes picked from a window of a row's samples.
namespace kyv::simd {
namespace {

struct NarrowWindow {
  __m512i v;
};
struct WideWindow {
  __m512i low;
  __m512i high;
};

// A number in each 32-bit lane.
struct Lanes {
  __m512i v;
};

// 16 lanes.
using LaneFloats = F32;
inline LaneFloats zero_lane_floats() noexcept { return broadcast(0.0f); }
inline LaneFloats load_lane_floats(const float* p) noexcept { return load(p); }
inline void store_lane_floats(float* p, LaneFloats a) noexcept { store(p, a); }

inline NarrowWindow load_narrow(const std::uint8_t* p) noexcept { return {_mm512_loadu_si512(p)}; }
inline WideWindow load_wide(const std::uint8_t* p) noexcept {
  return {_mm512_loadu_si512(p), _mm512_loadu_si512(p + 64)};
}
inline Lanes load_lanes(const float* p) noexcept { return {_mm512_loadu_si512(p)}; }
inline Lanes broadcast_lanes(std::int32_t n) noexcept { return {_mm512_set1_epi32(n)}; }
inline Lanes advance(Lanes a, Lanes step) noexcept { return {_mm512_add_epi32(a.v, step.v)}; }
// The 16-bit samples number index[i] of the window.
inline F32 pick_words(NarrowWindow window, Lanes index) noexcept {
  return {_mm512_cvtepi32_ps(_mm512_maskz_permutexvar_epi16(0x55555555, index.v, window.v))};
}
inline F32 pick_words(WideWindow window, Lanes index) noexcept {
  return {_mm512_cvtepi32_ps(_mm512_maskz_permutex2var_epi16(0x55555555, window.low, index.v, window.high))};
}
// Pixels alternately of a and of b: 32 floats by number, from 16 on of b.
inline void store_interleaved(float* p, F32 a, F32 b, const float* numbers, std::int32_t) noexcept {
  const __m512i first = _mm512_loadu_si512(numbers);
  const __m512i second = _mm512_loadu_si512(numbers + 16);
  _mm512_storeu_ps(p, _mm512_permutex2var_ps(a.v, first, b.v));
  _mm512_storeu_ps(p + 16, _mm512_permutex2var_ps(a.v, second, b.v));
}

}  // namespace
}  // namespace kyv::simd

// Resampling: pixels of four channels, a quad of floats each.
namespace kyv::simd {
namespace {

// Pixel number kPixel of each quad of 8-bit or 16-bit samples.
template <int kBits, int kPixel>
inline F32 pixel_to_float(Raw a) noexcept {
  if constexpr (kBits == 8) {
    const __m128i quad = _mm_add_epi32(_mm_setr_epi32(0, 1, 2, 3), _mm_set1_epi32(4 * kPixel - 0x7F7F8000));
    return {_mm512_cvtepi32_ps(_mm512_shuffle_epi8(a.v, _mm512_broadcast_i32x4(quad)))};
  } else {
    const __m512i zero = _mm512_setzero_si512();
    return {_mm512_cvtepi32_ps(kPixel == 0 ? _mm512_unpacklo_epi16(a.v, zero)
                                           : _mm512_unpackhi_epi16(a.v, zero))};
  }
}

}  // namespace
}  // namespace kyv::simd
