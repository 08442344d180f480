// The kernels of the psfotf service, written once against the vector type of runtime/simd.
// A unit includes its simd header first and then this one.
#pragma once

#include "psfotf/kernels/kernels.h"
#include "psfotf/kernels/plane_transform.h"
#include "psfotf/kernels/square_transform.h"

namespace kyv::psfotf {
namespace {

template <class V>
constexpr PrecisionKernels<LaneOf<V>> precision_kernels(RadixSet radices) noexcept {
  return {V::kLanes,
          radices,
          transform_plane<V>,
          transform_lines<V>,
          {square_code<V, 8>(), square_code<V, 16>(), square_code<V, 32>(), square_code<V, 64>()}};
}

// With eight registers a radix 4 of doubles is faster than a radix 8, with SSE2 the other way round
// (measured).
constexpr Kernels make_kernels(const Kernels* narrower) noexcept {
  const bool few_registers = simd::kRegisters < 16 && simd::kVectorBytes > 16;
  const RadixSet radices = kManyRegisters ? RadixSet::kLarge : RadixSet::kMedium;
  return {precision_kernels<simd::F32>(radices),
          precision_kernels<simd::F64>(few_registers ? RadixSet::kSmall : radices), narrower};
}

}  // namespace
}  // namespace kyv::psfotf
