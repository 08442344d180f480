// Whole planes of small squares: fixed code, no plan and no workspace.
#pragma once

#include <cstddef>
#include <cstdint>

#include "psfotf/kernels/kernels.h"
#include "psfotf/kernels/stages.h"
#include "psfotf/kernels/symmetry.h"

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

// What the caller gets: both parts, or where the results are known to be real, zeros for the real parts, of
// which these come out as the imaginary ones.
enum class Results { kComplex, kImaginary };

// The rows in the lanes, N vectors in natural order, transformed, scaled and written to rows from `row` on.
template <class V, int N, Results R>
[[gnu::always_inline]] inline void finish_tile_rows(Complex<V>* x, V scale, const PlaneArrays& arrays,
                                                    int row) noexcept {
  constexpr int lanes = V::kLanes;
  Butterfly<N>::apply(x);
#pragma GCC unroll 16
  for (int t = 0; t < kTiles<V, N>; ++t) {
    if constexpr (R == Results::kComplex) {
      transpose_tile<V>(x + t * lanes);
    } else {
      V im[lanes];
#pragma GCC unroll 16
      for (int i = 0; i < lanes; ++i) im[i] = x[t * lanes + i].im;
      simd::transpose(im);
#pragma GCC unroll 16
      for (int i = 0; i < lanes; ++i) x[t * lanes + i] = {constant<V>(0), im[i]};
    }
#pragma GCC unroll 16
    for (int i = 0; i < lanes; ++i) {
      const std::ptrdiff_t place = (row + i) * static_cast<std::ptrdiff_t>(N) + t * lanes;
      const Complex<V>& y = x[t * lanes + i];
      simd::store_doubles(arrays.dst_re + place, R == Results::kComplex ? y.re * scale : y.re);
      simd::store_doubles(arrays.dst_im + place, y.im * scale);
    }
  }
}

template <class V, int N, Results R>
[[gnu::always_inline]] inline void transform_tiles(LaneOf<V> scale, const PlaneArrays& arrays) noexcept {
  const V factor = simd::broadcast(scale);
  Complex<V> x[N];
  if constexpr (kTiles<V, N> == 1) {
    transform_tile_columns<V, N>(arrays, 0, x);
    finish_tile_rows<V, N, R>(x, factor, arrays, 0);
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
      finish_tile_rows<V, N, R>(x, factor, arrays, t * lanes);
    }
  }
}

// Squares whose columns, and whose rows, are one butterfly each. That of a real plane gets an exactly
// Hermitian transform without more ado: the butterflies end with radices of 2 and 4, so that mirror images
// come from the same operations on conjugates, or on these a quarter or half of a turn away.
template <class V, int N>
struct OneRadixSquare {
  static void transform(LaneOf<V> scale, const PlaneArrays& arrays) noexcept {
    transform_tiles<V, N, Results::kComplex>(scale, arrays);
  }
  static bool transform_hermitian(LaneOf<V> scale, const PlaneArrays& arrays) noexcept {
    if (!is_square_hermitian(arrays.src_re, arrays.src_im, N)) return false;
    transform_tiles<V, N, Results::kImaginary>(scale,
                                               {arrays.src_im, arrays.src_re, arrays.dst_im, arrays.dst_re});
    return true;
  }
};

// Squares whose lines take two radices, A and then B. The columns' first stage goes from the caller's arrays
// to rows of vectors; a group of B rows then finishes its columns and goes through its rows, each within the
// lanes, or two at once where a row has half as many vectors as a vector has lanes.
//
// Of a real plane, columns c and c + N / 2 are one complex column. Rows k and N - k of these give row k of
// the plane, whose mirror image is row N - k; rows 0 and N / 2, both real, go as one complex row. A Hermitian
// plane goes the reverse way: columns 0 to N / 2 - 1, the one in the middle with column 0, and then two rows
// as one complex row whose real and imaginary parts come out as the two.
template <class V, int N>
struct TwoRadixSquare {
  using T = LaneOf<V>;
  static constexpr int kLanes = V::kLanes;
  static constexpr int kVectors = N / kLanes;  // of a row
  static constexpr int kRowsAtOnce = kVectors < kLanes ? kLanes / kVectors : 1;
  static constexpr bool kFits = kRowsAtOnce <= 2 && kVectors <= 16;

  static void transform(T scale, const PlaneArrays& arrays) noexcept {
    alignas(64) T rows[N * kRowPitch];
    const Turns turns(scale);
    start_columns<kVectors>(rows, [&](int row, int column, Complex<V>& x) {
      simd::load_doubles(x.re, arrays.src_re + row * N + column);
      simd::load_doubles(x.im, arrays.src_im + row * N + column);
    });
    for (int q = 0; q < kA; ++q) {
      finish_columns(rows, q, kVectors);
      for (int k = q; k < N; k += kA * kRowsAtOnce) {
        RowVectors x;
#pragma GCC unroll 2
        for (int r = 0; r < kRowsAtOnce; ++r) {
          const T* row = row_of(rows, k + r * kA);
#pragma GCC unroll 16
          for (int b = 0; b < kVectors; ++b) x.row(r)[b] = load_element<V>(row + b * kElement<V>);
        }
        x.transform(turns);
#pragma GCC unroll 2
        for (int r = 0; r < kRowsAtOnce; ++r) {
          store_row(arrays, k + r * kA, [&](int t) { return x.result(r, t); });
        }
      }
    }
  }

  static bool transform_real(T scale, const PlaneArrays& arrays) noexcept {
    if (!are_zeros(arrays.src_im, N * N)) return false;
    alignas(64) T rows[N * kRowPitch];
    start_columns<kVectors / 2>(rows, [&](int row, int column, Complex<V>& x) {
      simd::load_doubles(x.re, arrays.src_re + row * N + column);
      simd::load_doubles(x.im, arrays.src_re + row * N + column + N / 2);
    });
    finish_halves(rows, Turns(scale / 2), arrays, true);  // rows come apart as sums
    return true;
  }

  static bool transform_hermitian(T scale, const PlaneArrays& arrays) noexcept {
    if (!is_square_hermitian(arrays.src_re, arrays.src_im, N)) return false;
    alignas(64) T rows[N * kRowPitch];
    const V first_lane = simd::load(kTables.first_lane);
    // Times i and conjugate; of column 0 less i times the middle one.
    start_columns<kVectors / 2>(rows, [&](int row, int column, Complex<V>& x) {
      const std::ptrdiff_t at = row * N + column;
      simd::load_doubles(x.re, arrays.src_im + at);
      simd::load_doubles(x.im, arrays.src_re + at);
      if (column != 0) return;
      Complex<V> middle;
      simd::load_doubles(middle.re, arrays.src_re + at + N / 2);
      simd::load_doubles(middle.im, arrays.src_im + at + N / 2);
      x.re = mul_add(middle.re, first_lane, x.re);
      x.im = mul_sub_from(middle.im, first_lane, x.im);
    });
    finish_halves(rows, Turns(scale), arrays, false);
    __builtin_memset(arrays.dst_im, 0, N * N * sizeof(double));
    return true;
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
    alignas(64) T first_lane[kLanes];  // 1 and then zeros
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
    tables.first_lane[0] = 1;
    return tables;
  }
  static constexpr Tables kTables = make_tables();

  // The roots between the stages of a row, scaled.
  struct Turns {
    alignas(64) T values[2 * N];

    explicit Turns(T scale) noexcept {
      const V factor = simd::broadcast(scale);
      for (int i = 0; i < 2 * N; i += kLanes) {
        simd::store_aligned(values + i, simd::load(kTables.row_turns + i) * factor);
      }
    }
  };

  // As many rows as are done at once.
  class RowVectors {
   public:
    Complex<V>* row(int r) noexcept { return x_ + r * kVectors; }
    // Vector t of what row r has become.
    const Complex<V>& result(int r, int t) const noexcept {
      constexpr int steps = kVectors / kLanes;
      if constexpr (kRowsAtOnce == 2) {
        return x_[2 * t + r];
      } else {
        return x_[t % steps * kLanes + t / steps];
      }
    }

    [[gnu::always_inline]] void transform(const Turns& turns) noexcept {
#pragma GCC unroll 2
      for (int r = 0; r < kRowsAtOnce; ++r) {
        Complex<V>* y = row(r);
        Butterfly<kVectors>::apply(y);
#pragma GCC unroll 16
        for (int k = 0; k < kVectors; ++k) {
          const Complex<V> turn = load_element<V>(turns.values + k * kElement<V>);
          y[k] = multiply(y[k], turn.re, turn.im);
        }
      }
#pragma GCC unroll 16
      for (int k = 0; k < kVectors * kRowsAtOnce; k += kLanes) {
        transpose_tile<V>(x_ + k);
        Butterfly<kLanes>::apply(x_ + k);
      }
      if constexpr (kRowsAtOnce == 2) {
#pragma GCC unroll 16
        for (int q = 0; q < kLanes; q += 2) {
          simd::exchange_halves(x_[q].re, x_[q + 1].re);
          simd::exchange_halves(x_[q].im, x_[q + 1].im);
        }
      }
    }

   private:
    Complex<V> x_[kVectors * kRowsAtOnce];
  };

  static T* row_of(T* rows, int k) noexcept { return rows + (k % kA * kB + k / kA) * kRowPitch; }

  // Radix A over elements j, j + B and so on of the columns in so many vectors, got from their places in the
  // plane by `load`.
  template <int Vectors, class Load>
  [[gnu::always_inline]] static inline void start_columns(T* rows, const Load& load) noexcept {
    for (int j = 0; j < kB; ++j) {
      for (int b = 0; b < Vectors; ++b) {
        Complex<V> x[kA];
#pragma GCC unroll 16
        for (int i = 0; i < kA; ++i) {
          load(j + i * kB, b * kLanes, x[i]);
          simd::keep_loaded(x[i].re);
          simd::keep_loaded(x[i].im);
        }
        Butterfly<kA>::apply(x);
        T* place = rows + j * kRowPitch + b * kElement<V>;
        store_element<V>(place, x[0]);
#pragma GCC unroll 16
        for (int q = 1; q < kA; ++q) {
          const V turn_re = simd::broadcast(kTables.re[j * kA + q]);
          const V turn_im = simd::broadcast(kTables.im[j * kA + q]);
          store_element<V>(place + q * kB * kRowPitch, multiply(x[q], turn_re, turn_im));
        }
      }
    }
  }

  // Radix B over the rows of group q, in place.
  [[gnu::noinline]] static void finish_columns(T* rows, int q, int vectors) noexcept {
    for (int b = 0; b < vectors; ++b) {
      T* place = row_of(rows, q) + b * kElement<V>;
      Complex<V> x[kB];
#pragma GCC unroll 16
      for (int i = 0; i < kB; ++i) x[i] = load_element<V>(place + i * kRowPitch);
      Butterfly<kB>::apply(x);
#pragma GCC unroll 16
      for (int i = 0; i < kB; ++i) store_element<V>(place + i * kRowPitch, x[i]);
    }
  }

  // One part after the other: each cache line is then written by stores that follow one another.
  template <class Get>
  [[gnu::always_inline]] static inline void store_row(const PlaneArrays& arrays, int row,
                                                      const Get& get) noexcept {
    double* re = arrays.dst_re + row * N;
    double* im = arrays.dst_im + row * N;
#pragma GCC unroll 16
    for (int t = 0; t < kVectors; ++t) simd::store_doubles(re + t * kLanes, get(t).re);
#pragma GCC unroll 16
    for (int t = 0; t < kVectors; ++t) simd::store_doubles(im + t * kLanes, get(t).im);
  }

  // All but the first stage of the columns, of a real or a Hermitian plane.
  [[gnu::always_inline]] static inline void finish_halves(T* rows, const Turns& turns,
                                                          const PlaneArrays& arrays, bool is_real) noexcept {
    if constexpr (kRowsAtOnce == 1) {
      run_shared_halves(rows, turns, arrays, is_real);
    } else {
      run_halves(rows, turns, arrays, is_real);
    }
  }

  // One copy of the code for both kinds, for the compiler's sake. Rows two at once would take a third longer.
  [[gnu::noinline]] static void run_shared_halves(T* rows, const Turns& turns, const PlaneArrays& arrays,
                                                  bool is_real) noexcept {
    run_halves(rows, turns, arrays, is_real);
  }

  [[gnu::always_inline]] static inline void run_halves(T* rows, const Turns& turns, const PlaneArrays& arrays,
                                                       bool is_real) noexcept {
    for (int q = 0; q < kA; ++q) finish_columns(rows, q, kVectors / 2);
    for (int q = 0; q < kA; ++q) {
      for (int k = q; k < N / 2; k += kA * kRowsAtOnce) {
        RowVectors x;
#pragma GCC unroll 2
        for (int r = 0; r < kRowsAtOnce; ++r) {
          if (is_real) {
            load_halves(rows, k + r * kA, x.row(r));
          } else {
            load_two_rows(rows, k + r * kA, x.row(r));
          }
        }
        x.transform(turns);
#pragma GCC unroll 2
        for (int r = 0; r < kRowsAtOnce; ++r) {
          if (is_real) {
            store_with_image(arrays, k + r * kA, x, r);
          } else {
            store_two_rows(arrays.dst_re + (k + r * kA) * N, x, r);
          }
        }
      }
    }
  }

  // Row k < N / 2 of a real plane's columns, out of their pairs; row 0 and i times row N / 2 together.
  [[gnu::always_inline]] static inline void load_halves(T* rows, int k, Complex<V>* x) noexcept {
    constexpr int half = kVectors / 2;
    const T* row = row_of(rows, k);
    if (k == 0) {
      const T* middle = row_of(rows, N / 2);
#pragma GCC unroll 16
      for (int b = 0; b < half; ++b) {
        x[b] = {simd::load(row + b * kElement<V>), simd::load(middle + b * kElement<V>)};
        x[half + b] = {simd::load(row + b * kElement<V> + kLanes),
                       simd::load(middle + b * kElement<V> + kLanes)};
      }
      return;
    }
    const T* image = row_of(rows, N - k);
#pragma GCC unroll 16
    for (int b = 0; b < half; ++b) {
      const TwoRows<V> columns(load_element<V>(row + b * kElement<V>),
                               load_element<V>(image + b * kElement<V>));
      x[b] = columns.first;
      x[half + b] = columns.second;
    }
  }

  // Row k < N / 2 and its mirror image.
  [[gnu::always_inline]] static inline void store_with_image(const PlaneArrays& arrays, int k,
                                                             const RowVectors& x, int r) noexcept {
    const auto image = [&](int t) {
      const Complex<V>& last = x.result(r, kVectors - 1 - t);
      const Complex<V>& next = x.result(r, (kVectors - t) % kVectors);
      return Complex<V>{simd::mirror(last.re, next.re), simd::mirror(last.im, next.im)};
    };
    if (k == 0) {
      store_row(arrays, 0, [&](int t) { return TwoRows<V>(x.result(r, t), image(t)).first; });
      store_row(arrays, N / 2, [&](int t) { return TwoRows<V>(x.result(r, t), image(t)).second; });
      return;
    }
    store_row(arrays, k, [&](int t) { return x.result(r, t); });
    store_row(arrays, N - k, [&](int t) {
      const Complex<V> m = image(t);
      return Complex<V>{m.re, constant<V>(0) - m.im};
    });
  }

  // Rows k and k + N / 2 of a Hermitian plane's columns as one.
  [[gnu::always_inline]] static inline void load_two_rows(T* rows, int k, Complex<V>* x) noexcept {
    const V first_lane = simd::load(kTables.first_lane);
    constexpr int half = kVectors / 2;
    const T* upper = row_of(rows, k);
    const T* lower = row_of(rows, k + N / 2);
    Complex<V> images[half + 1];
#pragma GCC unroll 16
    for (int b = 0; b < half; ++b) {
      Complex<V> u = load_element<V>(upper + b * kElement<V>);
      Complex<V> v = load_element<V>(lower + b * kElement<V>);
      if (b == 0) {  // column 0 of each is the imaginary part alone, that in the middle the real one
        images[half] = {v.re, u.re};
        u.re = mul_sub_from(u.re, first_lane, u.re);
        v.re = mul_sub_from(v.re, first_lane, v.re);
      }
      const TwoColumns<V> both(v, u);
      x[b] = both.element;
      images[b] = both.image;
    }
#pragma GCC unroll 16
    for (int b = 0; b < half; ++b) {
      const Complex<V>& last = images[half - 1 - b];
      const Complex<V>& next = images[half - b];
      x[half + b] = {simd::mirror(last.re, next.re), simd::mirror(last.im, next.im)};
    }
  }

  // Both of them, real, to their places N / 2 rows apart.
  [[gnu::always_inline]] static inline void store_two_rows(double* re, const RowVectors& x, int r) noexcept {
#pragma GCC unroll 16
    for (int t = 0; t < kVectors; ++t) simd::store_doubles(re + t * kLanes, x.result(r, t).im);
    re += N / 2 * N;
#pragma GCC unroll 16
    for (int t = 0; t < kVectors; ++t) simd::store_doubles(re + t * kLanes, x.result(r, t).re);
  }
};

template <class V, int N>
constexpr SquareCode<LaneOf<V>> square_code() noexcept {
  if constexpr (V::kLanes == 1 || N % V::kLanes != 0) {
    return {};
  } else if constexpr (N <= 16) {
    using Square = OneRadixSquare<V, N>;
    return {Square::transform, nullptr, Square::transform_hermitian};
  } else if constexpr (TwoRadixSquare<V, N>::kFits) {
    using Square = TwoRadixSquare<V, N>;
    return {Square::transform, Square::transform_real, Square::transform_hermitian};
  } else {
    return {};
  }
}

}  // namespace
}  // namespace kyv::psfotf
