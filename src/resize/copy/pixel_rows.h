// The bytes of a request whose pixels are only copied.
#pragma once

#include <type_traits>

#include "resize/job.h"
#include "resize/kernels/bytes.h"
#include "runtime/memory_model.h"

namespace kyv::resize {

inline constexpr auto kLine = static_cast<Index>(runtime::kCacheLine);

// body(std::integral_constant<Index, pixel>()) for a pixel of so many bytes.
template <class Body>
auto with_pixel_size(Index pixel, const Body& body) noexcept {
  switch (pixel) {
    case 1:
      return body(std::integral_constant<Index, 1>());
    case 2:
      return body(std::integral_constant<Index, 2>());
    case 3:
      return body(std::integral_constant<Index, 3>());
    case 4:
      return body(std::integral_constant<Index, 4>());
    case 6:
      return body(std::integral_constant<Index, 6>());
    default:
      return body(std::integral_constant<Index, 8>());
  }
}

struct PixelRows {
  const std::uint8_t* src;  // pixel (0, 0) of the region
  std::uint8_t* dst;        // first destination pixel
  Index src_step;
  Index dst_step;
  Index pixel;      // bytes
  Index row_bytes;  // of the destination
  bool is_large;    // the destination

  explicit PixelRows(const ResizeJob& job) noexcept
      : src(job.first_source()),
        dst(job.first_destination()),
        src_step(job.src_step),
        dst_step(job.dst_step),
        pixel(job.format.pixel_bytes()),
        row_bytes(job.dst_row_bytes()),
        is_large(job.has_large_destination()) {}

  std::uint8_t* dst_row(Index i) const noexcept { return dst + i * dst_step; }

  // Whether they go past the caches: only rows of several cache lines gain by it.
  bool are_streamed(const ByteKernels& kernels) const noexcept {
    return kernels.stream != nullptr && is_large && row_bytes >= 4 * kLine;
  }
};

}  // namespace kyv::resize
