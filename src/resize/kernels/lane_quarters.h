// For sets that permute bytes within 16 of them: each four lanes have a window of their own.
#pragma once

#include "resize/kernels/lane_impl.h"

namespace kyv::resize {
namespace {

struct Quarters {
  static constexpr int kRows = 2;
  using Window = simd::QuarterWindows;
  static Window load(const std::uint8_t* p, const float* places) noexcept {
    return simd::load_quarters(p, places);
  }
  static simd::LaneFloats pick(Window window, simd::Lanes index) noexcept {
    return simd::pick_quarters(window, index);
  }
};

constexpr LaneDepth kLaneQuarters{{{lane_pass<Quarters, 1>, lane_pass<Quarters, 2>}}};

}  // namespace
}  // namespace kyv::resize
