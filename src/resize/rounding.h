// Whole numbers without the run-time library, whose functions for them are calls, and slow ones on some
// systems.
#pragma once

#include <bit>
#include <cmath>
#include <cstdint>

namespace kyv::resize {

// The same as std::floor, std::ceil and std::trunc (but for the sign of a zero), for every double, while the
// rounding mode is to nearest.
inline double floor_of(double x) noexcept {
  constexpr double kWhole = 4503599627370496.0;  // 2^52: doubles from here on are whole
  if (!(std::abs(x) < kWhole)) return x;
  const double shift = std::copysign(kWhole, x);
  const double nearest = (x + shift) - shift;
  return nearest > x ? nearest - 1.0 : nearest;
}

inline double ceil_of(double x) noexcept { return -floor_of(-x); }

inline double trunc_of(double x) noexcept { return x < 0.0 ? ceil_of(x) : floor_of(x); }

// A whole number of magnitude up to 2^51 as an integer: 32-bit processors have no instruction for that.
inline std::int64_t integer_of(double whole) noexcept {
  constexpr double kShift = 6755399441055744.0;  // 1.5 * 2^52
  return std::bit_cast<std::int64_t>(whole + kShift) - std::bit_cast<std::int64_t>(kShift);
}

}  // namespace kyv::resize
