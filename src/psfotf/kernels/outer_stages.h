// The outer stages of convolutions: they take and leave the elements of a line in the order that it needs.
#pragma once

#include <cstddef>
#include <cstdint>

#include "psfotf/kernels/elements.h"
#include "psfotf/plan.h"
#include "runtime/memory_model.h"

namespace kyv::psfotf {
namespace {

// Each line has get(n, i) and put(n, i, x): element n, which the outer stage has in part i.

// Bluestein's: times the chirp, zeros behind the end. Where lines lie in place, they have the gaps between
// the parts that the inner transform has.
template <class V>
class ChirpedLine {
 public:
  using T = LaneOf<V>;

  ChirpedLine(const LinePlan<T>& plan, T* data) noexcept
      : data_(data),
        gap_(plan.inputs != nullptr ? plan.inner->part_pitch - plan.inner->part_length : 0),
        chirp_re_(plan.chirp_re),
        chirp_im_(plan.chirp_im),
        length_(plan.length),
        sign_(static_cast<T>(chirp_sign(plan.length))) {}

  [[gnu::always_inline]] Complex<V> get(std::int32_t n, std::int32_t part) const noexcept {
    if (n >= length_) return {constant<V>(0), constant<V>(0)};
    return chirped(load_element<V>(data_ + (n + part * gap_) * kElement<V>), n);
  }
  // Nothing: elements are taken in their order.
  [[gnu::always_inline]] void prefetch(std::int32_t) const noexcept {}
  // A result of the inverse transform, real and imaginary part exchanged.
  [[gnu::always_inline]] void put(std::int32_t n, std::int32_t part, const Complex<V>& x) const noexcept {
    if (n < length_) store_element<V>(data_ + (n + part * gap_) * kElement<V>, chirped({x.im, x.re}, n));
  }

 private:
  [[gnu::always_inline]] Complex<V> chirped(const Complex<V>& a, std::int32_t n) const noexcept {
    const bool behind = 2 * n > length_;
    const std::int32_t m = behind ? length_ - n : n;
    const T factor = behind ? sign_ : 1;
    return multiply(a, simd::broadcast(factor * chirp_re_[m]), simd::broadcast(factor * chirp_im_[m]));
  }

  T* data_;
  std::int32_t gap_;
  const T* chirp_re_;
  const T* chirp_im_;
  std::int32_t length_;
  T sign_;
};

// The last values of a row, which fill no vector, and their chirp; zeros behind them.
template <class V>
struct RowTail {
  using T = LaneOf<V>;
  alignas(64) T values[kElement<V>];
  alignas(64) T chirp[kElement<V>];

  RowTail(const LinePlan<T>& row, const double* re, const double* im) noexcept {
    const std::int32_t left = row.length % V::kLanes;
    const std::ptrdiff_t first = row.length - left;
    const auto sign = static_cast<T>(chirp_sign(row.length));
    for (std::int32_t lane = 0; lane < V::kLanes; ++lane) {
      const bool is_there = lane < left;
      const std::int32_t m = left - lane;  // to the end of the row
      chirp[lane] = is_there ? sign * row.chirp_re[m] : 0;
      chirp[V::kLanes + lane] = is_there ? sign * row.chirp_im[m] : 0;
      values[lane] = is_there ? static_cast<T>(load_double(re + first + lane)) : 0;
      values[V::kLanes + lane] = is_there ? static_cast<T>(load_double(im + first + lane)) : 0;
    }
  }
};

// A row of the caller's as a line: its elements times the chirp, zeros behind its end; its results, scaled,
// to one row of the blocks.
template <class V>
class ChirpedRow {
 public:
  using T = LaneOf<V>;

  ChirpedRow(const PlanePlan<T>& plan, T scale, const double* re, const double* im, const RowTail<V>& tail,
             T* first_block) noexcept
      : re_(re),
        im_(im),
        tail_(&tail),
        chirp_re_(plan.row->chirp_re),
        chirp_im_(plan.row->chirp_im),
        first_block_(first_block),
        block_pitch_(static_cast<std::ptrdiff_t>(plan.block_pitch)),
        length_(plan.row_length),
        whole_(plan.row_length / V::kLanes),
        left_(plan.row_length % V::kLanes),
        scale_(simd::broadcast(scale)),
        sign_(simd::broadcast(static_cast<T>(chirp_sign(plan.row_length)))) {}

  [[gnu::always_inline]] Complex<V> get(std::int32_t e, std::int32_t) const noexcept {
    if (e > whole_) return {constant<V>(0), constant<V>(0)};
    Complex<V> x = load_element<V>(tail_->values);
    if (e < whole_) {
      simd::load_doubles(x.re, re_ + e * std::ptrdiff_t{V::kLanes});
      simd::load_doubles(x.im, im_ + e * std::ptrdiff_t{V::kLanes});
    }
    return chirped(x, e);
  }
  [[gnu::always_inline]] void prefetch(std::int32_t) const noexcept {}
  // A result of the inverse transform, real and imaginary part exchanged.
  [[gnu::always_inline]] void put(std::int32_t e, std::int32_t, const Complex<V>& x) const noexcept {
    if (e > whole_ || (e == whole_ && left_ == 0)) return;
    const Complex<V> y = chirped({x.im, x.re}, e);
    store_element<V>(block(e), {y.re * scale_, y.im * scale_});
  }
  // Behind the last put(): the last block overlaps the one before.
  void finish() const noexcept {
    if (left_ == 0) return;
    alignas(64) T pairs[4 * V::kLanes];
    const Complex<V> before = load_element<V>(block(whole_ - 1));
    const Complex<V> last = load_element<V>(block(whole_));
    store_element<V>(pairs, {before.re, last.re});
    store_element<V>(pairs + kElement<V>, {before.im, last.im});
    store_element<V>(block(whole_), {simd::load(pairs + left_), simd::load(pairs + kElement<V> + left_)});
  }

 private:
  T* block(std::int32_t e) const noexcept { return first_block_ + e * block_pitch_; }
  [[gnu::always_inline]] Complex<V> chirped(const Complex<V>& a, std::int32_t e) const noexcept {
    const std::int32_t n = e * V::kLanes;
    if (e == whole_) return multiply(a, simd::load(tail_->chirp), simd::load(tail_->chirp + V::kLanes));
    if (2 * n <= length_) return multiply(a, simd::load(chirp_re_ + n), simd::load(chirp_im_ + n));
    const std::int32_t m = length_ - n - (V::kLanes - 1);
    return multiply(a, simd::reverse(simd::load(chirp_re_ + m)) * sign_,
                    simd::reverse(simd::load(chirp_im_ + m)) * sign_);
  }

  const double* re_;
  const double* im_;
  const RowTail<V>* tail_;
  const T* chirp_re_;
  const T* chirp_im_;
  T* first_block_;
  std::ptrdiff_t block_pitch_;
  std::int32_t length_;
  std::int32_t whole_;  // elements
  std::int32_t left_;   // values behind them
  V scale_;
  V sign_;
};

// Rader's: all but the first element, by the powers of a generator.
template <class V>
class PermutedLine {
 public:
  using T = LaneOf<V>;

  PermutedLine(const LinePlan<T>& plan, T* data) noexcept
      : data_(data), powers_(plan.powers), inverse_powers_(plan.powers + plan.length - 1) {}

  [[gnu::always_inline]] Complex<V> get(std::int32_t n, std::int32_t) const noexcept {
    return load_element<V>(data_ + powers_[n] * kElement<V>);
  }
  [[gnu::always_inline]] void prefetch(std::int32_t n) const noexcept {
    const T* element = data_ + powers_[n] * kElement<V>;
    __builtin_prefetch(element);
    if constexpr (2 * sizeof(V) > runtime::kCacheLine) __builtin_prefetch(element + V::kLanes);
  }
  [[gnu::always_inline]] void put(std::int32_t n, std::int32_t, const Complex<V>& x) const noexcept {
    store_element<V>(data_ + inverse_powers_[-n] * kElement<V>, {x.im, x.re});
  }

 private:
  T* data_;
  const std::int32_t* powers_;
  const std::int32_t* inverse_powers_;
};

// Elements in the order of a generator's powers are fetched so many butterflies ahead: no processor foresees
// them, and a column of a large plane is more than the first cache holds.
inline constexpr std::int32_t kButterfliesAhead = 2;

// Butterflies `first` to `end` - 1 of m.
struct SomeButterflies {
  std::int32_t first;
  std::int32_t end;
  std::int32_t m;
};

// The first stage of a convolution in frequency and its last one in time, which take and leave the elements
// of a line. Each has a copy of the line: what it leaves might else be a change of the line itself, whose
// pointers would be read anew for every element.
template <class V, int R, class Line>
void fetch_stage(const Line& shared, LaneOf<V>* data, const SomeButterflies& some, std::int32_t pitch,
                 const Roots<LaneOf<V>>& roots) noexcept {
  const Line line = shared;
  const std::ptrdiff_t stride = pitch * kElement<V>;
  const auto [first, end, m] = some;
  const LaneOf<V>* own = roots.own;
  data += first * kElement<V>;
  for (std::int32_t j = first; j < end; ++j) {
    Complex<V> x[R];
    if (j + kButterfliesAhead < m) {
#pragma GCC unroll 16
      for (int i = 0; i < R; ++i) line.prefetch(i * m + j + kButterfliesAhead);
    }
#pragma GCC unroll 16
    for (int i = 0; i < R; ++i) x[i] = line.get(i * m + j, i);
    Butterfly<R>::apply(x);
    store_element<V>(data, x[0]);
#pragma GCC unroll 16
    for (int q = 1; q < R; ++q) store_element<V>(data + q * stride, multiply(x[q], own, q));
    data += kElement<V>;
    own += 2 * (R - 1);
  }
}

template <class V, int R, class Line>
void leave_stage(const Line& shared, const LaneOf<V>* data, const SomeButterflies& some, std::int32_t pitch,
                 const Roots<LaneOf<V>>& roots) noexcept {
  const Line line = shared;
  const std::ptrdiff_t stride = pitch * kElement<V>;
  const auto [first, end, m] = some;
  const LaneOf<V>* own = roots.own;
  data += first * kElement<V>;
  for (std::int32_t j = first; j < end; ++j) {
    Complex<V> x[R];
#pragma GCC unroll 16
    for (int i = 0; i < R; ++i) {
      x[i] = load_element<V>(data + i * stride);
      if (i > 0) x[i] = multiply(x[i], own, i);
    }
    Butterfly<R>::apply(x);
#pragma GCC unroll 16
    for (int q = 0; q < R; ++q) line.put(q * m + j, q, x[q]);
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
