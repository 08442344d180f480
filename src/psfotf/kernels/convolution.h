// Lengths with large prime factors as convolutions, and transforms of lines of any method.
#pragma once

#include <cstddef>
#include <cstdint>

#include "psfotf/kernels/stages.h"

namespace kyv::psfotf {
namespace {

// The first stage, some butterflies after another. `copy(n, part, place)` is called for element n of the
// line, before (in frequency) or after (in time) its butterfly; `place` is where it lies, in that part.
template <class V, Decimation D, class Copy>
[[gnu::always_inline]] inline void run_outer_stage(const LinePlan<LaneOf<V>>& plan, LaneOf<V>* data,
                                                   const Copy& copy) noexcept {
  const int radix = plan.radices[0];
  const std::int32_t m = plan.part_length;
  FirstRoots<V> roots(plan);
  for (std::int32_t first = 0; first < m; first += kButterfliesAtOnce) {
    const std::int32_t count = m - first < kButterfliesAtOnce ? m - first : kButterfliesAtOnce;
    LaneOf<V>* here = data + first * kElement<V>;
    const auto copy_all = [&] {
      for (int i = 0; i < radix; ++i) {
        LaneOf<V>* part = here + static_cast<std::ptrdiff_t>(i) * plan.part_pitch * kElement<V>;
        for (std::int32_t j = 0; j < count; ++j) copy(i * m + first + j, i, part + j * kElement<V>);
      }
    };
    if (D == Decimation::kInFrequency) copy_all();
    run_radix<V, D>(radix, here, 1, count, plan.part_pitch, roots.from(first));
    if (D == Decimation::kInTime) copy_all();
  }
}

// The code of the outer stages' radix, all null where that is summed directly.
template <class V>
const RadixCode<V>& outer_code(const LinePlan<LaneOf<V>>& inner) noexcept {
  const std::int32_t radix = inner.radices[0];
  return kRadixCode<V>[radix <= kMaxFixedRadix ? radix : 0];
}

template <class V, class Code, class Line>
void run_outer_code(const LinePlan<LaneOf<V>>& inner, const Code& code, const Line& line,
                    LaneOf<V>* work) noexcept {
  const std::int32_t m = inner.part_length;
  FirstRoots<V> roots(inner);
  const std::int32_t at_once = roots.at_once();
  for (std::int32_t first = 0; first < m; first += at_once) {
    const std::int32_t end = m - first < at_once ? m : first + at_once;
    code(line, work, {first, end, m}, inner.part_pitch, roots.from(first));
  }
}

// The stage that takes the line, and the one that leaves it: where the radix has no code for that, in place
// and by copies.
template <class V, class Line>
void fetch_line(const LinePlan<LaneOf<V>>& inner, const OuterCode<V, Line>& code, const Line& line,
                LaneOf<V>* work) noexcept {
  if (code.fetch != nullptr) return run_outer_code<V>(inner, code.fetch, line, work);
  run_outer_stage<V, Decimation::kInFrequency>(inner, work,
                                               [&](std::int32_t n, std::int32_t part, LaneOf<V>* place) {
                                                 store_element<V>(place, line.get(n, part));
                                               });
}
template <class V, class Line>
void leave_line(const LinePlan<LaneOf<V>>& inner, const OuterCode<V, Line>& code, const Line& line,
                LaneOf<V>* work) noexcept {
  if (code.leave != nullptr) return run_outer_code<V>(inner, code.leave, line, work);
  run_outer_stage<V, Decimation::kInTime>(inner, work,
                                          [&](std::int32_t n, std::int32_t part, const LaneOf<V>* place) {
                                            line.put(n, part, load_element<V>(place));
                                          });
}

// A part of a convolution between its outer stages: the spectrum and back again, real and imaginary parts
// exchanged.
template <class V>
void convolve_part(const LinePlan<LaneOf<V>>& inner, const Spectrum<LaneOf<V>>& spectrum, LaneOf<V>* part,
                   MeanValue<V>* mean) noexcept {
  const std::int32_t count = inner.part_length;
  const int last = inner.stages - 1;  // not the first one, and of a radix that has code for this
  const std::int32_t radix = inner.radices[last];
  run_part<V>(inner, last, part);
  kRadixCode<V>[radix].convolved(part, count / radix, spectrum, mean);
  run_part_in_time<V>(inner, last, part);
}

// The part in the middle where half of its spectrum is kept.
template <class V>
void convolve_middle_part(const LinePlan<LaneOf<V>>& inner, const Spectrum<LaneOf<V>>& spectrum,
                          LaneOf<V>* part) noexcept {
  const std::int32_t half = inner.part_length / 2;
  const int last = inner.stages - 1;
  const std::int32_t radix = inner.radices[last];
  const auto code = kRadixCode<V>[radix].convolved;
  run_part<V>(inner, last, part);
  code(part, half / radix, spectrum, nullptr);
  code(part + half * kElement<V>, half / radix, {spectrum.re + half - 1, spectrum.im + half - 1, -1},
       nullptr);
  run_part_in_time<V>(inner, last, part);
}

// All parts. Adds `offset` to each result; returns the sum of the inputs.
template <class V>
Complex<V> convolve_parts(const LinePlan<LaneOf<V>>& plan, LaneOf<V>* data,
                          const Complex<V>& offset) noexcept {
  const LinePlan<LaneOf<V>>& inner = *plan.inner;
  const std::ptrdiff_t count = inner.part_length;
  const std::int32_t spectra = spectrum_parts(plan.method, inner.radices[0]);
  const bool halved = has_half_spectrum(plan.method, inner.length, inner.radices[0],
                                        inner.radices[inner.stages - 1], inner.left_out);
  // A constant in every result of the inverse transform is a constant in its first input.
  MeanValue<V> mean{{}, offset};
  for (int i = 0; i < inner.radices[0]; ++i, data += inner.part_pitch * kElement<V>) {
    if (halved && 2 * i == inner.radices[0]) {
      convolve_middle_part<V>(inner, {plan.spectrum_re + i * count, plan.spectrum_im + i * count, 1}, data);
      continue;
    }
    const bool reversed = i >= spectra;
    const std::ptrdiff_t at = reversed ? (inner.radices[0] - i + 1) * count - 1 : i * count;
    convolve_part<V>(inner, {plan.spectrum_re + at, plan.spectrum_im + at, reversed ? -1 : 1}, data,
                     i == 0 ? &mean : nullptr);
  }
  return mean.sum;
}

// Rader's in place: the elements already lie by the powers of a generator, LinePlan::inputs.
template <class V>
void run_rader_in_place(const LinePlan<LaneOf<V>>& plan, LaneOf<V>* data) noexcept {
  const LinePlan<LaneOf<V>>& inner = *plan.inner;
  LaneOf<V>* zero = data + static_cast<std::ptrdiff_t>(inner.radices[0]) * inner.part_pitch * kElement<V>;
  run_outer_stage<V, Decimation::kInFrequency>(inner, data, [](std::int32_t, std::int32_t, LaneOf<V>*) {});
  const Complex<V> first = load_element<V>(zero);
  store_element<V>(zero, first + convolve_parts<V>(plan, data, first));
  run_outer_stage<V, Decimation::kInTime>(inner, data, [](std::int32_t, std::int32_t, LaneOf<V>* place) {
    const Complex<V> x = load_element<V>(place);
    store_element<V>(place, {x.im, x.re});
  });
}

// Rader 1968: the powers of a generator turn a prime length p into a cyclic convolution of length p - 1.
template <class V>
void run_rader(const LinePlan<LaneOf<V>>& plan, LaneOf<V>* data, LaneOf<V>* work) noexcept {
  if (plan.inputs != nullptr) return run_rader_in_place<V>(plan, data);
  const LinePlan<LaneOf<V>>& inner = *plan.inner;
  const PermutedLine<V> line(plan, data);
  const OuterCode<V, PermutedLine<V>>& code = outer_code<V>(inner).permuted;
  fetch_line<V>(inner, code, line, work);
  const Complex<V> first = load_element<V>(data);
  store_element<V>(data, first + convolve_parts<V>(plan, work, first));
  leave_line<V>(inner, code, line, work);
}

// Bluestein 1970: jk = (j^2 + k^2 - (k - j)^2) / 2 turns any length into a convolution with a chirp.
// `work` may be `data` where the plan is for lines in place: each element is then taken from and left at its
// own place.
template <class V>
void run_bluestein(const LinePlan<LaneOf<V>>& plan, LaneOf<V>* data, LaneOf<V>* work) noexcept {
  const LinePlan<LaneOf<V>>& inner = *plan.inner;
  const ChirpedLine<V> line(plan, data);
  const OuterCode<V, ChirpedLine<V>>& code = outer_code<V>(inner).chirped;
  const V zero = constant<V>(0);
  fetch_line<V>(inner, code, line, work);
  convolve_parts<V>(plan, work, {zero, zero});
  leave_line<V>(inner, code, line, work);
}

template <class V>
void run_convolution(const LinePlan<LaneOf<V>>& plan, LaneOf<V>* data, LaneOf<V>* work) noexcept {
  if (plan.method == LineMethod::kRader) return run_rader<V>(plan, data, work);
  run_bluestein<V>(plan, data, work);
}

template <class V>
void convolution_stage(const LinePlan<LaneOf<V>>& prime, LaneOf<V>* data, std::int32_t groups, std::int32_t m,
                       std::int32_t pitch, const LaneOf<V>* own_roots, LaneOf<V>* work) noexcept {
  const std::int32_t radix = prime.length;
  const std::ptrdiff_t stride = pitch * kElement<V>;
  for (std::int32_t g = 0; g < groups; ++g, data += radix * stride) {
    if (m == 1) {
      run_convolution<V>(prime, data, work);
      continue;
    }
    const LaneOf<V>* own = own_roots;
    for (std::int32_t j = 0; j < m; ++j, own += 2 * static_cast<std::ptrdiff_t>(radix - 1)) {
      LaneOf<V>* here = data + j * kElement<V>;
      for (std::int32_t i = 0; i < radix; ++i) {
        store_element<V>(work + i * kElement<V>, load_element<V>(here + i * stride));
      }
      run_convolution<V>(prime, work, work + radix * kElement<V>);
      store_element<V>(here, load_element<V>(work));
      for (std::int32_t q = 1; q < radix; ++q) {
        store_element<V>(here + q * stride, multiply(load_element<V>(work + q * kElement<V>), own, q));
      }
    }
  }
}

template <class V>
void transform_lines(const LinePlan<LaneOf<V>>& plan, LaneOf<V>* data, LaneOf<V>* work) noexcept {
  if (plan.method == LineMethod::kMixedRadix) return run_stages<V>(plan, plan.stages, data, work);
  run_convolution<V>(plan, data, work);
}

}  // namespace
}  // namespace kyv::psfotf
