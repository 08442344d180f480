// The elements of lines, a vector of lines at a time, and the roots that they are multiplied with.
//
// An element holds kLanes real parts and then kLanes imaginary parts, one lane per line.
#pragma once

#include <cstddef>
#include <cstdint>

#include "psfotf/kernels/butterflies.h"

namespace kyv::psfotf {
namespace {

template <class V>
inline constexpr std::ptrdiff_t kElement = 2 * V::kLanes;  // values

template <class V>
[[gnu::always_inline]] inline Complex<V> load_element(const LaneOf<V>* p) noexcept {
  return {simd::load(p), simd::load(p + V::kLanes)};
}

template <class V>
[[gnu::always_inline]] inline void store_element(LaneOf<V>* p, const Complex<V>& a) noexcept {
  simd::store_aligned(p, a.re);
  simd::store_aligned(p + V::kLanes, a.im);
}

// A value of the caller's planes, which may lie at any byte address.
inline double load_double(const double* p) noexcept {
  double value = 0;
  __builtin_memcpy(&value, p, sizeof value);
  return value;
}
inline void store_double(double* p, double value) noexcept { __builtin_memcpy(p, &value, sizeof value); }

// The roots of a stage. Each butterfly has radix - 1 of its own, real and imaginary parts in turn, for
// results (or inputs) 1 and on; those of sums are LinePlan::sum_roots of the stage's radix.
template <class T>
struct Roots {
  const T* own;  // of the first butterfly
  const T* sums;
};

// Where the roots of a stage belong: behind its butterflies or, reversed, before them.
enum class Decimation { kInFrequency, kInTime };

template <class V>
[[gnu::always_inline]] inline Complex<V> multiply(const Complex<V>& a, const LaneOf<V>* own_roots,
                                                  int result) noexcept {
  return multiply(a, simd::broadcast(own_roots[2 * result - 2]), simd::broadcast(own_roots[2 * result - 1]));
}

}  // namespace
}  // namespace kyv::psfotf
