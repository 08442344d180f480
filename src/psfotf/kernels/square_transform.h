// Whole planes of small squares: fixed code, no plan and no workspace.
#pragma once

#include <cstddef>
#include <cstdint>

#include "psfotf/kernels/line_transform.h"

namespace kyv::psfotf {
namespace {

// Side N in tiles of one vector's lanes.
template <class V, int N>
inline constexpr int kTiles = N / V::kLanes;

// kLanes vectors in natural order, transposed: what were lanes are vectors then.
template <class V>
[[gnu::always_inline]] inline void transpose_tile(Complex<V>* x) noexcept {
  constexpr int lanes = V::kLanes;
  V re[lanes];
  V im[lanes];
#pragma GCC unroll 16
  for (int i = 0; i < lanes; ++i) {
    re[i] = x[i].re;
    im[i] = x[i].im;
  }
  simd::transpose(re);
  simd::transpose(im);
#pragma GCC unroll 16
  for (int i = 0; i < lanes; ++i) x[i] = {re[i], im[i]};
}

// The columns of tile column `tile`, transformed and transposed tile by tile: lanes are rows then.
template <class V, int N>
[[gnu::always_inline]] inline void transform_tile_columns(const PlaneArrays& arrays, int tile,
                                                          Complex<V>* x) noexcept {
  const std::ptrdiff_t column = tile * static_cast<std::ptrdiff_t>(V::kLanes);
#pragma GCC unroll 16
  for (int i = 0; i < N; ++i) {
    simd::load_doubles(x[i].re, arrays.src_re + i * N + column);
    simd::load_doubles(x[i].im, arrays.src_im + i * N + column);
  }
  Butterfly<N>::apply(x);
#pragma GCC unroll 16
  for (int t = 0; t < kTiles<V, N>; ++t) transpose_tile<V>(x + t * V::kLanes);
}

// The rows in the lanes, N vectors in natural order, transformed, scaled and written to rows from `row` on.
template <class V, int N>
[[gnu::always_inline]] inline void finish_tile_rows(Complex<V>* x, V scale, const PlaneArrays& arrays,
                                                    int row) noexcept {
  constexpr int lanes = V::kLanes;
  Butterfly<N>::apply(x);
#pragma GCC unroll 16
  for (int t = 0; t < kTiles<V, N>; ++t) {
    transpose_tile<V>(x + t * lanes);
#pragma GCC unroll 16
    for (int i = 0; i < lanes; ++i) {
      const std::ptrdiff_t place = (row + i) * static_cast<std::ptrdiff_t>(N) + t * lanes;
      simd::store_doubles(arrays.dst_re + place, x[t * lanes + i].re * scale);
      simd::store_doubles(arrays.dst_im + place, x[t * lanes + i].im * scale);
    }
  }
}

template <class V, int N>
void transform_square(LaneOf<V> scale, const PlaneArrays& arrays) noexcept {
  const V factor = simd::broadcast(scale);
  Complex<V> x[N];
  if constexpr (kTiles<V, N> == 1) {
    transform_tile_columns<V, N>(arrays, 0, x);
    finish_tile_rows<V, N>(x, factor, arrays, 0);
  } else {
    constexpr int lanes = V::kLanes;
    alignas(64) LaneOf<V> between[2 * N * N];  // by tile rows, N elements each
    for (int c = 0; c < kTiles<V, N>; ++c) {
      transform_tile_columns<V, N>(arrays, c, x);
#pragma GCC unroll 16
      for (int i = 0; i < N; ++i) {
        store_element<V>(between + ((i / lanes) * N + c * lanes + i % lanes) * kElement<V>, x[i]);
      }
    }
    for (int t = 0; t < kTiles<V, N>; ++t) {
#pragma GCC unroll 16
      for (int i = 0; i < N; ++i) x[i] = load_element<V>(between + (t * N + i) * kElement<V>);
      finish_tile_rows<V, N>(x, factor, arrays, t * lanes);
    }
  }
}

template <class V, int N>
constexpr TransformSquare<LaneOf<V>> square_code() noexcept {
  if constexpr (V::kLanes > 1 && N % V::kLanes == 0) {
    return transform_square<V, N>;
  } else {
    return nullptr;
  }
}

}  // namespace
}  // namespace kyv::psfotf
