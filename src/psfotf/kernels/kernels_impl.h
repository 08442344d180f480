// The kernels of the psfotf service, written once against the vector type of runtime/simd.
// A unit includes its simd header first and then this one.
#pragma once

#include "psfotf/kernels/kernels.h"
#include "psfotf/kernels/plane_transform.h"
#include "psfotf/kernels/square_transform.h"

namespace kyv::psfotf {
namespace {

template <class V>
constexpr PrecisionKernels<LaneOf<V>> precision_kernels(std::int32_t max_power_of_two_radix) noexcept {
  return {V::kLanes,
          max_power_of_two_radix,
          transform_plane<V>,
          transform_lines<V>,
          {square_code<V, 8>(), square_code<V, 16>(), square_code<V, 32>(), square_code<V, 64>()}};
}

// Eight vector registers hold a radix 4 of doubles; thirty-two hold a radix 16.
constexpr Kernels make_kernels(const Kernels* narrower) noexcept {
  const bool few_registers = sizeof(void*) == 4;
  const std::int32_t radix = kManyRegisters ? 16 : 8;
  return {precision_kernels<simd::F32>(radix), precision_kernels<simd::F64>(few_registers ? 4 : radix),
          narrower};
}

}  // namespace
}  // namespace kyv::psfotf
