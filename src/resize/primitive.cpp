#include "resize/primitive.h"

#include <limits>

#include "resize/front_end.h"
#include "resize/resampler.h"

namespace kyv::resize {
namespace {

constexpr std::int64_t kLargestBuffer = std::numeric_limits<std::int32_t>::max();

template <std::int32_t kBits, std::int32_t kChannels>
IppStatus resize(const ResizeSqrPixelArguments& a, const Kernels& kernels) noexcept {
  if (a.src == nullptr || a.dst == nullptr || a.work == nullptr) return kNullPointer;

  Geometry geometry;
  if (const IppStatus status = resolve(a, geometry); status != kNoError) return status;
  const std::int64_t available = queried_work_buffer_bytes(a.src_roi, a.dst_roi, kChannels, a.interpolation);
  if (available > kLargestBuffer || work_buffer_bytes(geometry, kChannels) > available) return kFactorError;

  const ResampleJob job{a.src, a.src_step, a.dst, a.dst_step, kChannels, kBits, geometry};
  resample(job, a.work, kernels);
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
  const std::int64_t needed = queried_work_buffer_bytes(src_roi, dst_roi, channels, interpolation);
  if (needed > kLargestBuffer) return kSizeError;
  *bytes = static_cast<std::int32_t>(needed);
  return kNoError;
}

IppStatus ippiResizeSqrPixel_8u_C1R(const ResizeSqrPixelArguments& a, const Kernels& kernels) noexcept {
  return resize<8, 1>(a, kernels);
}

IppStatus ippiResizeSqrPixel_8u_C3R(const ResizeSqrPixelArguments& a, const Kernels& kernels) noexcept {
  return resize<8, 3>(a, kernels);
}

IppStatus ippiResizeSqrPixel_8u_C4R(const ResizeSqrPixelArguments& a, const Kernels& kernels) noexcept {
  return resize<8, 4>(a, kernels);
}

IppStatus ippiResizeSqrPixel_16u_C1R(const ResizeSqrPixelArguments& a, const Kernels& kernels) noexcept {
  return resize<16, 1>(a, kernels);
}

IppStatus ippiResizeSqrPixel_16u_C3R(const ResizeSqrPixelArguments& a, const Kernels& kernels) noexcept {
  return resize<16, 3>(a, kernels);
}

IppStatus ippiResizeSqrPixel_16u_C4R(const ResizeSqrPixelArguments& a, const Kernels& kernels) noexcept {
  return resize<16, 4>(a, kernels);
}

ResizeSqrPixel* resize_sqr_pixel(std::int32_t bits, std::int32_t channels) noexcept {
  constexpr ResizeSqrPixel* primitives[] = {
      nullptr,
      nullptr,
      nullptr,
      ippiResizeSqrPixel_8u_C1R,
      ippiResizeSqrPixel_8u_C3R,
      ippiResizeSqrPixel_8u_C4R,
      ippiResizeSqrPixel_16u_C1R,
      ippiResizeSqrPixel_16u_C3R,
      ippiResizeSqrPixel_16u_C4R,
  };
  return primitives[(bits / 8) * 3 + channels / 2];
}

}  // namespace kyv::resize
