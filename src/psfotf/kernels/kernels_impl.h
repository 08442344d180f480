// The kernels of the psfotf service in one precision, written once against the vector type of runtime/simd.
// A unit includes its simd header first and then this one.
#pragma once

#include "psfotf/kernels/kernels.h"
#include "psfotf/kernels/plane_columns.h"
#include "psfotf/kernels/plane_rows.h"
#include "psfotf/kernels/real_planes.h"
#include "psfotf/kernels/row_convolution.h"
#include "psfotf/kernels/small_squares.h"

namespace kyv::psfotf {
namespace {

template <class V>
void transform_plane(const PlanePlan<LaneOf<V>>& plan, LaneOf<V> scale, const PlaneArrays& arrays,
                     void* memory) noexcept {
  const Workspace<V> workspace = workspace_of<V>(plan, memory);
  const BlockCut<V> cut(plan, arrays, plan.row_length);
  if constexpr (V::kLanes > 1) {
    if (plan.rows_within_lanes) {
      if (plan.row->method == LineMethod::kBluestein) {
        convolve_rows_within<V>(plan, scale, arrays, workspace);
      } else {
        transform_rows_within<V>(plan, cut, simd::broadcast(scale), arrays, workspace);
      }
      if (plan.blocks_past_caches) simd::stream_fence();
      return transform_columns<V>(plan, cut, arrays, workspace);
    }
  }
  transform_rows_across<V>(plan, cut, simd::broadcast(scale), arrays, workspace);
  if (plan.blocks_past_caches) simd::stream_fence();
  transform_columns<V>(plan, cut, arrays, workspace);
}

// With eight registers a radix 4 of doubles is faster than a radix 8, with SSE2 the other way round
// (measured).
template <class V>
constexpr RadixSet radix_set() noexcept {
  constexpr bool doubles = sizeof(LaneOf<V>) == sizeof(double);
  if (doubles && simd::kRegisters < 16 && simd::kVectorBytes > 16) return RadixSet::kSmall;
  if (kManyRegisters) return RadixSet::kLarge;
  return kFusedInSixteenRegisters ? RadixSet::kMediumFused : RadixSet::kMedium;
}

template <class V>
constexpr TransformHalves<LaneOf<V>> real_plane_code() noexcept {
  if constexpr (V::kLanes > 1) return transform_real_plane<V>;
  return nullptr;
}
template <class V>
constexpr TransformHalves<LaneOf<V>> hermitian_plane_code() noexcept {
  if constexpr (V::kLanes > 1) return transform_hermitian_plane<V>;
  return nullptr;
}

template <class V>
constexpr auto transform_within_code() noexcept -> void (*)(const LinePlan<LaneOf<V>>&, LaneOf<V>*) noexcept {
  if constexpr (V::kLanes > 1) return transform_within<V>;
  return nullptr;
}

// A set for planes that are too thin for half of their work to pay or for fixed code.
template <class V>
constexpr PrecisionKernels<LaneOf<V>> make_thin_kernels() noexcept {
  return {.lanes = V::kLanes,
          .radices = radix_set<V>(),
          .has_fused_multiply_add = simd::kHasFusedMultiplyAdd,
          .transform_plane = transform_plane<V>,
          .transform_real_plane = nullptr,
          .transform_hermitian_plane = nullptr,
          .transform_lines = transform_lines<V>,
          .transform_within = transform_within_code<V>(),
          .squares = {},
          .are_zeros = are_zeros,
          .is_hermitian = is_hermitian,
          .make_hermitian = make_hermitian};
}

template <class V>
constexpr PrecisionKernels<LaneOf<V>> make_kernels(
    SquareCode<LaneOf<V>> square_of_8 = square_code<V, 8>()) noexcept {
  PrecisionKernels<LaneOf<V>> kernels = make_thin_kernels<V>();
  kernels.transform_real_plane = real_plane_code<V>();
  kernels.transform_hermitian_plane = hermitian_plane_code<V>();
  kernels.squares[0] = square_of_8;
  kernels.squares[1] = square_code<V, 16>();
  kernels.squares[2] = square_code<V, 32>();
  kernels.squares[3] = square_code<V, 64>();
  return kernels;
}

}  // namespace
}  // namespace kyv::psfotf
