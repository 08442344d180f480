// The kernels of the resize service, written once against the vector type of runtime/simd.
// A unit includes its simd header first, then the blocks that suit it, then this one.
#pragma once

#include "resize/kernels/byte_kernels_impl.h"
#include "resize/kernels/column_impl.h"
#include "resize/kernels/kernels.h"
#include "resize/kernels/row_impl.h"
#include "resize/kernels/weights_impl.h"

namespace kyv::resize {
namespace {

constexpr Kernels make_kernels(ByteKernels bytes, LanePasses lane_pass, QuadPasses quad_pass = {}) noexcept {
  // Where the multiply-add is fused, both entries are the same function.
  constexpr bool kShortcut = !simd::kHasFusedMultiplyAdd;
  return {
      .float_lanes = simd::F32::kLanes,
      .fused = simd::kHasFusedMultiplyAdd,
      .load_block = {{load_block<8, false>, load_block<8, true>},
                     {load_block<16, false>, load_block<16, true>}},
      .store_block = {store_block<false>, store_block<true>},
      .rgb_groups = kRgbGroups,
      .row_pass = {{row_pass<1, false>, row_pass<1, kShortcut>},
                   {row_pass<3 * kRgbGroups, false>, row_pass<3 * kRgbGroups, kShortcut>},
                   {row_pass<4, false>, row_pass<4, kShortcut>}},
      .lane_pass = lane_pass,
      .quad_pass = quad_pass,
      .column_pass = {column_pass<8>, column_pass<16>},
      .column_block = column_block,
      .store_row = {store_row<8>, store_row<16>},
      .lanczos = lanczos_weights,
      .bytes = bytes,
  };
}

}  // namespace
}  // namespace kyv::resize
