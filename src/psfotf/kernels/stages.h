// The stages of one-dimensional transforms, a vector of lines at a time.
//
// An element holds kLanes real parts and then kLanes imaginary parts, one lane per line. Stages decimate in
// frequency, in place; the results stay at digit-reversed places (LinePlan::positions). The way back from a
// convolution's spectrum decimates in time, from those places to natural order.
#pragma once

#include <cstddef>
#include <cstdint>

#include "psfotf/kernels/butterflies.h"
#include "psfotf/kernels/elements.h"
#include "psfotf/kernels/outer_stages.h"
#include "psfotf/plan.h"

namespace kyv::psfotf {
namespace {

// A radix 15 in registers, nearly.
inline constexpr bool kManyRegisters = simd::kRegisters >= 32;
inline constexpr bool kFusedInSixteenRegisters = simd::kHasFusedMultiplyAdd && simd::kRegisters >= 16;

// Into the second cache: in the first one, what is needed later pushes out what is in work.
[[gnu::always_inline]] inline void prefetch_for_later(const double* p) noexcept {
  __builtin_prefetch(p, 0, 2);
}

// `groups` transforms of length R * m, cut into parts of m elements that lie `pitch` elements apart:
// butterflies across the parts, and the roots of that length.
template <class V, int R, Decimation D>
void twiddled_stage(LaneOf<V>* data, std::int32_t groups, std::int32_t m, std::int32_t pitch,
                    const Roots<LaneOf<V>>& roots) noexcept {
  const std::ptrdiff_t stride = pitch * kElement<V>;
  for (std::int32_t g = 0; g < groups; ++g) {
    const LaneOf<V>* own = roots.own;
    for (std::int32_t j = 0; j < m; ++j) {
      Complex<V> x[R];
#pragma GCC unroll 16
      for (int i = 0; i < R; ++i) {
        x[i] = load_element<V>(data + i * stride);
        if (D == Decimation::kInTime && i > 0) x[i] = multiply(x[i], own, i);
      }
      Butterfly<R>::apply(x);
#pragma GCC unroll 16
      for (int q = 0; q < R; ++q) {
        const bool rotated = D == Decimation::kInFrequency && q > 0;
        store_element<V>(data + q * stride, rotated ? multiply(x[q], own, q) : x[q]);
      }
      data += kElement<V>;
      own += 2 * (R - 1);
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
  const LaneOf<V>* own = roots.own;
  for (std::int32_t j = 0; j < m; ++j) {
    Complex<V> x[R];
    load_row_elements<V, R>(re, im, source_stride, ahead, x);
    Butterfly<R>::apply(x);
    store_element<V>(data, x[0]);
#pragma GCC unroll 16
    for (int q = 1; q < R; ++q) {
      store_element<V>(data + q * stride, multiply(x[q], own, q));
    }
    re += V::kLanes;
    im += V::kLanes;
    data += kElement<V>;
    own += 2 * (R - 1);
  }
}

// A butterfly of R elements that lie side by side.
template <class V, int R>
[[gnu::always_inline]] inline void transform_elements(const LaneOf<V>* from, Complex<V>* x) noexcept {
#pragma GCC unroll 16
  for (int i = 0; i < R; ++i) x[i] = load_element<V>(from + i * kElement<V>);
  Butterfly<R>::apply(x);
}

// From one place to another, or in place.
template <class V, int R>
void last_stage(const LaneOf<V>* from, LaneOf<V>* to, std::int32_t groups) noexcept {
  for (std::int32_t g = 0; g < groups; ++g, from += R * kElement<V>, to += R * kElement<V>) {
    Complex<V> x[R];
    transform_elements<V, R>(from, x);
#pragma GCC unroll 16
    for (int i = 0; i < R; ++i) store_element<V>(to + i * kElement<V>, x[i]);
  }
}

// The values that a convolution multiplies the elements of a part with.
template <class T>
struct Spectrum {
  const T* re;
  const T* im;
  std::ptrdiff_t step;  // from an element's value to that of the next
};

// What becomes of a convolution's mean value: the sum of the inputs, as the spectrum has it, and what is
// added to each result.
template <class V>
struct MeanValue {
  Complex<V> sum;
  Complex<V> offset;

  // Called with the first element before and behind its product.
  void take(const Complex<V>& x) noexcept { sum = x; }
  Complex<V> add(const Complex<V>& y) const noexcept { return {y.re + offset.im, y.im + offset.re}; }
};

// The product with element k of the spectrum, real and imaginary part exchanged.
template <class V>
[[gnu::always_inline]] inline Complex<V> exchanged_product(const Complex<V>& a,
                                                           const Spectrum<LaneOf<V>>& spectrum,
                                                           std::ptrdiff_t k) noexcept {
  const Complex<V> c = multiply(a, simd::broadcast(spectrum.re[k * spectrum.step]),
                                simd::broadcast(spectrum.im[k * spectrum.step]));
  return {c.im, c.re};
}

// The middle of a convolution without a way through memory: the last stage in frequency, the product with the
// spectrum and the first stage in time, which is the same butterfly. The part with the first element has a
// mean value, the others null.
template <class V, int R>
void convolved_stage(LaneOf<V>* data, std::int32_t groups, const Spectrum<LaneOf<V>>& spectrum,
                     MeanValue<V>* mean) noexcept {
  for (std::int32_t g = 0; g < groups; ++g, data += R * kElement<V>) {
    Complex<V> x[R];
    transform_elements<V, R>(data, x);
    const bool is_first = g == 0 && mean != nullptr;
    if (is_first) mean->take(x[0]);
#pragma GCC unroll 16
    for (int i = 0; i < R; ++i) x[i] = exchanged_product(x[i], spectrum, g * std::ptrdiff_t{R} + i);
    if (is_first) x[0] = mean->add(x[0]);
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
  std::ptrdiff_t group_step;      // values from a result of one butterfly to the same of the next
  std::ptrdiff_t result_step;     // and from one result of a butterfly to its next
  std::ptrdiff_t im_result_step;  // the same for imaginary parts that do not leave with the real ones
  std::ptrdiff_t mirror_column;   // where in a row the mirror image of a vector at column 0 would go
};

// The conjugates, in reverse order.
template <class V>
[[gnu::always_inline]] inline Complex<V> mirrored(const Complex<V>& x) noexcept {
  return {simd::reverse(x.re), constant<V>(0) - simd::reverse(x.im)};
}

// Whether results leave once, or a second time as conjugates at their mirrored places: row (rows - k) % rows,
// column (row_length - c). The outputs of the latter are whole planes, those of the former may begin with the
// first group.
enum class Stored { kOnce, kWithMirrorImage };

// Results 0 to radix - 1 of a butterfly, got one by one, to the caller. Imaginary parts go first: where
// halves of a row overlap in one column, the real part's is the one that stays.
template <class V, Stored S, class Get>
[[gnu::always_inline]] inline void store_results(const ColumnOutput<LaneOf<V>>& out, int block, int radix,
                                                 std::int32_t group, const Get& get) noexcept {
  const std::ptrdiff_t place = group * out.group_step + out.columns[block];
#pragma GCC unroll 16
  for (int q = 0; q < radix; ++q) {
    const Complex<V> x = get(q);
    simd::store_doubles(out.im + place + q * out.result_step, x.im);
    simd::store_doubles(out.re + place + q * out.result_step, x.re);
  }
  if constexpr (S == Stored::kWithMirrorImage) {
    const std::ptrdiff_t column = out.mirror_column - out.columns[block];
    const std::ptrdiff_t below = radix * out.result_step - group * out.group_step + column;
#pragma GCC unroll 16
    for (int q = 0; q < radix; ++q) {
      const std::ptrdiff_t image = group == 0 && q == 0 ? column : below - q * out.result_step;
      const Complex<V> y = mirrored(get(q));
      simd::store_doubles(out.im + image, y.im);
      simd::store_doubles(out.re + image, y.re);
    }
  }
}

// Butterflies first_group to last_group - 1 of every block, each handed to store(results, block, group).
template <class V, int R, class Store>
[[gnu::always_inline]] inline void for_last_butterflies(const ColumnOutput<LaneOf<V>>& out,
                                                        std::int32_t first_group, std::int32_t last_group,
                                                        const Store& store) noexcept {
  for (std::int32_t g = first_group; g < last_group; ++g) {
    const std::ptrdiff_t position = out.positions[g] * kElement<V>;
    for (int b = 0; b < out.count; ++b) {
      Complex<V> x[R];
      transform_elements<V, R>(out.blocks[b] + position, x);
      store(x, b, g);
    }
  }
}

template <class V, int R, Stored S>
void store_last_stage(const ColumnOutput<LaneOf<V>>& out, std::int32_t first_group,
                      std::int32_t last_group) noexcept {
  for_last_butterflies<V, R>(out, first_group, last_group, [&](const Complex<V>* x, int b, std::int32_t g) {
    store_results<V, S>(out, b, R, S == Stored::kOnce ? g - first_group : g, [&](int q) { return x[q]; });
  });
}

// Blocks whose rows fill cache lines together.
template <class V>
inline constexpr int kBlocksInLine = V::kLanes < 8 ? 8 / V::kLanes : 1;

// What leaves past the caches, in whole cache lines: `out` holds a multiple of kBlocksInLine blocks, side by
// side from the start of a line on. Imaginary parts that lie otherwise in theirs are stored as they come.
enum class StreamedParts { kBoth, kReal };

// Results 0 to radix - 1 of the butterflies of kBlocksInLine blocks.
template <class V, StreamedParts P, class Get>
[[gnu::always_inline]] inline void stream_results(const ColumnOutput<LaneOf<V>>& out, int block, int radix,
                                                  std::int32_t group, const Get& get) noexcept {
  constexpr int side = kBlocksInLine<V>;
  const std::ptrdiff_t place = group * out.group_step + out.columns[block];
  const std::ptrdiff_t im_step = P == StreamedParts::kBoth ? out.result_step : out.im_result_step;
#pragma GCC unroll 16
  for (int q = 0; q < radix; ++q) {
    double* re = out.re + place + q * out.result_step;
    double* im = out.im + place + q * im_step;
#pragma GCC unroll 4
    for (int s = 0; s < side; ++s) simd::stream_doubles(re + s * V::kLanes, get(s, q).re);
#pragma GCC unroll 4
    for (int s = 0; s < side; ++s) {
      if constexpr (P == StreamedParts::kBoth) {
        simd::stream_doubles(im + s * V::kLanes, get(s, q).im);
      } else {
        simd::store_doubles(im + s * V::kLanes, get(s, q).im);
      }
    }
  }
}

// Blocks that are each a line in themselves.
template <class V, int R>
void stream_last_stage(const ColumnOutput<LaneOf<V>>& out, std::int32_t first_group,
                       std::int32_t last_group) noexcept {
  for_last_butterflies<V, R>(out, first_group, last_group, [&](const Complex<V>* x, int b, std::int32_t g) {
    stream_results<V, StreamedParts::kBoth>(out, b, R, g - first_group, [&](int, int q) { return x[q]; });
  });
}

// Sums and differences of the mirrored inputs of a butterfly that is summed directly.
template <class V>
struct MirroredInputs {
  Complex<V> first;
  Complex<V> sum[kMaxDirectRadix / 2];
  Complex<V> difference[kMaxDirectRadix / 2];
};

// Adds to each of Count sums the terms, one after another, times values of the sum's own column of `roots`,
// whose rows are `half` long.
template <class V, int Count>
[[gnu::always_inline]] inline void add_products(const Complex<V>* terms, int half, const LaneOf<V>* roots,
                                                Complex<V>* sums) noexcept {
  for (int n = 0; n < half; ++n, roots += half) {
    const Complex<V> term = terms[n];
#pragma GCC unroll 8
    for (int i = 0; i < Count; ++i) {
      const V root = simd::broadcast(roots[i]);
      sums[i].re = mul_add(term.re, root, sums[i].re);
      sums[i].im = mul_add(term.im, root, sums[i].im);
    }
  }
}

// Results k to k + Count - 1 of `radix`, k from 1 on, and those mirrored to them, each handed to
// store(result, value). Several at once take each sum and difference from memory once.
template <class V, int Count, class Store>
[[gnu::always_inline]] inline void sum_directly(const MirroredInputs<V>& inputs, const LaneOf<V>* roots,
                                                int radix, int k, const Store& store) noexcept {
  const int half = radix / 2;
  Complex<V> even[Count];
  Complex<V> odd[Count];
#pragma GCC unroll 8
  for (int i = 0; i < Count; ++i) {
    even[i] = inputs.first;
    odd[i] = {constant<V>(0), constant<V>(0)};
  }
  add_products<V, Count>(inputs.sum, half, roots + k - 1, even);
  add_products<V, Count>(inputs.difference, half, roots + half * half + k - 1, odd);
#pragma GCC unroll 8
  for (int i = 0; i < Count; ++i) {
    store(k + i, add_i(even[i], odd[i]));
    store(radix - k - i, sub_i(even[i], odd[i]));
  }
}

// All results but the first: groups of up to as many as the registers hold the sums of, equal but for one.
// With half of a radix of at least 17 that is four to six, with eight registers one or two.
template <class V, class Store>
[[gnu::always_inline]] inline void sum_directly(const MirroredInputs<V>& inputs, const LaneOf<V>* roots,
                                                int radix, const Store& store) noexcept {
  constexpr int at_once = simd::kRegisters < 16 ? 2 : 6;
  const int half = radix / 2;
  int k = 1;
  for (int groups = (half + at_once - 1) / at_once; groups > 0; --groups) {
    const int count = (half + 1 - k + groups - 1) / groups;
    if constexpr (at_once == 2) {
      if (count == 2) sum_directly<V, 2>(inputs, roots, radix, k, store);
      if (count == 1) sum_directly<V, 1>(inputs, roots, radix, k, store);
    } else {
      if (count == 6) sum_directly<V, 6>(inputs, roots, radix, k, store);
      if (count == 5) sum_directly<V, 5>(inputs, roots, radix, k, store);
      if (count == 4) sum_directly<V, 4>(inputs, roots, radix, k, store);
    }
    k += count;
  }
}

// An odd radix without code of its own, summed directly.
template <class V, Decimation D>
void direct_stage(LaneOf<V>* data, int radix, std::int32_t groups, std::int32_t m, std::int32_t pitch,
                  const Roots<LaneOf<V>>& roots) noexcept {
  const int half = radix / 2;
  const std::ptrdiff_t stride = pitch * kElement<V>;
  const LaneOf<V>* own = nullptr;
  const auto rotated = [&](const Complex<V>& a, Decimation at_hand, int result) {
    return D == at_hand ? multiply(a, own, result) : a;
  };
  const auto store = [&](int result, const Complex<V>& x) {
    store_element<V>(data + result * stride, rotated(x, Decimation::kInFrequency, result));
  };
  MirroredInputs<V> inputs;
  for (std::int32_t g = 0; g < groups; ++g) {
    own = roots.own;
    for (std::int32_t j = 0; j < m; ++j) {
      inputs.first = load_element<V>(data);
      Complex<V> total = inputs.first;
      for (int i = 0; i < half; ++i) {
        const int mirrored = radix - 1 - i;
        const Complex<V> a = rotated(load_element<V>(data + (i + 1) * stride), Decimation::kInTime, i + 1);
        const Complex<V> b =
            rotated(load_element<V>(data + mirrored * stride), Decimation::kInTime, mirrored);
        inputs.sum[i] = a + b;
        inputs.difference[i] = a - b;
        total = total + inputs.sum[i];
      }
      store_element<V>(data, total);
      sum_directly<V>(inputs, roots.sums, radix, store);
      data += kElement<V>;
      own += 2 * (radix - 1);
    }
    data += radix * stride - m * kElement<V>;
  }
}

// The code of a radix. All of them have `twiddled` and `last`; null elsewhere stands for these two with what
// they need in between, a little slower, where few lengths come by: this is what compilers spend their time
// on.
template <class V>
struct RadixCode {
  void (*twiddled)(LaneOf<V>*, std::int32_t, std::int32_t, std::int32_t, const Roots<LaneOf<V>>&) noexcept;
  void (*last)(const LaneOf<V>*, LaneOf<V>*, std::int32_t) noexcept;
  void (*load_first)(const double*, const double*, std::ptrdiff_t, LaneOf<V>*, std::int32_t, std::int32_t,
                     const Roots<LaneOf<V>>&) noexcept;
  void (*twiddled_in_time)(LaneOf<V>*, std::int32_t, std::int32_t, std::int32_t,
                           const Roots<LaneOf<V>>&) noexcept;
  void (*store_last)(const ColumnOutput<LaneOf<V>>&, std::int32_t, std::int32_t) noexcept;
  void (*store_mirrored_last)(const ColumnOutput<LaneOf<V>>&, std::int32_t, std::int32_t) noexcept;
  void (*stream_last)(const ColumnOutput<LaneOf<V>>&, std::int32_t, std::int32_t) noexcept;
  void (*convolved)(LaneOf<V>*, std::int32_t, const Spectrum<LaneOf<V>>&, MeanValue<V>*) noexcept;
  OuterCode<V, ChirpedLine<V>> chirped;
  OuterCode<V, PermutedLine<V>> permuted;
  OuterCode<V, ChirpedRow<V>> chirped_row;
};

template <class V, int R>
constexpr RadixCode<V> radix_code() noexcept {
  RadixCode<V> code{};
  code.twiddled = twiddled_stage<V, R, Decimation::kInFrequency>;
  code.last = last_stage<V, R>;
  // One lane is for planes of one row or very few columns; its composite radices are for tables alone.
  constexpr bool one_lane = V::kLanes == 1;
  if constexpr (!one_lane || R < 6 || R == 7 || R == 8 || R == 11 || R == 13) {
    code.twiddled_in_time = twiddled_stage<V, R, Decimation::kInTime>;
  }
  if constexpr (!one_lane) code.store_last = store_last_stage<V, R, Stored::kOnce>;
  if constexpr (!one_lane && R != 11 && R != 13) {
    code.load_first = load_first_stage<V, R>;
    code.store_mirrored_last = store_last_stage<V, R, Stored::kWithMirrorImage>;
  }
  // Lengths of convolutions are even and have two stages or more, and these factors come last: with
  // thirty-two registers 12 * 3 or 10 * 3 at the end would cost more than 9 * 4 or 5 * 6.
  if constexpr (R == 2 || R == 4 || R == 8 || (!one_lane && (R == 6 || R == 10 || R == 12))) {
    code.convolved = convolved_stage<V, R>;
  }
  // The radices that convolutions begin with; lengths that are chosen freely have no large or odd composite
  // factors.
  if constexpr (one_lane && R == 8) {
    code.chirped = {fetch_stage<V, R, ChirpedLine<V>>, leave_stage<V, R, ChirpedLine<V>>};
  }
  if constexpr (!one_lane && (R == 3 || R >= 5)) {
    code.permuted = {fetch_stage<V, R, PermutedLine<V>>, leave_stage<V, R, PermutedLine<V>>};
    if constexpr (R != 9 && R != 11 && R != 13 && R != 15) {
      code.chirped = {fetch_stage<V, R, ChirpedLine<V>>, leave_stage<V, R, ChirpedLine<V>>};
    }
    if constexpr (R != 3 && R != 11 && R != 13) {
      code.chirped_row = {fetch_stage<V, R, ChirpedRow<V>>, leave_stage<V, R, ChirpedRow<V>>};
    }
  }
  if constexpr (kBlocksInLine<V> == 1 && (R == 4 || R == 5 || R == 6 || R == 8 || R == 10)) {
    code.stream_last = stream_last_stage<V, R>;
  }
  return code;
}

// Radices that only sets with many registers gain from (RadixSet). The scalar one has what the tables of
// convolutions take, which are transformed with it for every set.
template <class V, int R>
constexpr RadixCode<V> composite_radix_code() noexcept {
  constexpr bool sixteen = kFusedInSixteenRegisters && (R == 6 || R == 10 || R == 12);
  if constexpr (kManyRegisters || sixteen || (V::kLanes == 1 && sizeof(LaneOf<V>) == sizeof(double))) {
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

// The results of one butterfly.
template <class V>
class Buffer {
 public:
  Complex<V> get(int q) const noexcept { return load_element<V>(values_ + q * kElement<V>); }
  void apply(int radix, const LaneOf<V>* inputs) noexcept { kRadixCode<V>[radix].last(inputs, values_, 1); }

 private:
  alignas(64) LaneOf<V> values_[kMaxFixedRadix * kElement<V>];
};

// A stage with roots, of any radix that is not a convolution.
template <class V, Decimation D>
void run_radix(int radix, LaneOf<V>* data, std::int32_t groups, std::int32_t m, std::int32_t pitch,
               const Roots<LaneOf<V>>& roots) noexcept {
  if (radix > kMaxFixedRadix) return direct_stage<V, D>(data, radix, groups, m, pitch, roots);
  const RadixCode<V>& code = kRadixCode<V>[radix];
  (D == Decimation::kInTime ? code.twiddled_in_time : code.twiddled)(data, groups, m, pitch, roots);
}

// The first stage of a row, as load_first_stage().
template <class V>
void load_first(int radix, const double* re, const double* im, std::ptrdiff_t ahead, LaneOf<V>* data,
                std::int32_t m, std::int32_t pitch, const Roots<LaneOf<V>>& roots) noexcept {
  const auto code = radix <= kMaxFixedRadix ? kRadixCode<V>[radix].load_first : nullptr;
  if (code != nullptr) return code(re, im, ahead, data, m, pitch, roots);
  for (int i = 0; i < radix; ++i) {
    LaneOf<V>* part = data + i * static_cast<std::ptrdiff_t>(pitch) * kElement<V>;
    for (std::int32_t j = 0; j < m; ++j, re += V::kLanes, im += V::kLanes, part += kElement<V>) {
      Complex<V> x;
      load_row_elements<V, 1>(re, im, 0, ahead, &x);
      store_element<V>(part, x);
    }
  }
  run_radix<V, Decimation::kInFrequency>(radix, data, 1, m, pitch, roots);
}

template <class V, Stored S>
void store_last(int radix, const ColumnOutput<LaneOf<V>>& out, std::int32_t first_group,
                std::int32_t last_group) noexcept {
  const RadixCode<V>& radix_code = kRadixCode<V>[radix];
  const auto code = S == Stored::kOnce ? radix_code.store_last : radix_code.store_mirrored_last;
  if (code != nullptr) return code(out, first_group, last_group);
  Buffer<V> buffer;
  for (std::int32_t g = first_group; g < last_group; ++g) {
    for (int b = 0; b < out.count; ++b) {
      buffer.apply(radix, out.blocks[b] + out.positions[g] * kElement<V>);
      store_results<V, S>(out, b, radix, S == Stored::kOnce ? g - first_group : g,
                          [&](int q) { return buffer.get(q); });
    }
  }
}

// The same past the caches, in whole cache lines.
template <class V, StreamedParts P>
void stream_last(int radix, const ColumnOutput<LaneOf<V>>& out, std::int32_t first_group,
                 std::int32_t last_group) noexcept {
  constexpr int side = kBlocksInLine<V>;
  const auto code = kRadixCode<V>[radix].stream_last;
  if (P == StreamedParts::kBoth && code != nullptr) return code(out, first_group, last_group);
  Buffer<V> blocks[side];
  for (std::int32_t g = first_group; g < last_group; ++g) {
    for (int b = 0; b < out.count; b += side) {
      for (int s = 0; s < side; ++s)
        blocks[s].apply(radix, out.blocks[b + s] + out.positions[g] * kElement<V>);
      stream_results<V, P>(out, b, radix, g - first_group, [&](int s, int q) { return blocks[s].get(q); });
    }
  }
}

// The roots of stage s, which takes transforms of `length` elements.
template <class V>
Roots<LaneOf<V>> stage_roots(const LinePlan<LaneOf<V>>& plan, int s, std::int32_t length) noexcept {
  const std::ptrdiff_t before = static_cast<std::ptrdiff_t>(plan.length) - length - plan.left_out;
  return {plan.stage_roots + 2 * before, plan.sum_roots + sum_roots_before(plan.radices, s)};
}

// Butterflies of a first stage that are done at a time: where their inputs or results are copied besides, so
// many that these stay in the first cache.
inline constexpr std::int32_t kButterfliesAtOnce = 8;

// The roots of the first stage, some butterflies' at a time.
template <class V>
class FirstRoots {
 public:
  using T = LaneOf<V>;

  explicit FirstRoots(const LinePlan<T>& plan) noexcept : plan_(plan) {}

  // How many butterflies' roots follow one another.
  std::int32_t at_once() const noexcept {
    return plan_.coarse_roots != nullptr ? kButterfliesAtOnce : plan_.part_length;
  }
  // Those from butterfly `first` on, a multiple of kButterfliesAtOnce.
  Roots<T> from(std::int32_t first) noexcept {
    const std::ptrdiff_t step = 2 * static_cast<std::ptrdiff_t>(plan_.radices[0] - 1);
    if (plan_.coarse_roots == nullptr) return {plan_.stage_roots + step * first, plan_.sum_roots};
    static_assert(kFineRoots % kButterfliesAtOnce == 0);
    const T* coarse = plan_.coarse_roots + step * (first / kFineRoots);
    const T* fine = plan_.fine_roots + step * (first % kFineRoots);
    const T* turned = fine + step * kFineRoots;
    for (std::ptrdiff_t q = 0; q < step; q += kValues) {
      // The last vector may include a root of the one before.
      const std::ptrdiff_t own = q + kValues <= step ? q : step - kValues;
      Values re;
      Values im;
#pragma GCC unroll 4
      for (int i = 0; i < kValues; ++i) {
        re[i] = coarse[own + i / 2 * 2];
        im[i] = coarse[own + i / 2 * 2 + 1];
      }
#pragma GCC unroll 8
      for (std::ptrdiff_t j = 0; j < kButterfliesAtOnce; ++j) {
        const std::ptrdiff_t at = own + j * step;
        const Values product = load_values(fine + at) * re + load_values(turned + at) * im;
        __builtin_memcpy(products_ + at, &product, sizeof product);
      }
    }
    return {products_, plan_.sum_roots};
  }

 private:
  // The compiler's own vectors: a root or two, also where the kernels have one lane.
  static constexpr int kValues = simd::kVectorBytes < 32 ? 16 / sizeof(T) : 4;
  using Values [[gnu::vector_size(kValues * sizeof(T))]] = T;
  // They are aligned as single values are.
  static Values load_values(const T* from) noexcept {
    Values values;
    __builtin_memcpy(&values, from, sizeof values);
    return values;
  }

  const LinePlan<T>& plan_;
  T products_[2 * (kMaxDirectRadix - 1) * kButterfliesAtOnce];
};

// A stage whose butterflies are convolutions, which work in `work`.
template <class V>
void convolution_stage(const LinePlan<LaneOf<V>>& prime, LaneOf<V>* data, std::int32_t groups, std::int32_t m,
                       std::int32_t pitch, const LaneOf<V>* own_roots, LaneOf<V>* work) noexcept;

// Stage s, of `groups` adjacent transforms of `length` elements. Lines with convolutions need `work`.
template <class V, Decimation D = Decimation::kInFrequency>
[[gnu::always_inline]] inline void run_stage(const LinePlan<LaneOf<V>>& plan, int s, std::int32_t groups,
                                             std::int32_t length, std::int32_t pitch, LaneOf<V>* data,
                                             LaneOf<V>* work = nullptr) noexcept {
  const std::int32_t radix = plan.radices[s];
  const std::int32_t m = length / radix;
  if (m == 1 && radix <= kMaxFixedRadix) return kRadixCode<V>[radix].last(data, data, groups);
  const Roots<LaneOf<V>> roots = stage_roots<V>(plan, s, length);
  if constexpr (D == Decimation::kInFrequency) {
    const LinePlan<LaneOf<V>>* prime = plan.primes != nullptr ? plan.primes[s] : nullptr;
    if (prime != nullptr) return convolution_stage<V>(*prime, data, groups, m, pitch, roots.own, work);
  }
  run_radix<V, D>(radix, data, groups, m, pitch, roots);
}

// Stages 1 to last - 1 of a mixed-radix plan on one of the parts.
template <class V>
void run_part(const LinePlan<LaneOf<V>>& plan, int last, LaneOf<V>* part,
              LaneOf<V>* work = nullptr) noexcept {
  if (last < 2) return;
  std::int32_t groups = 1;
  std::int32_t length = plan.part_length;
  for (int s = 1; s < last; ++s) {
    const std::int32_t radix = plan.radices[s];
    run_stage<V>(plan, s, groups, length, length / radix, part, work);
    groups *= radix;
    length /= radix;
  }
}

// Stages last - 1 to 1 in time, from where run_part() leaves results: behind the first `last` of them to
// natural order.
template <class V>
void run_part_in_time(const LinePlan<LaneOf<V>>& plan, int last, LaneOf<V>* part) noexcept {
  if (last < 2) return;
  std::int32_t length = 1;
  for (int s = plan.stages - 1; s >= last; --s) length *= plan.radices[s];
  std::int32_t groups = plan.part_length / length;
  for (int s = last - 1; s >= 1; --s) {
    const std::int32_t radix = plan.radices[s];
    groups /= radix;
    run_stage<V, Decimation::kInTime>(plan, s, groups, length * radix, length, part);
    length *= radix;
  }
}

// Stages 1 to last - 1, part after part.
template <class V>
void run_later_stages(const LinePlan<LaneOf<V>>& plan, int last, LaneOf<V>* data,
                      LaneOf<V>* work = nullptr) noexcept {
  if (last < 2) return;
  for (std::int32_t i = 0; i < plan.radices[0]; ++i, data += plan.part_pitch * kElement<V>) {
    run_part<V>(plan, last, data, work);
  }
}

// Stage 0 where its roots are products; it needs much of the stack, which other lines are not to pay for.
template <class V>
[[gnu::noinline]] void run_first_stage(const LinePlan<LaneOf<V>>& plan, LaneOf<V>* data) noexcept {
  const std::int32_t m = plan.part_length;
  FirstRoots<V> roots(plan);
  for (std::int32_t first = 0; first < m; first += kButterfliesAtOnce) {
    const std::int32_t count = m - first < kButterfliesAtOnce ? m - first : kButterfliesAtOnce;
    run_radix<V, Decimation::kInFrequency>(plan.radices[0], data + first * kElement<V>, 1, count,
                                           plan.part_pitch, roots.from(first));
  }
}

// Stages 0 to last - 1.
template <class V>
void run_stages(const LinePlan<LaneOf<V>>& plan, int last, LaneOf<V>* data, LaneOf<V>* work) noexcept {
  if (last < 1) return;
  if (plan.coarse_roots != nullptr) {
    run_first_stage<V>(plan, data);
  } else {
    run_stage<V>(plan, 0, 1, plan.length, plan.part_pitch, data, work);
  }
  run_later_stages<V>(plan, last, data, work);
}

}  // namespace
}  // namespace kyv::psfotf
