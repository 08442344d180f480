// For sets that permute 16-bit fields over whole vectors.
#pragma once

#include "resize/kernels/lane_impl.h"

namespace kyv::resize {
namespace {

struct NarrowWords {
  static constexpr int kRows = kLaneRows;
  using Window = simd::NarrowWindow;
  static Window load(const std::uint8_t* p, const float*) noexcept { return simd::load_narrow(p); }
  static simd::LaneFloats pick(Window window, simd::Lanes index) noexcept {
    return simd::pick_words(window, index);
  }
};

struct WideWords {
  static constexpr int kRows = kLaneRows;
  using Window = simd::WideWindow;
  static Window load(const std::uint8_t* p, const float*) noexcept { return simd::load_wide(p); }
  static simd::LaneFloats pick(Window window, simd::Lanes index) noexcept {
    return simd::pick_words(window, index);
  }
};

constexpr LaneDepth kLaneWords{{{lane_pass<NarrowWords, 1>, lane_pass<NarrowWords, 2>},
                                {lane_pass<WideWords, 1>, lane_pass<WideWords, 2>}}};

}  // namespace
}  // namespace kyv::resize
