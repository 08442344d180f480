// The one sine of the weight tables: run-time libraries differ in the last place, this one does not.
//
// Plain double arithmetic, one rounding per operation and no contraction, so that a vector of any width and
// any build give the same bits. In an unnamed namespace, because kernel units include it.
#pragma once

namespace kyv::resize {
namespace {

// sin(x) for |x| <= 4 pi, within about one unit in the last place of the result.
// `Real` is double or a vector of doubles; `constant` turns a double into a Real.
// Reduction by the nearest multiple of pi in two parts (W. J. Cody and W. Waite, Software Manual for the
// Elementary Functions, 1980), then the Taylor series to the 21st power on [-pi/2, pi/2].
template <class Real, class Constant>
inline Real sine(Real x, Constant constant) noexcept {
  const Real round_off = constant(6755399441055744.0);  // 1.5 * 2^52: adding and subtracting rounds
  const Real k = (x * constant(0.3183098861837907) + round_off) - round_off;
  const Real half = (k * constant(0.5) + round_off) - round_off;
  const Real odd = k - half * constant(2.0);  // -1, 0 or 1
  const Real sign = constant(1.0) - (odd * odd) * constant(2.0);
  // pi in a part of 49 bits, whose small multiples are exact, and the rest.
  const Real r = (x - k * constant(3.1415926535897896)) - k * constant(3.675178358715236e-15);
  const Real r2 = r * r;
  Real p = constant(1.9572941063391261e-20);      //  1/21!
  p = p * r2 - constant(8.2206352466243297e-18);  // -1/19!
  p = p * r2 + constant(2.8114572543455206e-15);
  p = p * r2 - constant(7.6471637318198164e-13);
  p = p * r2 + constant(1.6059043836821613e-10);
  p = p * r2 - constant(2.5052108385441720e-08);
  p = p * r2 + constant(2.7557319223985893e-06);
  p = p * r2 - constant(1.9841269841269841e-04);
  p = p * r2 + constant(8.3333333333333332e-03);
  p = p * r2 - constant(1.6666666666666666e-01);
  return sign * (r + (r * r2) * p);
}

}  // namespace
}  // namespace kyv::resize
