// Rows that are Bluestein's convolutions, each in itself: value n lies in lane n % lanes of element n /
// lanes.
//
// The inner transform is one over the elements in each lane, a product with roots and a butterfly across the
// lanes: of K elements, vector q of the butterflies holds results k + K q.
#pragma once

#include <cstddef>
#include <cstdint>

#include "psfotf/kernels/convolution.h"
#include "psfotf/kernels/plane_blocks.h"

namespace kyv::psfotf {
namespace {

// The roots between the elements' transform and the butterflies across the lanes, of kLanes elements from
// `first` on.
template <class V>
[[gnu::always_inline]] inline void load_lane_roots(const LinePlan<LaneOf<V>>& inner, std::int32_t first,
                                                   Complex<V>* roots) noexcept {
  std::int32_t fine = first % inner.fine_lane_roots;
  const LaneOf<V>* coarse = inner.coarse_lanes + first / inner.fine_lane_roots * kElement<V>;
#pragma GCC unroll 16
  for (int i = 0; i < V::kLanes; ++i) {
    const Complex<V> a = load_element<V>(coarse);
    const Complex<V> b = load_element<V>(inner.fine_lanes + fine * kElement<V>);
    roots[i] = multiply(a, b.re, b.im);
    if (++fine == inner.fine_lane_roots) {
      fine = 0;
      coarse += kElement<V>;
    }
  }
}

template <class V>
[[gnu::always_inline]] inline void transpose_elements(Complex<V>* x) noexcept {
  V part[V::kLanes];
#pragma GCC unroll 16
  for (int i = 0; i < V::kLanes; ++i) part[i] = x[i].re;
  simd::transpose(part);
#pragma GCC unroll 16
  for (int i = 0; i < V::kLanes; ++i) x[i].re = part[i];
#pragma GCC unroll 16
  for (int i = 0; i < V::kLanes; ++i) part[i] = x[i].im;
  simd::transpose(part);
#pragma GCC unroll 16
  for (int i = 0; i < V::kLanes; ++i) x[i].im = part[i];
}

// kLanes elements: roots, and the butterfly across what were the lanes.
template <class V>
[[gnu::always_inline]] inline void to_results(const LaneOf<V>* data, const Complex<V>* roots,
                                              Complex<V>* x) noexcept {
#pragma GCC unroll 16
  for (int i = 0; i < V::kLanes; ++i) {
    x[i] = multiply(load_element<V>(data + i * kElement<V>), roots[i].re, roots[i].im);
  }
  transpose_elements<V>(x);
  Butterfly<V::kLanes>::apply(x);
}

// The spectrum of a part: vectors q of `count` values each. From vector `own` on they are the mirror images
// of those of another part, or this one, in reverse order.
template <class V>
struct LaneSpectrum {
  using T = LaneOf<V>;
  const T* re;
  const T* im;
  std::int32_t count;
  int own;

  [[gnu::always_inline]] Complex<V> get(int q, std::int32_t at) const noexcept {
    if (q < own) {
      const std::ptrdiff_t place = q * static_cast<std::ptrdiff_t>(count) + at;
      return {simd::load(re + place), simd::load(im + place)};
    }
    const std::ptrdiff_t place = (V::kLanes - q) * static_cast<std::ptrdiff_t>(count) - at - V::kLanes;
    return {simd::reverse(simd::load(re + place)), simd::reverse(simd::load(im + place))};
  }
};

// The middle of the convolution, for part `i` of the elements.
template <class V>
void convolve_lanes(const LinePlan<LaneOf<V>>& plan, std::int32_t i, LaneOf<V>* part) noexcept {
  constexpr int lanes = V::kLanes;
  const LinePlan<LaneOf<V>>& inner = *plan.inner;
  const std::int32_t radix = inner.radices[0];
  const std::int32_t count = inner.part_length;
  const bool is_mirrored = 2 * i > radix;
  const std::ptrdiff_t before = static_cast<std::ptrdiff_t>(is_mirrored ? radix - i : i) * count * lanes;
  const int own = is_mirrored ? 0 : 2 * i == radix ? lanes / 2 : lanes;
  const LaneSpectrum<V> spectrum{plan.spectrum_re + before, plan.spectrum_im + before, count, own};
  for (std::int32_t at = 0; at < count; at += lanes, part += lanes * kElement<V>) {
    Complex<V> roots[lanes];
    Complex<V> x[lanes];
    load_lane_roots<V>(inner, i * count + at, roots);
    to_results<V>(part, roots, x);
#pragma GCC unroll 16
    for (int q = 0; q < lanes; ++q) {
      const Complex<V> factor = spectrum.get(q, at);
      const Complex<V> product = multiply(x[q], factor.re, factor.im);
      x[q] = {product.im, product.re};
    }
    Butterfly<lanes>::apply(x);
    transpose_elements<V>(x);
#pragma GCC unroll 16
    for (int j = 0; j < lanes; ++j) {
      store_element<V>(part + j * kElement<V>, multiply(x[j], roots[j].re, roots[j].im));
    }
  }
}

// The inner transform, in place: vector q of the results at places first to first + kLanes - 1 is element
// first + q.
template <class V>
void transform_within(const LinePlan<LaneOf<V>>& inner, LaneOf<V>* data) noexcept {
  run_stages<V>(inner, inner.stages, data, nullptr);
  for (std::int32_t at = 0; at < inner.length; at += V::kLanes, data += V::kLanes * kElement<V>) {
    Complex<V> roots[V::kLanes];
    Complex<V> x[V::kLanes];
    load_lane_roots<V>(inner, at, roots);
    to_results<V>(data, roots, x);
#pragma GCC unroll 16
    for (int q = 0; q < V::kLanes; ++q) store_element<V>(data + q * kElement<V>, x[q]);
  }
}

// One row after another, each in itself.
template <class V>
void convolve_rows_within(const PlanePlan<LaneOf<V>>& plan, LaneOf<V> scale, const PlaneArrays& arrays,
                          const Workspace<V>& workspace) noexcept {
  const LinePlan<LaneOf<V>>& inner = *plan.row->inner;
  const OuterCode<V, ChirpedRow<V>>& code = outer_code<V>(inner).chirped_row;
  for (std::int32_t r = 0; r < plan.rows; ++r) {
    const std::ptrdiff_t source = static_cast<std::ptrdiff_t>(r) * plan.row_length;
    const double* re = arrays.src_re + source;
    const double* im = arrays.src_im + source;
    const RowTail<V> tail(*plan.row, re, im);
    const ChirpedRow<V> row(plan, scale, re, im, tail, workspace.blocks + row_place<V>(plan, r));
    fetch_line<V>(inner, code, row, workspace.line);
    LaneOf<V>* part = workspace.line;
    for (std::int32_t i = 0; i < inner.radices[0]; ++i, part += inner.part_pitch * kElement<V>) {
      run_part<V>(inner, inner.stages, part);
      convolve_lanes<V>(*plan.row, i, part);
      run_part_in_time<V>(inner, inner.stages, part);
    }
    leave_line<V>(inner, code, row, workspace.line);
    row.finish();
  }
}

}  // namespace
}  // namespace kyv::psfotf
