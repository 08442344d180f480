// Lanczos weights: the one filter whose evaluation costs more than a few operations.
#pragma once

#include "resize/kernels/kernels.h"
#include "resize/kernels/sine.h"

namespace kyv::resize {
namespace {

void lanczos_weights(double centre, double first, double scale, Index count, double* out) noexcept {
  const auto constant = [](double c) noexcept { return simd::broadcast(c); };
  const simd::F64 zero = constant(0.0);
  const simd::F64 one = constant(1.0);
  const simd::F64 three = constant(3.0);
  for (Index tap = 0; tap < count; tap += simd::F64::kLanes) {
    const simd::F64 position = constant(first + static_cast<double>(tap)) + simd::lane_numbers();
    const simd::F64 d = simd::absolute(constant(centre) - position) * constant(scale);
    const simd::F64 x = constant(3.141592653589793) * d;
    const simd::F64 x3 = x / three;
    const simd::F64 weight = (sine(x, constant) / x) * (sine(x3, constant) / x3);
    // 0/0 at distance 0, where the weight is 1; nothing beyond the third lobe.
    simd::store(out + tap, simd::select_less(zero, d, simd::select_less(d, three, weight, zero), one));
  }
}

}  // namespace
}  // namespace kyv::resize
