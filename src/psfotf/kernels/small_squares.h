// Whole planes of small squares: fixed code, no plan and no workspace.
#pragma once

#include <cstddef>
#include <cstdint>

#include "psfotf/kernels/stages.h"

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

// Squares whose lines take two radices, A and then B. The columns' first stage goes from the caller's arrays
// to rows of vectors; a group of B rows then finishes its columns and goes through its rows, each within the
// lanes, or two at once where a row has half as many vectors as a vector has lanes.
template <class V, int N>
struct TwoRadixSquare {
  using T = LaneOf<V>;
  static constexpr int kLanes = V::kLanes;
  static constexpr int kVectors = N / kLanes;  // of a row
  static constexpr int kRowsAtOnce = kVectors < kLanes ? kLanes / kVectors : 1;
  static constexpr bool kFits = kRowsAtOnce <= 2 && kVectors <= 16;

  static void transform(T scale, const PlaneArrays& arrays) noexcept {
    alignas(64) T rows[N * kRowPitch];
    alignas(64) T turns[2 * N];
    const V factor = simd::broadcast(scale);
    for (int i = 0; i < 2 * N; i += kLanes) {
      simd::store_aligned(turns + i, simd::load(kTables.row_turns + i) * factor);
    }
    for (int j = 0; j < kB; ++j) start_columns(arrays, j, rows + j * kRowPitch);
    for (int q = 0; q < kA; ++q) {
      T* group = rows + q * kB * kRowPitch;
      finish_columns(group);
      for (int p = 0; p < kB; p += kRowsAtOnce)
        transform_rows(group + p * kRowPitch, turns, arrays, q + p * kA);
    }
  }

 private:
  // Four rows of the caller at a time, real and imaginary: more would not fit the eight ways of a cache set
  // where they lie 4096 bytes apart.
  static constexpr int kA = 4;
  static constexpr int kB = N / 4;
  // Two cache lines keep the rows of a butterfly off one another's sets.
  static constexpr std::ptrdiff_t kRowPitch = 2 * N + 128 / static_cast<std::ptrdiff_t>(sizeof(T));

  struct Tables {
    alignas(64) T row_turns[2 * N];  // element k, lane l: exp(-2 pi i k l / N)
    T re[N];                         // place j A + q: exp(-2 pi i j q / N)
    T im[N];
  };
  static constexpr Tables make_tables() noexcept {
    Tables tables{};
    Root roots[N]{};
    for (int k = 0; k < N; ++k) roots[k] = root_of_unity(k, N);
    for (int j = 0; j < kB; ++j) {
      for (int q = 0; q < kA; ++q) {
        tables.re[j * kA + q] = static_cast<T>(roots[j * q % N].re);
        tables.im[j * kA + q] = static_cast<T>(roots[j * q % N].im);
      }
    }
    for (int k = 0; k < kVectors; ++k) {
      for (int lane = 0; lane < kLanes; ++lane) {
        tables.row_turns[2 * k * kLanes + lane] = static_cast<T>(roots[k * lane % N].re);
        tables.row_turns[(2 * k + 1) * kLanes + lane] = static_cast<T>(roots[k * lane % N].im);
      }
    }
    return tables;
  }
  static constexpr Tables kTables = make_tables();

  // Radix A over the caller's rows j, j + B and so on; result q to row q B of `rows`.
  static void start_columns(const PlaneArrays& arrays, int j, T* rows) noexcept {
    const double* re = arrays.src_re + j * N;
    const double* im = arrays.src_im + j * N;
    for (int b = 0; b < kVectors; ++b) {
      Complex<V> x[kA];
#pragma GCC unroll 16
      for (int i = 0; i < kA; ++i) {
        simd::load_doubles(x[i].re, re + i * kB * N + b * kLanes);
        simd::load_doubles(x[i].im, im + i * kB * N + b * kLanes);
        simd::keep_loaded(x[i].re);
        simd::keep_loaded(x[i].im);
      }
      Butterfly<kA>::apply(x);
      T* place = rows + b * kElement<V>;
      store_element<V>(place, x[0]);
#pragma GCC unroll 16
      for (int q = 1; q < kA; ++q) {
        const V turn_re = simd::broadcast(kTables.re[j * kA + q]);
        const V turn_im = simd::broadcast(kTables.im[j * kA + q]);
        store_element<V>(place + q * kB * kRowPitch, multiply(x[q], turn_re, turn_im));
      }
    }
  }

  // Radix B over the rows of a group, in place.
  static void finish_columns(T* group) noexcept {
    for (int b = 0; b < kVectors; ++b) {
      T* place = group + b * kElement<V>;
      Complex<V> x[kB];
#pragma GCC unroll 16
      for (int i = 0; i < kB; ++i) x[i] = load_element<V>(place + i * kRowPitch);
      Butterfly<kB>::apply(x);
#pragma GCC unroll 16
      for (int i = 0; i < kB; ++i) store_element<V>(place + i * kRowPitch, x[i]);
    }
  }

  // As many rows as are done at once, A rows apart in the plane.
  static void transform_rows(const T* rows, const T* turns, const PlaneArrays& arrays, int row) noexcept {
    constexpr int vectors = kVectors * kRowsAtOnce;
    Complex<V> x[vectors];
#pragma GCC unroll 2
    for (int r = 0; r < kRowsAtOnce; ++r) {
      Complex<V>* y = x + r * kVectors;
#pragma GCC unroll 16
      for (int i = 0; i < kVectors; ++i) y[i] = load_element<V>(rows + r * kRowPitch + i * kElement<V>);
      Butterfly<kVectors>::apply(y);
#pragma GCC unroll 16
      for (int k = 0; k < kVectors; ++k) {
        const Complex<V> turn = load_element<V>(turns + k * kElement<V>);
        y[k] = multiply(y[k], turn.re, turn.im);
      }
    }
    const std::ptrdiff_t place = row * static_cast<std::ptrdiff_t>(N);
#pragma GCC unroll 16
    for (int k = 0; k < vectors; k += kLanes) {
      transpose_tile<V>(x + k);
      Butterfly<kLanes>::apply(x + k);
#pragma GCC unroll 16
      for (int q = 0; q < kLanes; ++q) {
        double* re = arrays.dst_re + place + q * kVectors + k;
        double* im = arrays.dst_im + place + q * kVectors + k;
        if constexpr (kRowsAtOnce == 1) {
          simd::store_doubles(re, x[k + q].re);
          simd::store_doubles(im, x[k + q].im);
        } else {
          simd::store_doubles(re, re + kA * N, x[k + q].re);
          simd::store_doubles(im, im + kA * N, x[k + q].im);
        }
      }
    }
  }
};

template <class V, int N>
constexpr TransformSquare<LaneOf<V>> square_code() noexcept {
  if constexpr (V::kLanes == 1 || N % V::kLanes != 0) {
    return nullptr;
  } else if constexpr (N <= 16) {
    return transform_square<V, N>;
  } else if constexpr (TwoRadixSquare<V, N>::kFits) {
    return TwoRadixSquare<V, N>::transform;
  } else {
    return nullptr;
  }
}

}  // namespace
}  // namespace kyv::psfotf
