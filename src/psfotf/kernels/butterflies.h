// Transforms of one fixed small length in registers: out[k] = sum in[i] exp(-2 pi i i k / R), natural order.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kyv::psfotf {
namespace {

template <class V>
struct Complex {
  V re;
  V im;
};

template <class V>
[[gnu::always_inline]] inline Complex<V> operator+(const Complex<V>& a, const Complex<V>& b) noexcept {
  return {a.re + b.re, a.im + b.im};
}
template <class V>
[[gnu::always_inline]] inline Complex<V> operator-(const Complex<V>& a, const Complex<V>& b) noexcept {
  return {a.re - b.re, a.im - b.im};
}
// a + i b and a - i b.
template <class V>
[[gnu::always_inline]] inline Complex<V> add_i(const Complex<V>& a, const Complex<V>& b) noexcept {
  return {a.re - b.im, a.im + b.re};
}
template <class V>
[[gnu::always_inline]] inline Complex<V> sub_i(const Complex<V>& a, const Complex<V>& b) noexcept {
  return {a.re + b.im, a.im - b.re};
}
template <class V>
[[gnu::always_inline]] inline Complex<V> multiply(const Complex<V>& a, V re, V im) noexcept {
  return {mul_sub(a.re, re, a.im * im), mul_add(a.re, im, a.im * re)};
}

// exp(-2 pi i k / n) at compile time: Taylor series in the first octant.
struct Root {
  double re;
  double im;
};

constexpr Root root_of_unity(int k, int n) noexcept {
  k %= n;
  const int octant = 8 * k / n;
  const int rest = 8 * k - octant * n;
  const bool odd = octant % 2 != 0;
  const long double x =
      0.785398163397448309615660845819875721L * static_cast<long double>(odd ? n - rest : rest) / n;
  long double sine = 0;
  long double cosine = 0;
  long double term = 1;
  for (int i = 1; i <= 24; ++i) {
    (i % 2 != 0 ? cosine : sine) += ((i - 1) / 2 % 2 != 0 ? -term : term);
    term *= x / i;
  }
  const bool swapped = ((octant + 1) & 2) != 0;
  const long double c = swapped ? sine : cosine;
  const long double s = swapped ? cosine : sine;
  const bool left = ((octant + 2) & 4) != 0;
  return {static_cast<double>(left ? -c : c), static_cast<double>(octant >= 4 ? s : -s)};
}

template <class T>
struct Lane;
template <>
struct Lane<simd::F32> {
  using Type = float;
};
template <>
struct Lane<simd::F64> {
  using Type = double;
};
template <class V>
using LaneOf = typename Lane<V>::Type;

template <class V>
[[gnu::always_inline]] inline V constant(double a) noexcept {
  return simd::broadcast(static_cast<LaneOf<V>>(a));
}

// a * exp(-2 pi i K / N)
template <int K, int N, class V>
[[gnu::always_inline]] inline Complex<V> rotate(const Complex<V>& a) noexcept {
  if constexpr (K % N == 0) {
    return a;
  } else {
    constexpr Root w = root_of_unity(K, N);
    return multiply(a, constant<V>(w.re), constant<V>(w.im));
  }
}

// a + b exp(-i pi / 4), a + b exp(-3 i pi / 4), and the differences. The roots have parts of equal size: one
// fused step each.
template <class V>
[[gnu::always_inline]] inline void add_eighth_turn(const Complex<V>& a, const Complex<V>& b, Complex<V>& sum,
                                                   Complex<V>& difference) noexcept {
  const V h = constant<V>(root_of_unity(1, 8).re);
  const V p = b.re + b.im;
  const V q = b.im - b.re;
  sum = {mul_add(h, p, a.re), mul_add(h, q, a.im)};
  difference = {mul_sub_from(h, p, a.re), mul_sub_from(h, q, a.im)};
}
template <class V>
[[gnu::always_inline]] inline void add_three_eighths_turn(const Complex<V>& a, const Complex<V>& b,
                                                          Complex<V>& sum, Complex<V>& difference) noexcept {
  const V h = constant<V>(root_of_unity(1, 8).re);
  const V p = b.im - b.re;
  const V q = b.re + b.im;
  sum = {mul_add(h, p, a.re), mul_sub_from(h, q, a.im)};
  difference = {mul_sub_from(h, p, a.re), mul_add(h, q, a.im)};
}

// Odd radices: sums and differences of mirrored inputs, then cosine and sine sums of them. These take one
// term after another, so that they need each root once and keep all of them in registers.
template <int R>
struct Butterfly {
  static_assert(R % 2 == 1);

  template <class V>
  [[gnu::always_inline]] static inline void apply(Complex<V>* x) noexcept {
    Complex<V> sum[kHalf];
    Complex<V> difference[kHalf];
    Complex<V> total = x[0];
#pragma GCC unroll 8
    for (int i = 0; i < kHalf; ++i) {
      sum[i] = x[i + 1] + x[R - 1 - i];
      difference[i] = x[i + 1] - x[R - 1 - i];
      total = total + sum[i];
    }
    const Complex<V> first = x[0];
    x[0] = total;
    // Real parts and then imaginary ones: each take half of the sums and half of the differences.
    V odd[kHalf];
    V even[kHalf];
    V terms[kHalf];
#pragma GCC unroll 8
    for (int i = 0; i < kHalf; ++i) terms[i] = difference[i].im;
    sine_sums(terms, odd);
#pragma GCC unroll 8
    for (int i = 0; i < kHalf; ++i) terms[i] = sum[i].re;
    cosine_sums(terms, first.re, even);
#pragma GCC unroll 8
    for (int k = 0; k < kHalf; ++k) {
      x[k + 1].re = even[k] + odd[k];
      x[R - 1 - k].re = even[k] - odd[k];
    }
#pragma GCC unroll 8
    for (int i = 0; i < kHalf; ++i) terms[i] = difference[i].re;
    sine_sums(terms, odd);
#pragma GCC unroll 8
    for (int i = 0; i < kHalf; ++i) terms[i] = sum[i].im;
    cosine_sums(terms, first.im, even);
#pragma GCC unroll 8
    for (int k = 0; k < kHalf; ++k) {
      x[k + 1].im = even[k] - odd[k];
      x[R - 1 - k].im = even[k] + odd[k];
    }
  }

 private:
  static constexpr int kHalf = R / 2;
  static constexpr bool kKeepsRoots = simd::kRegisters >= 16 && R > 5;

  // sums[k - 1] is first and the terms[i - 1] times the cosine of i k / R of the circle.
  template <class V>
  [[gnu::always_inline]] static inline void cosine_sums(const V* terms, const V& first, V* sums) noexcept {
    V cosine[kHalf];
#pragma GCC unroll 8
    for (int i = 0; i < kHalf; ++i) {
      cosine[i] = constant<V>(kRoots.w[i + 1].re);
      if constexpr (kKeepsRoots) simd::keep_loaded(cosine[i]);
    }
#pragma GCC unroll 8
    for (int i = 1; i <= kHalf; ++i) {
#pragma GCC unroll 8
      for (int k = 1; k <= kHalf; ++k) {
        const int turn = i * k % R;
        const V& c = cosine[(turn <= kHalf ? turn : R - turn) - 1];
        sums[k - 1] = mul_add(terms[i - 1], c, i == 1 ? first : sums[k - 1]);
      }
    }
  }

  // The same with sines and nothing to begin with.
  template <class V>
  [[gnu::always_inline]] static inline void sine_sums(const V* terms, V* sums) noexcept {
    V sine[kHalf];
#pragma GCC unroll 8
    for (int i = 0; i < kHalf; ++i) {
      sine[i] = constant<V>(-kRoots.w[i + 1].im);
      if constexpr (kKeepsRoots) simd::keep_loaded(sine[i]);
    }
#pragma GCC unroll 8
    for (int k = 0; k < kHalf; ++k) sums[k] = terms[0] * sine[k];
#pragma GCC unroll 8
    for (int i = 2; i <= kHalf; ++i) {
#pragma GCC unroll 8
      for (int k = 1; k <= kHalf; ++k) {
        const int turn = i * k % R;
        sums[k - 1] = turn <= kHalf ? mul_add(terms[i - 1], sine[turn - 1], sums[k - 1])
                                    : mul_sub_from(terms[i - 1], sine[R - turn - 1], sums[k - 1]);
      }
    }
  }

  struct Roots {
    Root w[R];
  };
  static constexpr Roots roots() noexcept {
    Roots r{};
    for (int k = 0; k < R; ++k) r.w[k] = root_of_unity(k, R);
    return r;
  }
  static constexpr Roots kRoots = roots();
};

// Radices 2, 4 and 8 serve any complex type that has the sums above.
template <>
struct Butterfly<2> {
  template <class C>
  [[gnu::always_inline]] static inline void apply(C* x) noexcept {
    const C a = x[0];
    x[0] = a + x[1];
    x[1] = a - x[1];
  }
};

template <>
struct Butterfly<4> {
  template <class C>
  [[gnu::always_inline]] static inline void apply(C* x) noexcept {
    const C a = x[0] + x[2];
    const C b = x[0] - x[2];
    const C c = x[1] + x[3];
    const C d = x[1] - x[3];
    x[0] = a + c;
    x[1] = sub_i(b, d);
    x[2] = a - c;
    x[3] = add_i(b, d);
  }
};

template <>
struct Butterfly<8> {
  template <class C>
  [[gnu::always_inline]] static inline void apply(C* x) noexcept {
    C even[4] = {x[0], x[2], x[4], x[6]};
    C odd[4] = {x[1], x[3], x[5], x[7]};
    Butterfly<4>::apply(even);
    Butterfly<4>::apply(odd);
    x[0] = even[0] + odd[0];
    x[4] = even[0] - odd[0];
    x[2] = sub_i(even[2], odd[2]);
    x[6] = add_i(even[2], odd[2]);
    add_eighth_turn(even[1], odd[1], x[1], x[5]);
    add_three_eighths_turn(even[3], odd[3], x[3], x[7]);
  }
};

// Coprime factors need no roots between them (Good 1958, Thomas 1963): n = B n1 + A n2 and k = k1 mod A, k2
// mod B.
template <int A, int B>
struct PrimeFactorButterfly {
  template <class V>
  [[gnu::always_inline]] static inline void apply(Complex<V>* x) noexcept {
    Complex<V> t[A][B];
#pragma GCC unroll 8
    for (int n2 = 0; n2 < B; ++n2) {
      Complex<V> column[A];
#pragma GCC unroll 8
      for (int n1 = 0; n1 < A; ++n1) column[n1] = x[(B * n1 + A * n2) % (A * B)];
      Butterfly<A>::apply(column);
#pragma GCC unroll 8
      for (int k1 = 0; k1 < A; ++k1) t[k1][n2] = column[k1];
    }
#pragma GCC unroll 8
    for (int k1 = 0; k1 < A; ++k1) {
      Butterfly<B>::apply(t[k1]);
#pragma GCC unroll 8
      for (int k2 = 0; k2 < B; ++k2)
        x[(B * inverse(B, A) * k1 + A * inverse(A, B) * k2) % (A * B)] = t[k1][k2];
    }
  }

 private:
  // a times this is 1 modulo m.
  static constexpr int inverse(int a, int m) noexcept {
    int i = 1;
    while (a * i % m != 1) ++i;
    return i;
  }
};

template <>
struct Butterfly<6> : PrimeFactorButterfly<2, 3> {};
template <>
struct Butterfly<10> : PrimeFactorButterfly<2, 5> {};
template <>
struct Butterfly<12> : PrimeFactorButterfly<4, 3> {};
template <>
struct Butterfly<15> : PrimeFactorButterfly<3, 5> {};

template <>
struct Butterfly<9> {
  template <class V>
  [[gnu::always_inline]] static inline void apply(Complex<V>* x) noexcept {
    Complex<V> t[3][3];
#pragma GCC unroll 3
    for (int i = 0; i < 3; ++i) {
#pragma GCC unroll 3
      for (int j = 0; j < 3; ++j) t[i][j] = x[i + 3 * j];
      Butterfly<3>::apply(t[i]);
    }
    t[1][1] = rotate<1, 9>(t[1][1]);
    t[1][2] = rotate<2, 9>(t[1][2]);
    t[2][1] = rotate<2, 9>(t[2][1]);
    t[2][2] = rotate<4, 9>(t[2][2]);
#pragma GCC unroll 3
    for (int k = 0; k < 3; ++k) {
      Complex<V> y[3] = {t[0][k], t[1][k], t[2][k]};
      Butterfly<3>::apply(y);
#pragma GCC unroll 3
      for (int q = 0; q < 3; ++q) x[k + 3 * q] = y[q];
    }
  }
};

template <>
struct Butterfly<16> {
  template <class V>
  [[gnu::always_inline]] static inline void apply(Complex<V>* x) noexcept {
    Complex<V> t[4][4];
#pragma GCC unroll 4
    for (int i = 0; i < 4; ++i) {
#pragma GCC unroll 4
      for (int j = 0; j < 4; ++j) t[i][j] = x[i + 4 * j];
      Butterfly<4>::apply(t[i]);
    }
    t[1][1] = rotate<1, 16>(t[1][1]);
    t[1][2] = rotate<2, 16>(t[1][2]);
    t[1][3] = rotate<3, 16>(t[1][3]);
    t[2][1] = rotate<2, 16>(t[2][1]);
    t[2][2] = {t[2][2].im, zero_minus(t[2][2].re)};
    t[2][3] = rotate<6, 16>(t[2][3]);
    t[3][1] = rotate<3, 16>(t[3][1]);
    t[3][2] = rotate<6, 16>(t[3][2]);
    t[3][3] = rotate<9, 16>(t[3][3]);
#pragma GCC unroll 4
    for (int k = 0; k < 4; ++k) {
      Complex<V> y[4] = {t[0][k], t[1][k], t[2][k], t[3][k]};
      Butterfly<4>::apply(y);
#pragma GCC unroll 4
      for (int q = 0; q < 4; ++q) x[k + 4 * q] = y[q];
    }
  }

 private:
  template <class V>
  [[gnu::always_inline]] static inline V zero_minus(V a) noexcept {
    return constant<V>(0) - a;
  }
};

}  // namespace
}  // namespace kyv::psfotf
