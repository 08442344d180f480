#include "resize/filtered/doubling.h"

#include <algorithm>

#include "resize/filtered/parts.h"
#include "resize/rounding.h"

namespace kyv::resize {
namespace {

// The half of a source pixel that the first destination pixel lies on; below 0 where destination pixels are
// no halves, or not all within the region.
Index first_half(const AxisGeometry& axis) noexcept {
  const double halves = 2.0 * (axis.offset - axis.origin);
  if (axis.inverse != 0.5 || halves != 2.0 * floor_of(0.5 * halves)) return -1;
  const double first = axis.first + halves;
  return first >= 0.0 && first + axis.count <= 2.0 * axis.usable_size ? static_cast<Index>(first) : -1;
}

}  // namespace

bool write_doubled(const ResizeJob& job, const Kernels& kernels) noexcept {
  const Geometry& geometry = job.geometry;
  const PixelFormat& format = job.format;
  const Index channels = format.channels;
  const auto write = kernels.integers.doubling.write[format.depth][format.channels / 2];
  if (geometry.mode != Mode::kLinear || write == nullptr) return false;
  const Index column = first_half(geometry.x);
  const Index first_row = first_half(geometry.y);
  if (column < 0 || first_row < 0 || column % 2 != 0 || geometry.x.count % 2 != 0) return false;
  const Index pixels = geometry.x.count / 2;
  if (pixels * channels < kernels.integers.doubling.least_samples) return false;

  const Index last_row = geometry.y.usable_size - 1;
  const Index first_pixel = column / 2;
  const Index pixel = format.pixel_bytes();
  const std::uint8_t* const src = job.first_source() + first_pixel * pixel;
  std::uint8_t* dst = job.first_destination();
  for (Index row = first_row; row < first_row + geometry.y.count; ++row, dst += job.dst_step) {
    const Index farther = std::clamp<Index>(row / 2 + (row % 2 == 0 ? -1 : 1), 0, last_row);
    for_each_part(pixels, kDoubledSamples / channels, [&](Index first, Index end) noexcept {
      write({.near_row = src + row / 2 * job.src_step + first * pixel,
             .far_row = src + farther * job.src_step + first * pixel,
             .samples = (end - first) * channels,
             .left = std::min<Index>(first_pixel + first, 1),
             .right = std::min<Index>(geometry.x.usable_size - first_pixel - end, 1),
             .dst = dst + 2 * first * pixel});
    });
  }
  return true;
}

}  // namespace kyv::resize
