#include "resize/copy/identity.h"

#include <algorithm>

#include "resize/copy/pixel_rows.h"

namespace kyv::resize {
namespace {

bool coincides(const AxisGeometry& axis) noexcept {
  const std::int64_t first = std::int64_t{axis.first} - axis.origin;
  return axis.inverse == 1.0 && axis.offset == 0.0 && first >= 0 && first + axis.count <= axis.usable_size;
}

}  // namespace

bool coincides(const Geometry& geometry) noexcept { return coincides(geometry.x) && coincides(geometry.y); }

void copy_pixels(const ResizeJob& job, const ByteKernels& kernels) noexcept {
  const Geometry& geometry = job.geometry;
  PixelRows rows(job);
  const std::int32_t count = geometry.y.count;
  const std::uint8_t* src = rows.src + (geometry.y.first - geometry.y.origin) * rows.src_step +
                            (geometry.x.first - geometry.x.origin) * rows.pixel;
  if (rows.are_streamed(kernels)) {
    for (std::int32_t i = 0; i < count; ++i) {
      kernels.stream(src + i * rows.src_step, rows.dst + i * rows.dst_step, rows.row_bytes);
    }
    return kernels.stream_fence();
  }
  const Index gapless = rows.row_bytes;
  if (rows.src_step == gapless && rows.dst_step == gapless) {
    std::copy_n(src, rows.row_bytes * count, rows.dst);
    return;
  }
  for (std::int32_t i = 0; i < count; ++i) {
    std::copy_n(src + i * rows.src_step, rows.row_bytes, rows.dst + i * rows.dst_step);
  }
}

}  // namespace kyv::resize
