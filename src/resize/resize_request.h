// One resize request, from its raw arguments to the pixels.
#pragma once

#include <cstdint>

#include "resize/primitive.h"
#include "runtime/dispatch.h"

namespace kyv::resize {

// Widths and heights in pixels, step in bytes from the start of one row to the start of the next.
struct ResizeRequest {
  std::int32_t mode = 0;  // 1, 2, 4, 8, 16; anything else is rejected
  std::int32_t channels = 0;
  std::int32_t bits = 0;
  const void* src = nullptr;
  std::int32_t src_width = 0;
  std::int32_t src_height = 0;
  std::int32_t src_step = 0;
  std::int32_t region_x = 0;
  std::int32_t region_y = 0;
  std::int32_t region_width = 0;
  std::int32_t region_height = 0;
  void* dst = nullptr;
  std::int32_t dst_width = 0;
  std::int32_t dst_height = 0;
  std::int32_t dst_step = 0;
};

// How a region is laid over a destination: destination = source * factor + shift on either axis.
struct RegionMapping {
  double x_factor = 1.0;
  double y_factor = 1.0;
  double x_shift = 0.0;
  double y_shift = 0.0;
};

// The mapping of `region` to the whole of a destination: under it the primitives write every destination
// pixel. Its status is that of ippiGetResizeRect; `mapping` is written when that is 0.
IppStatus map_region(const IppiRect& region, IppiSize destination, std::uint32_t interpolation,
                     RegionMapping& mapping) noexcept;

// 0 done; -1 rejected by validation or by a primitive; -2 no thread context or no work buffer.
// The destination is untouched unless the result is 0. The work buffer stays in the calling thread's context,
// which the caller releases.
int run_resize_request(const ResizeRequest& request, const runtime::KernelSet& kernels);

}  // namespace kyv::resize
