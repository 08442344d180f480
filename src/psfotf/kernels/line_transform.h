// One-dimensional transforms of a vector of lines at a time.
//
// An element holds kLanes real parts and then kLanes imaginary parts, one lane per line. Stages decimate in
// frequency, in place; the results stay at digit-reversed places (LinePlan::positions).
#pragma once

#include <cstddef>
#include <cstdint>

#include "psfotf/kernels/butterflies.h"
#include "psfotf/plan.h"

namespace kyv::psfotf {
namespace {

// A radix 15 in registers, nearly.
inline constexpr bool kManyRegisters = simd::kVectorBytes == 64 && sizeof(void*) == 8;

inline constexpr int kMaxBlocksAtOnce = 8;

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

// Into the second cache: in the first one, what is needed later pushes out what is in work.
[[gnu::always_inline]] inline void prefetch_for_later(const double* p) noexcept {
  __builtin_prefetch(p, 0, 2);
}

template <class T>
struct Roots {
  const T* re;
  const T* im;
  std::ptrdiff_t step;  // from one root of the stage's length to the next
};

// `groups` transforms of length R * m, cut into parts of m elements that lie `pitch` elements apart:
// butterflies across the parts, then the roots of that length.
template <class V, int R>
void twiddled_stage(LaneOf<V>* data, std::int32_t groups, std::int32_t m, std::int32_t pitch,
                    const Roots<LaneOf<V>>& roots) noexcept {
  const std::ptrdiff_t stride = pitch * kElement<V>;
  for (std::int32_t g = 0; g < groups; ++g) {
    std::ptrdiff_t at = 0;
    for (std::int32_t j = 0; j < m; ++j) {
      Complex<V> x[R];
#pragma GCC unroll 16
      for (int i = 0; i < R; ++i) x[i] = load_element<V>(data + i * stride);
      Butterfly<R>::apply(x);
      store_element<V>(data, x[0]);
#pragma GCC unroll 16
      for (int q = 1; q < R; ++q) {
        const Complex<V> y =
            multiply(x[q], simd::broadcast(roots.re[q * at]), simd::broadcast(roots.im[q * at]));
        store_element<V>(data + q * stride, y);
      }
      data += kElement<V>;
      at += roots.step;
    }
    data += R * stride - m * kElement<V>;
  }
}

// Elements `step` values apart out of the caller's arrays, each kLanes contiguous doubles. Values `ahead`
// from there are fetched for a later row.
template <class V, int R>
[[gnu::always_inline]] inline void load_row_elements(const double* re, const double* im, std::ptrdiff_t step,
                                                     std::ptrdiff_t ahead, Complex<V>* x) noexcept {
#pragma GCC unroll 16
  for (int i = 0; i < R; ++i) {
    simd::load_doubles(x[i].re, re + i * step);
    simd::load_doubles(x[i].im, im + i * step);
#pragma GCC unroll 2
    for (int line = 0; line < V::kLanes; line += 8) {
      prefetch_for_later(re + i * step + ahead + line);
      prefetch_for_later(im + i * step + ahead + line);
    }
  }
}

// The first stage, straight from the caller's values.
template <class V, int R>
void load_first_stage(const double* re, const double* im, std::ptrdiff_t ahead, LaneOf<V>* data,
                      std::int32_t m, std::int32_t pitch, const Roots<LaneOf<V>>& roots) noexcept {
  const std::ptrdiff_t stride = pitch * kElement<V>;
  const std::ptrdiff_t source_stride = m * static_cast<std::ptrdiff_t>(V::kLanes);
  std::ptrdiff_t at = 0;
  for (std::int32_t j = 0; j < m; ++j) {
    Complex<V> x[R];
    load_row_elements<V, R>(re, im, source_stride, ahead, x);
    Butterfly<R>::apply(x);
    store_element<V>(data, x[0]);
#pragma GCC unroll 16
    for (int q = 1; q < R; ++q) {
      const Complex<V> y =
          multiply(x[q], simd::broadcast(roots.re[q * at]), simd::broadcast(roots.im[q * at]));
      store_element<V>(data + q * stride, y);
    }
    re += V::kLanes;
    im += V::kLanes;
    data += kElement<V>;
    at += roots.step;
  }
}

template <class V, int R>
void last_stage(LaneOf<V>* data, std::int32_t groups) noexcept {
  for (std::int32_t g = 0; g < groups; ++g, data += R * kElement<V>) {
    Complex<V> x[R];
#pragma GCC unroll 16
    for (int i = 0; i < R; ++i) x[i] = load_element<V>(data + i * kElement<V>);
    Butterfly<R>::apply(x);
#pragma GCC unroll 16
    for (int i = 0; i < R; ++i) store_element<V>(data + i * kElement<V>, x[i]);
  }
}

// Where the last stage over adjacent blocks of columns leaves its results: rows of doubles.
template <class T>
struct ColumnOutput {
  const T* blocks[kMaxBlocksAtOnce];         // finished but for the last stage
  std::ptrdiff_t columns[kMaxBlocksAtOnce];  // where in a row the blocks go
  int count;                                 // of blocks
  const std::int32_t* positions;
  double* re;
  double* im;
  std::ptrdiff_t group_step;   // values from a result of one butterfly to the same of the next
  std::ptrdiff_t result_step;  // and from one result of a butterfly to its next
};

// Butterflies first_group to last_group - 1 of every block.
template <class V, int R>
void store_last_stage(const ColumnOutput<LaneOf<V>>& out, std::int32_t first_group,
                      std::int32_t last_group) noexcept {
  for (std::int32_t g = first_group; g < last_group; ++g) {
    const std::ptrdiff_t position = out.positions[g] * kElement<V>;
    for (int b = 0; b < out.count; ++b) {
      const LaneOf<V>* data = out.blocks[b] + position;
      Complex<V> x[R];
#pragma GCC unroll 16
      for (int i = 0; i < R; ++i) x[i] = load_element<V>(data + i * kElement<V>);
      Butterfly<R>::apply(x);
      const std::ptrdiff_t place = (g - first_group) * out.group_step + out.columns[b];
#pragma GCC unroll 16
      for (int q = 0; q < R; ++q) {
        simd::store_doubles(out.re + place + q * out.result_step, x[q].re);
        simd::store_doubles(out.im + place + q * out.result_step, x[q].im);
      }
    }
  }
}

// An odd radix without code of its own, summed directly.
template <class V>
void direct_stage(LaneOf<V>* data, int radix, std::int32_t groups, std::int32_t m, std::int32_t pitch,
                  const Roots<LaneOf<V>>& roots) noexcept {
  const int half = radix / 2;
  const std::ptrdiff_t stride = pitch * kElement<V>;
  const std::ptrdiff_t turn = m * roots.step;  // one radix-th of the circle
  Complex<V> sum[kMaxDirectRadix / 2];
  Complex<V> difference[kMaxDirectRadix / 2];
  for (std::int32_t g = 0; g < groups; ++g) {
    std::ptrdiff_t at = 0;
    for (std::int32_t j = 0; j < m; ++j) {
      const Complex<V> first = load_element<V>(data);
      Complex<V> total = first;
      for (int i = 0; i < half; ++i) {
        const Complex<V> a = load_element<V>(data + (i + 1) * stride);
        const Complex<V> b = load_element<V>(data + (radix - 1 - i) * stride);
        sum[i] = a + b;
        difference[i] = a - b;
        total = total + sum[i];
      }
      store_element<V>(data, total);
      for (int k = 1; k <= half; ++k) {
        Complex<V> even = first;
        Complex<V> odd = {constant<V>(0), constant<V>(0)};
        int index = 0;
        for (int i = 0; i < half; ++i) {
          index += k;
          if (index >= radix) index -= radix;
          const V c = simd::broadcast(roots.re[index * turn]);
          const V s = simd::broadcast(roots.im[index * turn]);
          even.re = mul_add(sum[i].re, c, even.re);
          even.im = mul_add(sum[i].im, c, even.im);
          odd.re = mul_add(difference[i].re, s, odd.re);
          odd.im = mul_add(difference[i].im, s, odd.im);
        }
        const int mirrored = radix - k;
        store_element<V>(data + k * stride, multiply(add_i(even, odd), simd::broadcast(roots.re[k * at]),
                                                     simd::broadcast(roots.im[k * at])));
        store_element<V>(data + mirrored * stride,
                         multiply(sub_i(even, odd), simd::broadcast(roots.re[mirrored * at]),
                                  simd::broadcast(roots.im[mirrored * at])));
      }
      data += kElement<V>;
      at += roots.step;
    }
    data += radix * stride - m * kElement<V>;
  }
}

template <class V>
struct RadixCode {
  void (*load_first)(const double*, const double*, std::ptrdiff_t, LaneOf<V>*, std::int32_t, std::int32_t,
                     const Roots<LaneOf<V>>&) noexcept;
  void (*twiddled)(LaneOf<V>*, std::int32_t, std::int32_t, std::int32_t, const Roots<LaneOf<V>>&) noexcept;
  void (*last)(LaneOf<V>*, std::int32_t) noexcept;
  void (*store_last)(const ColumnOutput<LaneOf<V>>&, std::int32_t, std::int32_t) noexcept;
};

template <class V, int R>
constexpr RadixCode<V> radix_code() noexcept {
  return {load_first_stage<V, R>, twiddled_stage<V, R>, last_stage<V, R>, store_last_stage<V, R>};
}

// Radices that only a set with thirty-two registers gains from. The scalar one has them because the planner
// transforms with it for every set.
template <class V, int R>
constexpr RadixCode<V> composite_radix_code() noexcept {
  if constexpr (kManyRegisters || V::kLanes == 1) {
    return radix_code<V, R>();
  } else {
    return {};
  }
}

template <class V>
inline constexpr RadixCode<V> kRadixCode[kMaxFixedRadix + 1] = {
    {},
    {},
    radix_code<V, 2>(),
    radix_code<V, 3>(),
    radix_code<V, 4>(),
    radix_code<V, 5>(),
    composite_radix_code<V, 6>(),
    radix_code<V, 7>(),
    radix_code<V, 8>(),
    composite_radix_code<V, 9>(),
    composite_radix_code<V, 10>(),
    radix_code<V, 11>(),
    composite_radix_code<V, 12>(),
    radix_code<V, 13>(),
    {},
    composite_radix_code<V, 15>(),
};

// One stage of `groups` adjacent transforms of `length` elements.
template <class V>
void run_stage(const LinePlan<LaneOf<V>>& plan, int radix, std::int32_t groups, std::int32_t length,
               std::int32_t pitch, LaneOf<V>* data) noexcept {
  const std::int32_t m = length / radix;
  const Roots<LaneOf<V>> roots{plan.root_re, plan.root_im,
                               static_cast<std::ptrdiff_t>(plan.length / length) * plan.root_step};
  if (radix > kMaxFixedRadix) {
    direct_stage<V>(data, radix, groups, m, pitch, roots);
  } else if (m == 1) {
    kRadixCode<V>[radix].last(data, groups);
  } else {
    kRadixCode<V>[radix].twiddled(data, groups, m, pitch, roots);
  }
}

// Stages 1 to last - 1 of a mixed-radix plan, part after part.
template <class V>
void run_later_stages(const LinePlan<LaneOf<V>>& plan, int last, LaneOf<V>* data) noexcept {
  if (last < 2) return;
  const int parts = plan.radices[0];
  for (int i = 0; i < parts; ++i) {
    std::int32_t groups = 1;
    std::int32_t length = plan.length / parts;
    for (int s = 1; s < last; ++s) {
      const int radix = plan.radices[s];
      run_stage<V>(plan, radix, groups, length, length / radix, data);
      groups *= radix;
      length /= radix;
    }
    data += plan.part_pitch * kElement<V>;
  }
}

// Stages 0 to last - 1.
template <class V>
void run_stages(const LinePlan<LaneOf<V>>& plan, int last, LaneOf<V>* data) noexcept {
  if (last < 1) return;
  run_stage<V>(plan, plan.radices[0], 1, plan.length, plan.part_pitch, data);
  run_later_stages<V>(plan, last, data);
}

template <class V>
void run_stages(const LinePlan<LaneOf<V>>& plan, LaneOf<V>* data) noexcept {
  run_stages<V>(plan, plan.stages, data);
}

// work[second] = the convolution's spectrum times work[first], parts swapped and in natural order: the same
// stages then give the inverse transform.
template <class V>
void convolve(const LinePlan<LaneOf<V>>& plan, LaneOf<V>* first, LaneOf<V>* second) noexcept {
  const LinePlan<LaneOf<V>>& inner = *plan.inner;
  for (std::int32_t k = 0; k < inner.length; ++k) {
    const Complex<V> a = load_element<V>(first + inner.positions[k] * kElement<V>);
    const Complex<V> c =
        multiply(a, simd::broadcast(plan.spectrum_re[k]), simd::broadcast(plan.spectrum_im[k]));
    store_element<V>(second + k * kElement<V>, Complex<V>{c.im, c.re});
  }
}

// Rader 1968: the powers of a generator turn a prime length p into a cyclic convolution of length p - 1.
template <class V>
void run_rader(const LinePlan<LaneOf<V>>& plan, LaneOf<V>* data, LaneOf<V>* work) noexcept {
  const LinePlan<LaneOf<V>>& inner = *plan.inner;
  LaneOf<V>* other = work + inner.length * kElement<V>;
  for (std::int32_t q = 0; q < inner.length; ++q) {
    store_element<V>(work + q * kElement<V>, load_element<V>(data + plan.gather[q] * kElement<V>));
  }
  run_stages<V>(inner, work);
  const Complex<V> first = load_element<V>(data);
  store_element<V>(data, first + load_element<V>(work));
  convolve<V>(plan, work, other);
  // A constant in every result of the inverse transform is a constant in its first input.
  const Complex<V> c = load_element<V>(other);
  store_element<V>(other, c + Complex<V>{first.im, first.re});
  run_stages<V>(inner, other);
  for (std::int32_t q = 0; q < inner.length; ++q) {
    const Complex<V> y = load_element<V>(other + inner.positions[q] * kElement<V>);
    store_element<V>(data + plan.scatter[q] * kElement<V>, Complex<V>{y.im, y.re});
  }
}

// Bluestein 1970: jk = (j^2 + k^2 - (k - j)^2) / 2 turns any length into a convolution with a chirp.
template <class V>
void run_bluestein(const LinePlan<LaneOf<V>>& plan, LaneOf<V>* data, LaneOf<V>* work) noexcept {
  const LinePlan<LaneOf<V>>& inner = *plan.inner;
  LaneOf<V>* other = work + inner.length * kElement<V>;
  for (std::int32_t j = 0; j < plan.length; ++j) {
    const Complex<V> x = load_element<V>(data + j * kElement<V>);
    store_element<V>(work + j * kElement<V>,
                     multiply(x, simd::broadcast(plan.chirp_re[j]), simd::broadcast(plan.chirp_im[j])));
  }
  const V zero = constant<V>(0);
  for (std::int32_t j = plan.length; j < inner.length; ++j) {
    store_element<V>(work + j * kElement<V>, Complex<V>{zero, zero});
  }
  run_stages<V>(inner, work);
  convolve<V>(plan, work, other);
  run_stages<V>(inner, other);
  for (std::int32_t k = 0; k < plan.length; ++k) {
    const Complex<V> y = load_element<V>(other + inner.positions[k] * kElement<V>);
    store_element<V>(data + k * kElement<V>,
                     multiply(Complex<V>{y.im, y.re}, simd::broadcast(plan.chirp_re[k]),
                              simd::broadcast(plan.chirp_im[k])));
  }
}

template <class V>
void transform_lines(const LinePlan<LaneOf<V>>& plan, LaneOf<V>* data, LaneOf<V>* work) noexcept {
  switch (plan.method) {
    case LineMethod::kMixedRadix:
      return run_stages<V>(plan, data);
    case LineMethod::kRader:
      return run_rader<V>(plan, data, work);
    case LineMethod::kBluestein:
      return run_bluestein<V>(plan, data, work);
  }
}

}  // namespace
}  // namespace kyv::psfotf
