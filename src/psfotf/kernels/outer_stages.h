// The outer stages of convolutions: they take and leave the elements of a line in the order that it needs.
#pragma once

#include <cstddef>
#include <cstdint>

#include "psfotf/kernels/elements.h"
#include "psfotf/plan.h"

namespace kyv::psfotf {
namespace {

// Bluestein's: times the chirp, zeros behind the end.
template <class V>
class ChirpedLine {
 public:
  using T = LaneOf<V>;

  ChirpedLine(const LinePlan<T>& plan, T* data) noexcept
      : data_(data),
        chirp_re_(plan.chirp_re),
        chirp_im_(plan.chirp_im),
        length_(plan.length),
        sign_(static_cast<T>(chirp_sign(plan.length))) {}

  [[gnu::always_inline]] Complex<V> get(std::int32_t n) const noexcept {
    if (n >= length_) return {constant<V>(0), constant<V>(0)};
    return chirped(load_element<V>(data_ + n * kElement<V>), n);
  }
  // Nothing: elements are taken in their order.
  [[gnu::always_inline]] void prefetch(std::int32_t) const noexcept {}
  // A result of the inverse transform, real and imaginary part exchanged.
  [[gnu::always_inline]] void put(std::int32_t n, const Complex<V>& x) const noexcept {
    if (n < length_) store_element<V>(data_ + n * kElement<V>, chirped({x.im, x.re}, n));
  }

 private:
  [[gnu::always_inline]] Complex<V> chirped(const Complex<V>& a, std::int32_t n) const noexcept {
    const bool behind = 2 * n > length_;
    const std::int32_t m = behind ? length_ - n : n;
    const T factor = behind ? sign_ : 1;
    return multiply(a, simd::broadcast(factor * chirp_re_[m]), simd::broadcast(factor * chirp_im_[m]));
  }

  T* data_;
  const T* chirp_re_;
  const T* chirp_im_;
  std::int32_t length_;
  T sign_;
};

// Rader's: all but the first element, by the powers of a generator.
template <class V>
class PermutedLine {
 public:
  using T = LaneOf<V>;

  PermutedLine(const LinePlan<T>& plan, T* data) noexcept
      : data_(data), powers_(plan.powers), inverse_powers_(plan.powers + plan.length - 1) {}

  [[gnu::always_inline]] Complex<V> get(std::int32_t n) const noexcept {
    return load_element<V>(data_ + powers_[n] * kElement<V>);
  }
  [[gnu::always_inline]] void prefetch(std::int32_t n) const noexcept {
    const T* element = data_ + powers_[n] * kElement<V>;
    __builtin_prefetch(element);
    if constexpr (2 * sizeof(V) > 64) __builtin_prefetch(element + V::kLanes);
  }
  [[gnu::always_inline]] void put(std::int32_t n, const Complex<V>& x) const noexcept {
    store_element<V>(data_ + inverse_powers_[-n] * kElement<V>, {x.im, x.re});
  }

 private:
  T* data_;
  const std::int32_t* powers_;
  const std::int32_t* inverse_powers_;
};

// Elements in the order of a generator's powers are fetched so many butterflies ahead: no processor foresees
// them, and a column of a large plane lies in the second cache at best.
inline constexpr std::int32_t kButterfliesAhead = 2;

// Butterflies `first` to `end` - 1 of m.
struct SomeButterflies {
  std::int32_t first;
  std::int32_t end;
  std::int32_t m;
};

// The first stage of a convolution in frequency and its last one in time, which take and leave the elements
// of a line.
template <class V, int R, class Line>
void fetch_stage(const Line& line, LaneOf<V>* data, const SomeButterflies& some, std::int32_t pitch,
                 const Roots<LaneOf<V>>& roots) noexcept {
  const std::ptrdiff_t stride = pitch * kElement<V>;
  const std::int32_t m = some.m;
  const LaneOf<V>* own = roots.own;
  data += some.first * kElement<V>;
  for (std::int32_t j = some.first; j < some.end; ++j) {
    Complex<V> x[R];
    if (j + kButterfliesAhead < m) {
#pragma GCC unroll 16
      for (int i = 0; i < R; ++i) line.prefetch(i * m + j + kButterfliesAhead);
    }
#pragma GCC unroll 16
    for (int i = 0; i < R; ++i) x[i] = line.get(i * m + j);
    Butterfly<R>::apply(x);
    store_element<V>(data, x[0]);
#pragma GCC unroll 16
    for (int q = 1; q < R; ++q) store_element<V>(data + q * stride, multiply(x[q], own, q));
    data += kElement<V>;
    own += 2 * (R - 1);
  }
}

template <class V, int R, class Line>
void leave_stage(const Line& line, const LaneOf<V>* data, const SomeButterflies& some, std::int32_t pitch,
                 const Roots<LaneOf<V>>& roots) noexcept {
  const std::ptrdiff_t stride = pitch * kElement<V>;
  const std::int32_t m = some.m;
  const LaneOf<V>* own = roots.own;
  data += some.first * kElement<V>;
  for (std::int32_t j = some.first; j < some.end; ++j) {
    Complex<V> x[R];
#pragma GCC unroll 16
    for (int i = 0; i < R; ++i) {
      x[i] = load_element<V>(data + i * stride);
      if (i > 0) x[i] = multiply(x[i], own, i);
    }
    Butterfly<R>::apply(x);
#pragma GCC unroll 16
    for (int q = 0; q < R; ++q) line.put(q * m + j, x[q]);
    data += kElement<V>;
    own += 2 * (R - 1);
  }
}

// The code of a radix for a convolution's outer stages.
template <class V, class Line>
struct OuterCode {
  void (*fetch)(const Line&, LaneOf<V>*, const SomeButterflies&, std::int32_t,
                const Roots<LaneOf<V>>&) noexcept;
  void (*leave)(const Line&, const LaneOf<V>*, const SomeButterflies&, std::int32_t,
                const Roots<LaneOf<V>>&) noexcept;
};

}  // namespace
}  // namespace kyv::psfotf
