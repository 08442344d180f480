// What only resizing needs of AVX2 with FMA: see simd.md.
//
// For kernel units only, in an unnamed namespace like the vector types.
#pragma once

#include "runtime/simd/avx2.h"

#include "resize/kernels/fused_sums.h"

#include <cstddef>
#include <cstdint>

// Resampling: blocks of rows turned into vectors.
namespace kyv::simd {
namespace {

// 32-bit lanes of raw samples. A vector is made of quads (16 bytes); quad q belongs to row 4 * q.
struct Raw {
  __m256i v;
};
inline Raw load_quads(const std::uint8_t* const* rows, std::ptrdiff_t offset) noexcept {
  const auto quad = [&](int row) noexcept {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(rows[row] + offset));
  };
  return {_mm256_inserti128_si256(_mm256_castsi128_si256(quad(0)), quad(4), 1)};
}
inline Raw load_raw(const std::uint8_t* p) noexcept {
  return {_mm256_loadu_si256(reinterpret_cast<const __m256i*>(p))};
}
inline void store_raw(std::uint8_t* p, Raw a) noexcept {
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), a.v);
}
// The reverse for kLanes / 4 vectors of floats, which follow each other in the rows.
inline void store_quads(const F32* a, float* const* rows, std::ptrdiff_t offset) noexcept {
  _mm256_storeu_ps(rows[0] + offset, _mm256_permute2f128_ps(a[0].v, a[1].v, 0x20));
  _mm256_storeu_ps(rows[4] + offset, _mm256_permute2f128_ps(a[0].v, a[1].v, 0x31));
}
inline F32 as_floats(Raw a) noexcept { return {_mm256_castsi256_ps(a.v)}; }
inline Raw as_raw(F32 a) noexcept { return {_mm256_castps_si256(a.v)}; }
// Transposes the 4 x 4 matrix that the quads of the same number form.
inline void transpose_quads(F32& a, F32& b, F32& c, F32& d) noexcept {
  const __m256 ab_lo = _mm256_unpacklo_ps(a.v, b.v);
  const __m256 ab_hi = _mm256_unpackhi_ps(a.v, b.v);
  const __m256 cd_lo = _mm256_unpacklo_ps(c.v, d.v);
  const __m256 cd_hi = _mm256_unpackhi_ps(c.v, d.v);
  a.v = _mm256_shuffle_ps(ab_lo, cd_lo, 0x44);
  b.v = _mm256_shuffle_ps(ab_lo, cd_lo, 0xEE);
  c.v = _mm256_shuffle_ps(ab_hi, cd_hi, 0x44);
  d.v = _mm256_shuffle_ps(ab_hi, cd_hi, 0xEE);
}
// Byte or 16-bit field number kField of each 32-bit lane.
template <int kBits, int kField>
inline F32 field_to_float(Raw a) noexcept {
  __m256i v = a.v;
  if constexpr (kField != 0) v = _mm256_srli_epi32(v, kBits * kField);
  if constexpr (kBits * (kField + 1) != 32) v = _mm256_and_si256(v, _mm256_set1_epi32((1 << kBits) - 1));
  return {_mm256_cvtepi32_ps(v)};
}

// Rounds to nearest, ties to even, saturates, and stores 4 vectors as bytes or 2 as 16-bit samples.
inline void store_rounded(std::uint8_t* p, F32 a, F32 b, F32 c, F32 d) noexcept {
  const __m256i ab = _mm256_packs_epi32(_mm256_cvtps_epi32(a.v), _mm256_cvtps_epi32(b.v));
  const __m256i cd = _mm256_packs_epi32(_mm256_cvtps_epi32(c.v), _mm256_cvtps_epi32(d.v));
  const __m256i order = _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7);
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(p),
                      _mm256_permutevar8x32_epi32(_mm256_packus_epi16(ab, cd), order));
}
inline void store_rounded(std::uint8_t* p, F32 a, F32 b) noexcept {
  const __m256i ab = _mm256_packus_epi32(_mm256_cvtps_epi32(a.v), _mm256_cvtps_epi32(b.v));
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), _mm256_permute4x64_epi64(ab, 0xD8));
}

inline F64 operator/(F64 a, F64 b) noexcept { return {_mm256_div_pd(a.v, b.v)}; }
inline F64 absolute(F64 a) noexcept { return {_mm256_andnot_pd(_mm256_set1_pd(-0.0), a.v)}; }
// a < b ? x : y, lane by lane.
inline F64 select_less(F64 a, F64 b, F64 x, F64 y) noexcept {
  return {_mm256_blendv_pd(y.v, x.v, _mm256_cmp_pd(a.v, b.v, _CMP_LT_OQ))};
}
inline F64 lane_numbers() noexcept { return {_mm256_setr_pd(0, 1, 2, 3)}; }

}  // namespace
}  // namespace kyv::simd

// Nearest neighbour: bytes by their place in a window of memory.
namespace kyv::simd {
namespace {

// Two lanes of 16 bytes, each from `kWindows` * 16 bytes at src + bases[lane].
struct QuadPicker {
  static constexpr int kLanes = 2;
  static constexpr int kLaneBytes = 16;

  template <int kWindows>
  static void pick(const std::uint8_t* src, const std::ptrdiff_t* bases, const std::uint8_t* indices,
                   std::uint8_t* dst) noexcept {
    const __m256i index = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(indices));
    const auto quad = [&](int lane, int window) noexcept {
      return _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + bases[lane] + window * kLaneBytes));
    };
    __m256i picked = _mm256_setzero_si256();
    for (int window = 0; window < kWindows; ++window) {
      const __m256i from =
          _mm256_inserti128_si256(_mm256_castsi128_si256(quad(0, window)), quad(1, window), 1);
      // Places outside this window get a set top bit, which picks 0.
      const __m256i place =
          _mm256_adds_epu8(_mm256_sub_epi8(index, _mm256_set1_epi8(static_cast<char>(window * kLaneBytes))),
                           _mm256_set1_epi8(0x70));
      picked = _mm256_or_si256(picked, _mm256_shuffle_epi8(from, kWindows == 1 ? index : place));
    }
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(dst), picked);
  }
};

}  // namespace
}  // namespace kyv::simd

// Resampling: lanes picked from windows of a row's samples.
namespace kyv::simd {
namespace {

// 16 lanes, and a number in each of 16.
struct LaneFloats {
  __m256 low;
  __m256 high;
};
struct Lanes {
  __m256i low;
  __m256i high;
};

inline LaneFloats zero_lane_floats() noexcept { return {_mm256_setzero_ps(), _mm256_setzero_ps()}; }
inline LaneFloats load_lane_floats(const float* p) noexcept {
  return {_mm256_loadu_ps(p), _mm256_loadu_ps(p + 8)};
}
inline void store_lane_floats(float* p, LaneFloats a) noexcept {
  _mm256_storeu_ps(p, a.low);
  _mm256_storeu_ps(p + 8, a.high);
}
inline LaneFloats mul_add(LaneFloats a, LaneFloats b, LaneFloats c) noexcept {
  return {_mm256_fmadd_ps(a.low, b.low, c.low), _mm256_fmadd_ps(a.high, b.high, c.high)};
}
inline Lanes load_lanes(const std::uint32_t* p) noexcept {
  return {_mm256_loadu_si256(reinterpret_cast<const __m256i*>(p)),
          _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p + 8))};
}
inline Lanes broadcast_lanes(std::int32_t n) noexcept { return {_mm256_set1_epi32(n), _mm256_set1_epi32(n)}; }
inline Lanes advance(Lanes a, Lanes step) noexcept {
  return {_mm256_add_epi32(a.low, step.low), _mm256_add_epi32(a.high, step.high)};
}

// 16 bytes for each four lanes.
struct QuarterWindows {
  __m256i low;
  __m256i high;
};
// Those at p + at[0..3].
inline void load_window(QuarterWindows& windows, const std::uint8_t* p, const std::int32_t* at) noexcept {
  const auto quarter = [&](int i) noexcept {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + at[i]));
  };
  windows = {_mm256_inserti128_si256(_mm256_castsi128_si256(quarter(0)), quarter(1), 1),
             _mm256_inserti128_si256(_mm256_castsi128_si256(quarter(2)), quarter(3), 1)};
}
// The samples whose bytes the codes number, as floats. A byte shuffle makes each 32-bit lane of four bytes'
// places; a set top bit makes a byte 0: sample n of 8 bits has the code 0x80808000 + n, that of 16 bits
// 0x80800100 + 0x0202 * n.
template <int kBits>
inline LaneFloats pick_samples(QuarterWindows windows, Lanes codes) noexcept {
  return {_mm256_cvtepi32_ps(_mm256_shuffle_epi8(windows.low, codes.low)),
          _mm256_cvtepi32_ps(_mm256_shuffle_epi8(windows.high, codes.high))};
}
// Pixels of `channels` floats, alternately of a and of b: 32 floats by number, from 16 on of b, whose sign
// bits tell so, too. The eight results of every output lie within the eight lanes from 0, 4, 8 and 8 of a,
// and from 0, 0, 4 and 8 of b; lane n of them has place n modulo 8, by which a permutation takes it.
inline void store_interleaved(float* p, LaneFloats a, LaneFloats b, const std::int32_t* numbers,
                              std::int32_t channels) noexcept {
  const auto store_quads = [](float* to, __m256 even, __m256 odd) noexcept {
    _mm256_storeu_ps(to, _mm256_permute2f128_ps(even, odd, 0x20));
    _mm256_storeu_ps(to + 8, _mm256_permute2f128_ps(even, odd, 0x31));
  };
  if (channels == 4) {
    store_quads(p, a.low, b.low);
    store_quads(p + 16, a.high, b.high);
    return;
  }
  if (channels == 1) {
    store_quads(p, _mm256_unpacklo_ps(a.low, b.low), _mm256_unpackhi_ps(a.low, b.low));
    store_quads(p + 16, _mm256_unpacklo_ps(a.high, b.high), _mm256_unpackhi_ps(a.high, b.high));
    return;
  }
  const auto output = [&](int i, __m256 from_a, __m256 from_b) noexcept {
    const __m256i number = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(numbers + 8 * i));
    const __m256 x = _mm256_permutevar8x32_ps(from_a, number);
    const __m256 y = _mm256_permutevar8x32_ps(from_b, number);
    _mm256_storeu_ps(p + 8 * i, _mm256_blendv_ps(x, y, _mm256_castsi256_ps(number)));
  };
  output(0, a.low, b.low);
  output(1, _mm256_blend_ps(a.low, a.high, 0x0F), b.low);
  output(2, a.high, _mm256_blend_ps(b.low, b.high, 0x0F));
  output(3, a.high, b.high);
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
    return {_mm256_cvtepi32_ps(_mm256_shuffle_epi8(a.v, _mm256_broadcastsi128_si256(quad)))};
  } else {
    const __m256i zero = _mm256_setzero_si256();
    return {_mm256_cvtepi32_ps(kPixel == 0 ? _mm256_unpacklo_epi16(a.v, zero)
                                           : _mm256_unpackhi_epi16(a.v, zero))};
  }
}

}  // namespace
}  // namespace kyv::simd

// Resampling: a pixel of several rows, a quad of floats each.
namespace kyv::simd {
namespace {

// 16 bytes of a row and of the fourth row after it.
inline Raw load_quads(const std::uint8_t* p, std::ptrdiff_t step) noexcept {
  const auto quad = [](const std::uint8_t* from) noexcept {
    return _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
  };
  return {_mm256_inserti128_si256(_mm256_castsi128_si256(quad(p)), quad(p + 4 * step), 1)};
}
// For every byte of a quad of 32-bit numbers its place in 16 bytes, or 0x80 for zero.
struct QuadPlaces {
  __m256i v;
};
inline QuadPlaces load_places(const std::uint8_t* p) noexcept {
  return {_mm256_broadcastsi128_si256(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)))};
}
inline F32 quads_to_float(Raw a, QuadPlaces places) noexcept {
  return {_mm256_cvtepi32_ps(_mm256_shuffle_epi8(a.v, places.v))};
}
// Quad q to row 4 * q.
inline void store_pixel(F32 a, float* const* rows, std::ptrdiff_t offset) noexcept {
  _mm_storeu_ps(rows[0] + offset, _mm256_castps256_ps128(a.v));
  _mm_storeu_ps(rows[4] + offset, _mm256_extractf128_ps(a.v, 1));
}

}  // namespace
}  // namespace kyv::simd

// Sums of whole numbers: vectors of 16-bit words, and of 32 bits.
namespace kyv::simd {
namespace {

using Words = std::uint16_t __attribute__((vector_size(32)));
// Of as many bytes.
inline Words load_words(const std::uint8_t* p) noexcept {
  return reinterpret_cast<Words>(_mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p))));
}
using Longs = std::uint32_t __attribute__((vector_size(32)));
// Of as many words.
inline Longs load_longs(const std::uint8_t* p) noexcept {
  return reinterpret_cast<Longs>(_mm256_cvtepu16_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p))));
}
// (a * parts[0] + b * parts[1]) / 2^15, rounded to nearest, for what is less than 2^15.
inline Words sum_parts(Words a, Words b, const std::uint16_t* parts) noexcept {
  const auto words_a = reinterpret_cast<__m256i>(a);
  const auto words_b = reinterpret_cast<__m256i>(b);
  const __m256i factors = _mm256_set1_epi32(static_cast<int>(parts[0] | std::uint32_t{parts[1]} << 16));
  const __m256i half = _mm256_set1_epi32(1 << 14);
  const __m256i low = _mm256_madd_epi16(_mm256_unpacklo_epi16(words_a, words_b), factors);
  const __m256i high = _mm256_madd_epi16(_mm256_unpackhi_epi16(words_a, words_b), factors);
  return reinterpret_cast<Words>(_mm256_packs_epi32(_mm256_srai_epi32(_mm256_add_epi32(low, half), 15),
                                                    _mm256_srai_epi32(_mm256_add_epi32(high, half), 15)));
}
// A bit for each lane.
inline std::uint32_t lanes_less(F32 a, F32 b) noexcept {
  return static_cast<std::uint32_t>(_mm256_movemask_ps(_mm256_cmp_ps(a.v, b.v, _CMP_LT_OQ)));
}

}  // namespace
}  // namespace kyv::simd
