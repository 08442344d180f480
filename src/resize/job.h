// One resolved resize: what the front end hands to the passes.
#pragma once

#include <cstdint>

#include "resize/geometry.h"
#include "resize/kernels/taps.h"
#include "resize/tuning.h"

namespace kyv::resize {

struct RowPassProbe;

struct PixelFormat {
  Depth depth = kDepth8;
  std::int32_t channels = 1;  // 1, 3, 4

  Index pixel_bytes() const noexcept { return channels * sample_bytes(depth); }
};

struct ResizeJob {
  const void* src = nullptr;  // pixel (0, 0) of the source image, not of its rectangle
  Index src_step = 0;         // bytes; any value, odd ones included
  void* dst = nullptr;        // pixel (0, 0) of the destination image
  Index dst_step = 0;
  PixelFormat format;
  Geometry geometry;
  Tuning tuning = {};
  RowPassProbe* probe = nullptr;  // for tests and tools

  // Pixel (0, 0) of the region.
  const std::uint8_t* first_source() const noexcept {
    return static_cast<const std::uint8_t*>(src) + geometry.y.origin * src_step +
           geometry.x.origin * format.pixel_bytes();
  }

  // The first pixel that is written.
  std::uint8_t* first_destination() const noexcept {
    return static_cast<std::uint8_t*>(dst) + geometry.y.first * dst_step +
           geometry.x.first * format.pixel_bytes();
  }

  // Of the region.
  std::uint64_t source_bytes() const noexcept {
    return geometry.source_pixels() * static_cast<std::uint64_t>(format.pixel_bytes());
  }

  Index dst_row_bytes() const noexcept { return geometry.x.count * format.pixel_bytes(); }

  // Whether the destination is better off past the caches.
  bool has_large_destination() const noexcept {
    const auto rows = static_cast<std::uint64_t>(geometry.y.count);
    return static_cast<std::uint64_t>(dst_row_bytes()) >= tuning.streamed_destination / rows;
  }
};

}  // namespace kyv::resize
