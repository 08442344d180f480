// For sets that permute bytes over whole vectors.
#pragma once

#include "resize/kernels/lane_impl.h"

namespace kyv::resize {
namespace {

struct NarrowBytes {
  static constexpr int kRows = kLaneRows;
  using Window = simd::NarrowWindow;
  static Window load(const std::uint8_t* p, const float*) noexcept { return simd::load_narrow(p); }
  static simd::LaneFloats pick(Window window, simd::Lanes index) noexcept {
    return simd::pick_bytes(window, index);
  }
};

struct WideBytes {
  static constexpr int kRows = kLaneRows;
  using Window = simd::WideWindow;
  static Window load(const std::uint8_t* p, const float*) noexcept { return simd::load_wide(p); }
  static simd::LaneFloats pick(Window window, simd::Lanes index) noexcept {
    return simd::pick_bytes(window, index);
  }
};

constexpr LaneDepth kLaneBytes{{{lane_pass<NarrowBytes, 1>, lane_pass<NarrowBytes, 2>},
                                {lane_pass<WideBytes, 1>, lane_pass<WideBytes, 2>}}};

}  // namespace
}  // namespace kyv::resize
