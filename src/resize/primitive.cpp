#include "resize/primitive.h"

#include <limits>

#include "resize/front_end.h"
#include "resize/resample.h"

namespace kyv::resize {
namespace {

constexpr std::uint64_t kLargestBuffer = std::numeric_limits<std::int32_t>::max();

bool are_as_large(const AxisGeometry& a, const AxisGeometry& b) noexcept {
  return a.count == b.count && a.inverse == b.inverse && a.usable_size == b.usable_size;
}

// What the query gives, at most. A request that is as large as its rectangles tell needs just that.
std::uint64_t queried_bytes(const ResizeSqrPixelArguments& a, const Geometry& geometry,
                            std::int32_t channels) noexcept {
  const Geometry whole = whole_geometry(a.src_roi, a.dst_roi, a.interpolation);
  const bool is_whole =
      geometry.mode == whole.mode && are_as_large(geometry.x, whole.x) && are_as_large(geometry.y, whole.y);
  if (is_whole) return kLargestBuffer;
  const std::uint64_t queried = work_buffer_bytes(whole, channels);
  return queried > kLargestBuffer ? 0 : queried;
}

template <Depth kDepth, std::int32_t kChannels>
IppStatus resize(const ResizeSqrPixelArguments& a, const Kernels& kernels) noexcept {
  if (a.src == nullptr || a.dst == nullptr || a.work == nullptr) return kNullPointer;

  ResizeJob job{.src = a.src,
                .src_step = a.src_step,
                .dst = a.dst,
                .dst_step = a.dst_step,
                .format = {.depth = kDepth, .channels = kChannels},
                .geometry = {},
                .tuning = a.tuning,
                .probe = a.probe};
  if (const IppStatus status = resolve(a, job.geometry); status != kNoError) return status;
  const std::uint64_t bytes = a.work_bytes != 0 ? a.work_bytes : queried_bytes(a, job.geometry, kChannels);
  const WorkBuffer work{.memory = a.work, .bytes = bytes};
  if (!resample(job, work, kernels)) return kFactorError;
  return (a.interpolation & kFlagAntialias) != 0 ? kFlagIgnored : kNoError;
}

}  // namespace

IppStatus ippiGetResizeRect(IppiRect src_roi, IppiRect* dst_rect, double x_factor, double y_factor,
                            double x_shift, double y_shift, std::uint32_t interpolation) noexcept {
  if (dst_rect == nullptr) return kNullPointer;
  if (!is_valid(src_roi)) return kSizeError;
  if (!(x_factor > 0.0) || !(y_factor > 0.0)) return kFactorError;
  if (!is_known_interpolation(interpolation)) return kInterpolationError;

  const double x0 = src_roi.x * x_factor + x_shift;
  const double x1 = (static_cast<double>(src_roi.x) + src_roi.width) * x_factor + x_shift;
  const double y0 = src_roi.y * y_factor + y_shift;
  const double y1 = (static_cast<double>(src_roi.y) + src_roi.height) * y_factor + y_shift;
  Span columns;
  Span rows;
  if (!round_span(x0, x1, interpolation, columns)) return kNothingToDo;
  if (!round_span(y0, y1, interpolation, rows)) return kNothingToDo;
  *dst_rect = {columns.first, rows.first, columns.end - columns.first, rows.end - rows.first};
  return kNoError;
}

IppStatus ippiResizeGetBufSize(IppiRect src_roi, IppiRect dst_roi, std::int32_t channels,
                               std::uint32_t interpolation, std::int32_t* bytes) noexcept {
  if (bytes == nullptr) return kNullPointer;
  if (!is_valid(src_roi) || !is_valid(dst_roi)) return kSizeError;
  if (channels != 1 && channels != 3 && channels != 4) return kSizeError;
  if (!is_known_interpolation(interpolation)) return kInterpolationError;
  const std::uint64_t needed = work_buffer_bytes(whole_geometry(src_roi, dst_roi, interpolation), channels);
  if (needed > kLargestBuffer) return kSizeError;
  *bytes = static_cast<std::int32_t>(needed);
  return kNoError;
}

IppStatus ippiResizeSqrPixel_8u_C1R(const ResizeSqrPixelArguments& a, const Kernels& kernels) noexcept {
  return resize<kDepth8, 1>(a, kernels);
}

IppStatus ippiResizeSqrPixel_8u_C3R(const ResizeSqrPixelArguments& a, const Kernels& kernels) noexcept {
  return resize<kDepth8, 3>(a, kernels);
}

IppStatus ippiResizeSqrPixel_8u_C4R(const ResizeSqrPixelArguments& a, const Kernels& kernels) noexcept {
  return resize<kDepth8, 4>(a, kernels);
}

IppStatus ippiResizeSqrPixel_16u_C1R(const ResizeSqrPixelArguments& a, const Kernels& kernels) noexcept {
  return resize<kDepth16, 1>(a, kernels);
}

IppStatus ippiResizeSqrPixel_16u_C3R(const ResizeSqrPixelArguments& a, const Kernels& kernels) noexcept {
  return resize<kDepth16, 3>(a, kernels);
}

IppStatus ippiResizeSqrPixel_16u_C4R(const ResizeSqrPixelArguments& a, const Kernels& kernels) noexcept {
  return resize<kDepth16, 4>(a, kernels);
}

ResizeSqrPixel* resize_sqr_pixel(std::int32_t bits, std::int32_t channels) noexcept {
  const bool is_8 = bits == 8;
  switch (channels) {
    case 1:
      return is_8 ? ippiResizeSqrPixel_8u_C1R : ippiResizeSqrPixel_16u_C1R;
    case 3:
      return is_8 ? ippiResizeSqrPixel_8u_C3R : ippiResizeSqrPixel_16u_C3R;
    default:
      return is_8 ? ippiResizeSqrPixel_8u_C4R : ippiResizeSqrPixel_16u_C4R;
  }
}

}  // namespace kyv::resize
