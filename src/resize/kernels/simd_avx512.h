// What only resizing needs of AVX-512 (F, BW, VL, DQ): see simd.md.
//
// For kernel units only, in an unnamed namespace like the vector types.
#pragma once

#include "runtime/simd/avx512.h"

#include "resize/kernels/fused_sums.h"

#include <cstddef>
#include <cstdint>

// Resampling: blocks of rows turned into vectors.
namespace kyv::simd {
namespace {

// 32-bit lanes of raw samples. A vector is made of quads (16 bytes); quad q belongs to row 4 * q.
struct Raw {
  __m512i v;
};
namespace detail {
inline Raw quads_of(const std::uint8_t* a, const std::uint8_t* b, const std::uint8_t* c,
                    const std::uint8_t* d) noexcept {
  const auto quad = [](const std::uint8_t* p) noexcept {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
  };
  const __m256i ab = _mm256_inserti128_si256(_mm256_castsi128_si256(quad(a)), quad(b), 1);
  const __m256i cd = _mm256_inserti128_si256(_mm256_castsi128_si256(quad(c)), quad(d), 1);
  return {_mm512_inserti64x4(_mm512_castsi256_si512(ab), cd, 1)};
}
}  // namespace detail
inline Raw load_quads(const std::uint8_t* const* rows, std::ptrdiff_t offset) noexcept {
  return detail::quads_of(rows[0] + offset, rows[4] + offset, rows[8] + offset, rows[12] + offset);
}
// The same of places of one row, in bytes.
inline Raw load_quads_at(const std::uint8_t* p, const std::int32_t* places) noexcept {
  return detail::quads_of(p + places[0], p + places[4], p + places[8], p + places[12]);
}
inline Raw load_raw(const std::uint8_t* p) noexcept { return {_mm512_loadu_si512(p)}; }
inline void store_raw(std::uint8_t* p, Raw a) noexcept { _mm512_storeu_si512(p, a.v); }
// The reverse for kLanes / 4 vectors of floats, which follow each other in the rows.
inline void store_quads(const F32* a, float* const* rows, std::ptrdiff_t offset) noexcept {
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
  static void pick(const std::uint8_t* src, const std::ptrdiff_t* bases, const std::uint8_t* indices,
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

inline void load_window(NarrowWindow& window, const std::uint8_t* p, const std::int32_t*) noexcept {
  window.v = _mm512_loadu_si512(p);
}
inline void load_window(WideWindow& window, const std::uint8_t* p, const std::int32_t*) noexcept {
  window = {_mm512_loadu_si512(p), _mm512_loadu_si512(p + 64)};
}
inline Lanes load_lanes(const std::uint32_t* p) noexcept { return {_mm512_loadu_si512(p)}; }
inline Lanes broadcast_lanes(std::int32_t n) noexcept { return {_mm512_set1_epi32(n)}; }
inline Lanes advance(Lanes a, Lanes step) noexcept { return {_mm512_add_epi32(a.v, step.v)}; }
// The samples of kBits bits number codes[i] of the window.
template <int kBits>
requires(kBits == 16) inline LaneFloats pick_samples(NarrowWindow window, Lanes codes) noexcept {
  return {_mm512_cvtepi32_ps(_mm512_maskz_permutexvar_epi16(0x55555555, codes.v, window.v))};
}
template <int kBits>
requires(kBits == 16) inline LaneFloats pick_samples(WideWindow window, Lanes codes) noexcept {
  return {_mm512_cvtepi32_ps(_mm512_maskz_permutex2var_epi16(0x55555555, window.low, codes.v, window.high))};
}
// Pixels alternately of a and of b: 32 floats by number, from 16 on of b.
inline void store_interleaved(float* p, F32 a, F32 b, const std::int32_t* numbers, std::int32_t) noexcept {
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

// For every byte of a quad of 32-bit numbers its place in 16 bytes, or 0x80 for zero.
struct QuadPlaces {
  __m512i v;
};
inline QuadPlaces load_places(const std::uint8_t* p) noexcept {
  return {_mm512_broadcast_i32x4(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)))};
}
inline F32 quads_to_float(Raw a, QuadPlaces places) noexcept {
  return {_mm512_cvtepi32_ps(_mm512_shuffle_epi8(a.v, places.v))};
}

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

// Sums of whole numbers: vectors of 16-bit words, and of 32 bits.
namespace kyv::simd {
namespace {

using Words = std::uint16_t __attribute__((vector_size(64)));
// Of as many bytes.
inline Words load_words(const std::uint8_t* p) noexcept {
  const __m256i bytes = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
  return reinterpret_cast<Words>(_mm512_cvtepu8_epi16(bytes));
}
using Longs = std::uint32_t __attribute__((vector_size(64)));
// Of as many words.
inline Longs load_longs(const std::uint8_t* p) noexcept {
  const __m256i words = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p));
  return reinterpret_cast<Longs>(_mm512_cvtepu16_epi32(words));
}
// (a * parts[0] + b * parts[1]) / 2^15, rounded to nearest, for what is less than 2^15.
inline Words sum_parts(Words a, Words b, const std::uint16_t* parts) noexcept {
  const auto words_a = reinterpret_cast<__m512i>(a);
  const auto words_b = reinterpret_cast<__m512i>(b);
  const __m512i factors = _mm512_set1_epi32(static_cast<int>(parts[0] | std::uint32_t{parts[1]} << 16));
  const __m512i half = _mm512_set1_epi32(1 << 14);
  const __m512i low = _mm512_madd_epi16(_mm512_unpacklo_epi16(words_a, words_b), factors);
  const __m512i high = _mm512_madd_epi16(_mm512_unpackhi_epi16(words_a, words_b), factors);
  return reinterpret_cast<Words>(_mm512_packs_epi32(_mm512_srai_epi32(_mm512_add_epi32(low, half), 15),
                                                    _mm512_srai_epi32(_mm512_add_epi32(high, half), 15)));
}
// A bit for each lane.
inline std::uint32_t lanes_less(F32 a, F32 b) noexcept { return _mm512_cmp_ps_mask(a.v, b.v, _CMP_LT_OQ); }

}  // namespace
}  // namespace kyv::simd
