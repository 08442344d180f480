// What only resizing needs of SSE2: see simd.md.
//
// For kernel units only, in an unnamed namespace like the vector types.
#pragma once

#include "runtime/simd/sse2.h"

#include <cstddef>
#include <cstdint>

// Resampling: sums of products with one rounding per tap, and blocks of rows turned into vectors.
namespace kyv::simd {
namespace {

// A weight in every lane, a vector of samples, and the running sum of their products: all floats, kept as
// doubles, in which their products are exact.
struct Weight {
  __m128d v;
};
struct Samples {
  __m128d lo, hi;
};
using Sum = Samples;
inline Weight load_weight(const float* p) noexcept {
  const __m128d w = _mm_cvtss_sd(_mm_setzero_pd(), _mm_load_ss(p));
  return {_mm_unpacklo_pd(w, w)};
}
inline Samples load_samples(const float* p) noexcept {
  // Compilers load the two floats on their own first.
  const auto two = [](const float* q) noexcept {
    __m128d v;
    asm("cvtps2pd %1, %0" : "=x"(v) : "m"(*reinterpret_cast<const float(*)[2]>(q)));
    return v;
  };
  return {two(p), two(p + 2)};
}
inline Samples load_shared_samples(const float* p) noexcept { return load_samples(p); }
inline Sum zero_sum() noexcept { return {_mm_setzero_pd(), _mm_setzero_pd()}; }

namespace detail {

// a + b rounded to odd: where the sum is inexact, the neighbouring double with the odd last bit. Rounding
// that to float gives the correctly rounded sum (S. Boldo and G. Melquiond, Emulation of a FMA and correctly
// rounded sums, IEEE Trans. Computers 57, 2008). The error term is Knuth's.
inline __m128d add_to_odd(__m128d a, __m128d b) noexcept {
  const __m128d sum = _mm_add_pd(a, b);
  const __m128d b_part = _mm_sub_pd(sum, a);
  const __m128d error = _mm_add_pd(_mm_sub_pd(a, _mm_sub_pd(sum, b_part)), _mm_sub_pd(b, b_part));
  const __m128i inexact = _mm_srli_epi64(_mm_castpd_si128(_mm_cmpneq_pd(error, _mm_setzero_pd())), 63);
  const __m128i opposite = _mm_srli_epi64(_mm_castpd_si128(_mm_xor_pd(error, sum)), 63);
  const __m128i truncated = _mm_sub_epi64(_mm_castpd_si128(sum), _mm_and_si128(inexact, opposite));
  return _mm_castsi128_pd(_mm_or_si128(truncated, inexact));
}

inline __m128d round_to_float(__m128d a) noexcept { return _mm_cvtps_pd(_mm_cvtpd_ps(a)); }

// The same for doubles that are not half-way between two floats, nor below the normal ones.
inline __m128d round_to_bits(__m128d a) noexcept {
  const __m128i half = _mm_set1_epi64x(0x10000000);
  const __m128i kept = _mm_set1_epi64x(-0x20000000);
  return _mm_castsi128_pd(_mm_and_si128(_mm_add_epi64(_mm_castpd_si128(a), half), kept));
}
inline Sum round_to_bits(Sum sum) noexcept { return {round_to_bits(sum.lo), round_to_bits(sum.hi)}; }

// Lanes of doubles half-way between two floats: what an inexact sum has lost decides between these.
inline __m128i half_way(Sum sum) noexcept {
  const __m128 lower = _mm_shuffle_ps(_mm_castpd_ps(sum.lo), _mm_castpd_ps(sum.hi), 0x88);
  const __m128i rest = _mm_and_si128(_mm_castps_si128(lower), _mm_set1_epi32(0x1FFFFFFF));
  return _mm_cmpeq_epi32(rest, _mm_set1_epi32(0x10000000));
}

// Lanes of doubles below the normal floats, but for 0.
inline __m128i below_normal(Sum sum) noexcept {
  const __m128 upper = _mm_shuffle_ps(_mm_castpd_ps(sum.lo), _mm_castpd_ps(sum.hi), 0xDD);
  const __m128i size = _mm_and_si128(_mm_castps_si128(upper), _mm_set1_epi32(0x7FFFFFFF));
  // Less 1 and in the order of signed numbers, where 0 becomes the largest.
  const __m128i order = _mm_add_epi32(size, _mm_set1_epi32(0x7FFFFFFF));
  return _mm_cmplt_epi32(order, _mm_set1_epi32(0x38100000 - 0x7FFFFFFF - 2));
}

inline Samples multiply(Weight w, Samples x) noexcept {
  return {_mm_mul_pd(w.v, x.lo), _mm_mul_pd(w.v, x.hi)};
}
// For where a product is seldom needed after its sum: the compiler would keep it in registers all the time.
inline Samples multiply_again(Weight w, Samples x) noexcept {
  asm("" : "+x"(w.v));
  return multiply(w, x);
}
inline Sum add(Sum a, Samples b) noexcept { return {_mm_add_pd(a.lo, b.lo), _mm_add_pd(a.hi, b.hi)}; }
inline Sum add_rounding_once(Sum a, Samples b) noexcept {
  return {round_to_float(add_to_odd(a.lo, b.lo)), round_to_float(add_to_odd(a.hi, b.hi))};
}

}  // namespace detail
using namespace detail;

// sum + w * x with one rounding. The caller vouches that every sum is a multiple of the smallest float and,
// with `kSumsAreExact`, that it fits a double. Always inlined, like the next two: as calls they take twice as
// long.
template <bool kSumsAreExact>
[[gnu::always_inline]] inline Sum accumulate(Weight w, Samples x, Sum sum) noexcept {
  const Sum next = add(sum, multiply(w, x));
  if constexpr (kSumsAreExact) return {round_to_float(next.lo), round_to_float(next.hi)};
  if (_mm_movemask_epi8(half_way(next)) != 0) [[unlikely]] {
    return add_rounding_once(sum, multiply_again(w, x));
  }
  return round_to_bits(next);
}
// The same for sums of any size.
[[gnu::always_inline]] inline Sum accumulate_any(Weight w, Samples x, Sum sum) noexcept {
  const Sum next = add(sum, multiply(w, x));
  if (_mm_movemask_epi8(_mm_or_si128(half_way(next), below_normal(next))) != 0) [[unlikely]] {
    return add_rounding_once(sum, multiply_again(w, x));
  }
  return round_to_bits(next);
}
// accumulate<false> for two vectors.
[[gnu::always_inline]] inline void accumulate_two(Weight w, const Samples* x, Sum* sum) noexcept {
  const Sum next[2] = {add(sum[0], multiply(w, x[0])), add(sum[1], multiply(w, x[1]))};
  if (_mm_movemask_epi8(_mm_or_si128(half_way(next[0]), half_way(next[1]))) != 0) [[unlikely]] {
    sum[0] = add_rounding_once(sum[0], multiply_again(w, x[0]));
    sum[1] = add_rounding_once(sum[1], multiply_again(w, x[1]));
  } else {
    sum[0] = round_to_bits(next[0]);
    sum[1] = round_to_bits(next[1]);
  }
}
inline F32 value_of(Sum sum) noexcept { return {_mm_movelh_ps(_mm_cvtpd_ps(sum.lo), _mm_cvtpd_ps(sum.hi))}; }

// 32-bit lanes of raw samples. A vector is made of quads (16 bytes); quad q belongs to row 4 * q.
struct Raw {
  __m128i v;
};
inline Raw load_quads(const std::uint8_t* const* rows, std::ptrdiff_t offset) noexcept {
  return {_mm_loadu_si128(reinterpret_cast<const __m128i*>(rows[0] + offset))};
}
// The reverse for kLanes / 4 vectors of floats, which follow each other in the rows.
inline void store_quads(const F32* a, float* const* rows, std::ptrdiff_t offset) noexcept {
  _mm_storeu_ps(rows[0] + offset, a[0].v);
}
inline F32 as_floats(Raw a) noexcept { return {_mm_castsi128_ps(a.v)}; }
inline Raw as_raw(F32 a) noexcept { return {_mm_castps_si128(a.v)}; }
// Transposes the 4 x 4 matrix that the quads of the same number form.
inline void transpose_quads(F32& a, F32& b, F32& c, F32& d) noexcept {
  _MM_TRANSPOSE4_PS(a.v, b.v, c.v, d.v);
}
// Byte or 16-bit field number kField of each 32-bit lane.
template <int kBits, int kField>
inline F32 field_to_float(Raw a) noexcept {
  __m128i v = a.v;
  if constexpr (kField != 0) v = _mm_srli_epi32(v, kBits * kField);
  if constexpr (kBits * (kField + 1) != 32) v = _mm_and_si128(v, _mm_set1_epi32((1 << kBits) - 1));
  return {_mm_cvtepi32_ps(v)};
}

// Rounds to nearest, ties to even, saturates, and stores 4 vectors as bytes or 2 as 16-bit samples.
inline void store_rounded(std::uint8_t* p, F32 a, F32 b, F32 c, F32 d) noexcept {
  const __m128i ab = _mm_packs_epi32(_mm_cvtps_epi32(a.v), _mm_cvtps_epi32(b.v));
  const __m128i cd = _mm_packs_epi32(_mm_cvtps_epi32(c.v), _mm_cvtps_epi32(d.v));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(p), _mm_packus_epi16(ab, cd));
}
inline void store_rounded(std::uint8_t* p, F32 a, F32 b) noexcept {
  // There is only a signed saturation: shift the range down by 2^15 and back by flipping the top bit.
  const __m128i shift = _mm_set1_epi32(0x8000);
  const __m128i ab =
      _mm_packs_epi32(_mm_sub_epi32(_mm_cvtps_epi32(a.v), shift), _mm_sub_epi32(_mm_cvtps_epi32(b.v), shift));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(p), _mm_xor_si128(ab, _mm_set1_epi16(-0x8000)));
}

inline F64 operator/(F64 a, F64 b) noexcept { return {_mm_div_pd(a.v, b.v)}; }
inline F64 absolute(F64 a) noexcept { return {_mm_andnot_pd(_mm_set1_pd(-0.0), a.v)}; }
// a < b ? x : y, lane by lane.
inline F64 select_less(F64 a, F64 b, F64 x, F64 y) noexcept {
  const __m128d mask = _mm_cmplt_pd(a.v, b.v);
  return {_mm_or_pd(_mm_and_pd(mask, x.v), _mm_andnot_pd(mask, y.v))};
}
inline F64 lane_numbers() noexcept { return {_mm_setr_pd(0, 1)}; }

}  // namespace
}  // namespace kyv::simd

// Resampling: pixels of four channels, a quad of floats each.
namespace kyv::simd {
namespace {

// Pixel number kPixel of each quad of 8-bit or 16-bit samples.
template <int kBits, int kPixel>
inline F32 pixel_to_float(Raw a) noexcept {
  const __m128i zero = _mm_setzero_si128();
  if constexpr (kBits == 8) {
    const __m128i two = kPixel < 2 ? _mm_unpacklo_epi8(a.v, zero) : _mm_unpackhi_epi8(a.v, zero);
    return pixel_to_float<16, kPixel % 2>(Raw{two});
  } else {
    return {_mm_cvtepi32_ps(kPixel == 0 ? _mm_unpacklo_epi16(a.v, zero) : _mm_unpackhi_epi16(a.v, zero))};
  }
}

}  // namespace
}  // namespace kyv::simd

// Sums of whole numbers: vectors of 16-bit words, and of 32 bits.
namespace kyv::simd {
namespace {

using Words = std::uint16_t __attribute__((vector_size(16)));
// Of as many bytes.
inline Words load_words(const std::uint8_t* p) noexcept {
  const __m128i bytes = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p));
  return reinterpret_cast<Words>(_mm_unpacklo_epi8(bytes, _mm_setzero_si128()));
}
using Longs = std::uint32_t __attribute__((vector_size(16)));
// Of as many words.
inline Longs load_longs(const std::uint8_t* p) noexcept {
  const __m128i words = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(p));
  return reinterpret_cast<Longs>(_mm_unpacklo_epi16(words, _mm_setzero_si128()));
}
// (a * parts[0] + b * parts[1]) / 2^15, rounded to nearest, for what is less than 2^15.
inline Words sum_parts(Words a, Words b, const std::uint16_t* parts) noexcept {
  const auto words_a = reinterpret_cast<__m128i>(a);
  const auto words_b = reinterpret_cast<__m128i>(b);
  const __m128i factors = _mm_set1_epi32(static_cast<int>(parts[0] | std::uint32_t{parts[1]} << 16));
  const __m128i half = _mm_set1_epi32(1 << 14);
  const __m128i low = _mm_madd_epi16(_mm_unpacklo_epi16(words_a, words_b), factors);
  const __m128i high = _mm_madd_epi16(_mm_unpackhi_epi16(words_a, words_b), factors);
  return reinterpret_cast<Words>(_mm_packs_epi32(_mm_srai_epi32(_mm_add_epi32(low, half), 15),
                                                 _mm_srai_epi32(_mm_add_epi32(high, half), 15)));
}
// A bit for each lane.
inline std::uint32_t lanes_less(F32 a, F32 b) noexcept {
  return static_cast<std::uint32_t>(_mm_movemask_ps(_mm_cmplt_ps(a.v, b.v)));
}

}  // namespace
}  // namespace kyv::simd
