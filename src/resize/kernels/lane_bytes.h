// For sets that permute bytes and 16-bit fields.
#pragma once

#include "resize/kernels/lane_impl.h"

namespace kyv::resize {
namespace {

struct NarrowBytes {
  using Window = simd::NarrowWindow;
  static Window load(const std::uint8_t* p) noexcept { return simd::load_narrow(p); }
  static simd::F32 pick(Window window, simd::Lanes index) noexcept { return simd::pick_bytes(window, index); }
};

struct WideBytes {
  using Window = simd::WideWindow;
  static Window load(const std::uint8_t* p) noexcept { return simd::load_wide(p); }
  static simd::F32 pick(Window window, simd::Lanes index) noexcept { return simd::pick_bytes(window, index); }
};

constexpr LaneDepth kLaneBytes{{{lane_pass<NarrowBytes, 1>, lane_pass<NarrowBytes, 2>},
                                {lane_pass<WideBytes, 1>, lane_pass<WideBytes, 2>}}};

constexpr LanePasses kLanePasses{{kLaneBytes, kLaneWords}};

}  // namespace
}  // namespace kyv::resize
