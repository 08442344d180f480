// Squares of 8 × 8 on AVX-512, with fewer shuffles than those of other sizes: these bind them.
//
// The steps, and so the bits, are those of the code for any vector.
#pragma once

#include <immintrin.h>

#include <cstddef>

#include "psfotf/kernels/butterflies.h"
#include "psfotf/kernels/kernels.h"
#include "psfotf/kernels/small_squares.h"
#include "psfotf/kernels/symmetry.h"

namespace kyv::psfotf {
namespace {

inline constexpr int kSide = 8;

// In single precision a row's real and imaginary parts are the halves of one vector: vectors of eight lanes
// take twice as many transpositions, and more conversions.
struct PackedRow {
  __m512 v;
};

[[gnu::always_inline]] inline PackedRow operator+(PackedRow a, PackedRow b) noexcept {
  return {_mm512_add_ps(a.v, b.v)};
}
[[gnu::always_inline]] inline PackedRow operator-(PackedRow a, PackedRow b) noexcept {
  return {_mm512_sub_ps(a.v, b.v)};
}
// The imaginary parts and the real ones; times minus_i() they are the row times -i.
[[gnu::always_inline]] inline __m512 exchanged(PackedRow a) noexcept {
  return _mm512_shuffle_f32x4(a.v, a.v, 0x4E);
}
[[gnu::always_inline]] inline __m512 minus_i() noexcept {
  return _mm512_insertf32x8(_mm512_set1_ps(1.0f), _mm256_set1_ps(-1.0f), 1);
}
[[gnu::always_inline]] inline PackedRow add_i(PackedRow a, PackedRow b) noexcept {
  return {_mm512_fnmadd_ps(exchanged(b), minus_i(), a.v)};
}
[[gnu::always_inline]] inline PackedRow sub_i(PackedRow a, PackedRow b) noexcept {
  return {_mm512_fmadd_ps(exchanged(b), minus_i(), a.v)};
}
// a + turned * sqrt(1/2), and the difference.
[[gnu::always_inline]] inline void add_turned(PackedRow a, __m512 turned, PackedRow& sum,
                                              PackedRow& difference) noexcept {
  const __m512 h = _mm512_set1_ps(static_cast<float>(root_of_unity(1, 8).re));
  sum.v = _mm512_fmadd_ps(h, turned, a.v);
  difference.v = _mm512_fnmadd_ps(h, turned, a.v);
}
[[gnu::always_inline]] inline void add_eighth_turn(PackedRow a, PackedRow b, PackedRow& sum,
                                                   PackedRow& difference) noexcept {
  add_turned(a, _mm512_fmadd_ps(exchanged(b), minus_i(), b.v), sum, difference);
}
[[gnu::always_inline]] inline void add_three_eighths_turn(PackedRow a, PackedRow b, PackedRow& sum,
                                                          PackedRow& difference) noexcept {
  add_turned(a, _mm512_fmsub_ps(exchanged(b), minus_i(), b.v), sum, difference);
}

// Row i, lane j of each half becomes row j, lane i.
[[gnu::always_inline]] inline void transpose_rows(PackedRow* x) noexcept {
  __m512 t[kSide];
#pragma GCC unroll 4
  for (int i = 0; i < kSide; i += 2) {
    t[i] = _mm512_unpacklo_ps(x[i].v, x[i + 1].v);
    t[i + 1] = _mm512_unpackhi_ps(x[i].v, x[i + 1].v);
  }
  const __m512i lower = _mm512_setr_epi64(0, 1, 8, 9, 4, 5, 12, 13);
  const __m512i upper = _mm512_setr_epi64(2, 3, 10, 11, 6, 7, 14, 15);
#pragma GCC unroll 2
  for (int k = 0; k < 2; ++k) {  // columns 2k and 2k + 1 of each quarter, rows 0 to 3 and 4 to 7
    const __m512d even_first = _mm512_castps_pd(_mm512_shuffle_ps(t[k], t[k + 2], 0x44));
    const __m512d even_last = _mm512_castps_pd(_mm512_shuffle_ps(t[k + 4], t[k + 6], 0x44));
    const __m512d odd_first = _mm512_castps_pd(_mm512_shuffle_ps(t[k], t[k + 2], 0xEE));
    const __m512d odd_last = _mm512_castps_pd(_mm512_shuffle_ps(t[k + 4], t[k + 6], 0xEE));
    x[2 * k].v = _mm512_castpd_ps(_mm512_permutex2var_pd(even_first, lower, even_last));
    x[2 * k + 1].v = _mm512_castpd_ps(_mm512_permutex2var_pd(odd_first, lower, odd_last));
    x[2 * k + 4].v = _mm512_castpd_ps(_mm512_permutex2var_pd(even_first, upper, even_last));
    x[2 * k + 5].v = _mm512_castpd_ps(_mm512_permutex2var_pd(odd_first, upper, odd_last));
  }
}

template <Results R>
[[gnu::always_inline]] inline void transform_square_of_8(float scale, const PlaneArrays& arrays) noexcept {
  PackedRow x[kSide];
#pragma GCC unroll 8
  for (int i = 0; i < kSide; ++i) {
    const __m256 re = _mm512_cvtpd_ps(_mm512_loadu_pd(arrays.src_re + i * kSide));
    const __m256 im = _mm512_cvtpd_ps(_mm512_loadu_pd(arrays.src_im + i * kSide));
    x[i].v = _mm512_insertf32x8(_mm512_castps256_ps512(re), im, 1);
  }
  Butterfly<kSide>::apply(x);
  transpose_rows(x);
  Butterfly<kSide>::apply(x);
  transpose_rows(x);
  const __m512 factor = _mm512_set1_ps(scale);
#pragma GCC unroll 8
  for (int i = 0; i < kSide; ++i) {
    const __m512 y = _mm512_mul_ps(x[i].v, factor);
    _mm512_storeu_pd(arrays.dst_re + i * kSide, R == Results::kComplex
                                                    ? _mm512_cvtps_pd(_mm512_castps512_ps256(y))
                                                    : _mm512_setzero_pd());
    _mm512_storeu_pd(arrays.dst_im + i * kSide, _mm512_cvtps_pd(_mm512_extractf32x8_ps(y, 1)));
  }
}

// Row i, lane j to value i of row j. Halves of rows leave as they are, which spares a third of the shuffles.
[[gnu::always_inline]] inline void store_transposed(double* to, const __m512d* x) noexcept {
  const __m512i lower = _mm512_setr_epi64(0, 1, 8, 9, 2, 3, 10, 11);
  const __m512i upper = _mm512_setr_epi64(4, 5, 12, 13, 6, 7, 14, 15);
  const auto store_halves = [](double* p, __m512d rows) __attribute__((always_inline)) {
    _mm256_storeu_pd(p, _mm512_castpd512_pd256(rows));
    _mm256_storeu_pd(p + 2 * kSide, _mm512_extractf64x4_pd(rows, 1));
  };
#pragma GCC unroll 2
  for (int i = 0; i < kSide; i += 4) {
    const __m512d even_first = _mm512_unpacklo_pd(x[i], x[i + 1]);
    const __m512d even_last = _mm512_unpacklo_pd(x[i + 2], x[i + 3]);
    const __m512d odd_first = _mm512_unpackhi_pd(x[i], x[i + 1]);
    const __m512d odd_last = _mm512_unpackhi_pd(x[i + 2], x[i + 3]);
    store_halves(to + i, _mm512_permutex2var_pd(even_first, lower, even_last));
    store_halves(to + i + kSide, _mm512_permutex2var_pd(odd_first, lower, odd_last));
    store_halves(to + i + 4 * kSide, _mm512_permutex2var_pd(even_first, upper, even_last));
    store_halves(to + i + 5 * kSide, _mm512_permutex2var_pd(odd_first, upper, odd_last));
  }
}

template <Results R>
[[gnu::always_inline]] inline void transform_square_of_8(double scale, const PlaneArrays& arrays) noexcept {
  Complex<simd::F64> x[kSide];
  transform_tile_columns<simd::F64, kSide>(arrays, 0, x);
  Butterfly<kSide>::apply(x);
  const __m512d factor = _mm512_set1_pd(scale);
  __m512d re[kSide];
  __m512d im[kSide];
#pragma GCC unroll 8
  for (int i = 0; i < kSide; ++i) {
    re[i] = R == Results::kComplex ? _mm512_mul_pd(x[i].re.v, factor) : _mm512_setzero_pd();
    im[i] = _mm512_mul_pd(x[i].im.v, factor);
  }
  store_transposed(arrays.dst_re, re);
  store_transposed(arrays.dst_im, im);
}

template <class T>
struct SquareOf8 {
  static void transform(T scale, const PlaneArrays& arrays) noexcept {
    transform_square_of_8<Results::kComplex>(scale, arrays);
  }
  static bool transform_hermitian(T scale, const PlaneArrays& arrays) noexcept {
    if (!is_square_hermitian(arrays.src_re, arrays.src_im, kSide)) return false;
    transform_square_of_8<Results::kImaginary>(scale,
                                               {arrays.src_im, arrays.src_re, arrays.dst_im, arrays.dst_re});
    return true;
  }
  static constexpr SquareCode<T> code() noexcept { return {transform, nullptr, transform_hermitian}; }
};

}  // namespace
}  // namespace kyv::psfotf
