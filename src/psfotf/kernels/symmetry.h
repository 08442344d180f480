// Real and Hermitian planes: recognised, and made exactly so.
//
// The mirror image of value c of row k, of R rows of C values, is value (C - c) % C of row (R - k) % R.
#pragma once

#include <cstddef>
#include <cstdint>

#include "psfotf/kernels/elements.h"
#include "psfotf/kernels/kernels.h"
#include "psfotf/kernels/stages.h"

namespace kyv::psfotf {
namespace {

// What is compared is met once, straight from memory: it is fetched this many values ahead.
inline constexpr std::size_t kAhead = 1024;

// Whether every value is a zero of either sign.
[[gnu::noinline]] bool are_zeros(const double* values, std::size_t count) noexcept {
  constexpr std::size_t lanes = simd::F64::kLanes;
  std::size_t at = 0;
  for (; at + 4 * lanes <= count; at += 4 * lanes) {
    const double* p = values + at;
#pragma GCC unroll 4
    for (std::size_t line = 0; line < 4 * lanes; line += 8) prefetch_for_later(p + kAhead + line);
    const simd::F64 first = simd::load(p) | simd::load(p + lanes);
    const simd::F64 second = simd::load(p + 2 * lanes) | simd::load(p + 3 * lanes);
    if (!simd::all_zero(first | second)) return false;
  }
  for (; at < count; ++at) {
    if (load_double(values + at) != 0) return false;
  }
  return true;
}

enum class Part { kReal, kImaginary };

// What a value lacks to be its mirror image's conjugate: not zero for infinite values.
template <Part P, class Value>
[[gnu::always_inline]] inline Value lack(Value a, Value image) noexcept {
  return P == Part::kReal ? a - image : a + image;
}

// Calls vector(c) for stretches of a vector's lanes that cover columns 1 to end - 1, or single(c) for each
// where that is less than a vector. Stops, and returns false, when a call does.
template <class Vector, class Single>
[[gnu::always_inline]] inline bool for_columns(std::ptrdiff_t end, const Vector& vector,
                                               const Single& single) noexcept {
  constexpr std::ptrdiff_t lanes = simd::F64::kLanes;
  if (end <= lanes) {
    for (std::ptrdiff_t c = 1; c < end; ++c) {
      if (!single(c)) return false;
    }
    return true;
  }
  for (std::ptrdiff_t c = 1; c + lanes <= end; c += lanes) {
    if (!vector(c)) return false;
  }
  return vector(end - lanes);
}

// Whether one part of a row and of its mirror image are conjugates in columns 0 to end - 1.
template <Part P>
inline bool are_images(const double* row, const double* image, std::ptrdiff_t length,
                       std::ptrdiff_t end) noexcept {
  if (lack<P>(load_double(row), load_double(image)) != 0) return false;
  return for_columns(
      end,
      [&](std::ptrdiff_t c) {
        const double* p = image + length - c - simd::F64::kLanes + 1;
        prefetch_for_later(p - 2 * length);  // the rows to come are before this one
        return simd::all_zero(lack<P>(simd::load(row + c), simd::reverse(simd::load(p))));
      },
      [&](std::ptrdiff_t c) { return lack<P>(load_double(row + c), load_double(image + length - c)) == 0; });
}

// Whether row `row` and its mirror image are conjugates.
[[gnu::noinline]] bool is_row_hermitian(const PlaneShape& shape, const double* re, const double* im,
                                        std::int32_t row) noexcept {
  const std::ptrdiff_t length = shape.row_length;
  const std::ptrdiff_t at = row * length;
  const std::ptrdiff_t image = row == 0 ? 0 : (shape.rows - row) * length;
  const std::ptrdiff_t end = at == image ? length / 2 + 1 : length;
  return are_images<Part::kReal>(re + at, re + image, length, end) &&
         are_images<Part::kImaginary>(im + at, im + image, length, end);
}

// Whether a square plane whose side is whole vectors is Hermitian.
[[gnu::noinline, maybe_unused]] bool is_square_hermitian(const double* re, const double* im,
                                                         std::ptrdiff_t side) noexcept {
  constexpr std::ptrdiff_t lanes = simd::F64::kLanes;
  if (load_double(im) != 0) return false;  // its own mirror image: most others are known by it
  for (std::ptrdiff_t row = 0; row <= side / 2; ++row) {
    const std::ptrdiff_t at = row * side;
    const std::ptrdiff_t image = row == 0 ? 0 : (side - row) * side;
    simd::F64 lacks = simd::broadcast(0.0);
    simd::F64 next_re = simd::load(re + image);
    simd::F64 next_im = simd::load(im + image);
    for (std::ptrdiff_t c = 0; c < side; c += lanes) {
      const std::ptrdiff_t last = image + side - lanes - c;
      const simd::F64 last_re = simd::load(re + last);
      const simd::F64 last_im = simd::load(im + last);
      lacks = lacks | lack<Part::kReal>(simd::load(re + at + c), simd::mirror(last_re, next_re)) |
              lack<Part::kImaginary>(simd::load(im + at + c), simd::mirror(last_im, next_im));
      next_re = last_re;
      next_im = last_im;
    }
    if (!simd::all_zero(lacks)) return false;
  }
  return true;
}

inline bool is_hermitian(const PlaneShape& shape, const double* re, const double* im) noexcept {
  for (std::int32_t row = 0; row <= shape.rows / 2; ++row) {
    if (!is_row_hermitian(shape, re, im, row)) return false;
  }
  return true;
}

// Columns 1 to end - 1 of a row to its mirror image.
template <Part P>
inline void write_image(const double* row, double* image, std::ptrdiff_t length,
                        std::ptrdiff_t end) noexcept {
  for_columns(
      end,
      [&](std::ptrdiff_t c) {
        const simd::F64 v = simd::reverse(simd::load(row + c));
        simd::store(image + length - c - simd::F64::kLanes + 1,
                    P == Part::kReal ? v : simd::broadcast(0.0) - v);
        return true;
      },
      [&](std::ptrdiff_t c) {
        const double v = load_double(row + c);
        store_double(image + length - c, P == Part::kReal ? v : 0.0 - v);
        return true;
      });
}

// A row that is its own mirror image: its second half from its first.
inline void mirror_half_row(double* re, double* im, std::ptrdiff_t length) noexcept {
  store_double(im, 0.0);
  if (length % 2 == 0) store_double(im + length / 2, 0.0);
  write_image<Part::kReal>(re, re, length, (length + 1) / 2);
  write_image<Part::kImaginary>(im, im, length, (length + 1) / 2);
}

inline void make_hermitian(const PlaneShape& shape, double* re, double* im) noexcept {
  const std::ptrdiff_t length = shape.row_length;
  for (std::int32_t row = 0; row <= shape.rows / 2; ++row) {
    const std::ptrdiff_t at = row * length;
    if (row == 0 || 2 * row == shape.rows) {
      mirror_half_row(re + at, im + at, length);
      continue;
    }
    const std::ptrdiff_t image = (shape.rows - row) * length;
    store_double(re + image, load_double(re + at));
    store_double(im + image, 0.0 - load_double(im + at));
    write_image<Part::kReal>(re + at, re + image, length, length);
    write_image<Part::kImaginary>(im + at, im + image, length, length);
  }
}

// The transforms of two real rows a and b from that of a + i b, of which z is a vector and m the mirrored
// one.
template <class V>
struct TwoRows {
  Complex<V> first;
  Complex<V> second;

  [[gnu::always_inline]] TwoRows(const Complex<V>& z, const Complex<V>& m) noexcept
      : first{z.re + m.re, z.im - m.im}, second{z.im + m.im, m.re - z.re} {}
};

// Row j of two columns, a and b, of what rows gave, times i; and row rows - j. Together they are one column.
template <class V>
struct TwoColumns {
  Complex<V> element;
  Complex<V> image;

  [[gnu::always_inline]] TwoColumns(const Complex<V>& a, const Complex<V>& b) noexcept
      : element{a.im + b.re, b.im - a.re}, image{a.im - b.re, b.im + a.re} {}
};

}  // namespace
}  // namespace kyv::psfotf
