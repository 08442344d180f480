#include "resize/resize_request.h"

#include "resize/primitive.h"
#include "thread/thread_context.h"

namespace kyv::resize {
namespace {

constexpr int kRejected = -1;
constexpr int kNoResources = -2;

bool is_known_mode(std::int32_t mode) noexcept {
  return mode == 1 || mode == 2 || mode == 4 || mode == 8 || mode == 16;
}

// Sums and products are formed in 64 bits: one that does not fit 32 fails its rule, since no limit exceeds
// 2^31 - 1.
bool is_acceptable(const ResizeRequest& r) noexcept {
  if (r.src == nullptr || r.src_width <= 0 || r.src_height <= 0) return false;
  if (r.region_x < 0 || r.region_y < 0 || r.region_width <= 0 || r.region_height <= 0) return false;
  if (std::int64_t{r.region_x} + r.region_width > r.src_width) return false;
  if (std::int64_t{r.region_y} + r.region_height > r.src_height) return false;
  if (r.dst == nullptr || r.dst_width <= 0 || r.dst_height <= 0) return false;
  if (r.channels != 1 && r.channels != 3 && r.channels != 4) return false;
  if (r.bits != 8 && r.bits != 16) return false;
  const std::int64_t pixel_bytes = std::int64_t{r.bits} / 8 * r.channels;
  if (r.src_width * pixel_bytes > r.src_step) return false;
  if (r.dst_width * pixel_bytes > r.dst_step) return false;
  return is_known_mode(r.mode);
}

}  // namespace

int run_resize_request(const ResizeRequest& r, const runtime::KernelSet& kernels) noexcept {
  if (!is_acceptable(r)) return kRejected;

  const auto interpolation = static_cast<std::uint32_t>(r.mode);
  const IppiRect region{r.region_x, r.region_y, r.region_width, r.region_height};
  const IppiRect destination{0, 0, r.dst_width, r.dst_height};
  const double x_factor = static_cast<double>(r.dst_width) / static_cast<double>(r.region_width);
  const double y_factor = static_cast<double>(r.dst_height) / static_cast<double>(r.region_height);

  IppiRect mapped;
  if (ippiGetResizeRect(region, &mapped, x_factor, y_factor, 0.0, 0.0, interpolation) != kNoError) {
    return kRejected;
  }
  std::int32_t bytes = 0;
  if (ippiResizeGetBufSize(region, destination, r.channels, interpolation, &bytes) != kNoError) {
    return kRejected;
  }
  thread::ScratchBuffer* const scratch = thread::get_scratch_buffer();
  void* const work = scratch == nullptr ? nullptr : scratch->ensure(bytes);
  if (work == nullptr) return kNoResources;

  // The shifts move the mapped region's first pixel to column 0, row 0.
  const ResizeSqrPixelArguments arguments{.src = r.src,
                                          .src_size = {r.src_width, r.src_height},
                                          .src_step = r.src_step,
                                          .src_roi = region,
                                          .dst = r.dst,
                                          .dst_step = r.dst_step,
                                          .dst_roi = destination,
                                          .x_factor = x_factor,
                                          .y_factor = y_factor,
                                          .x_shift = 0.0 - static_cast<double>(mapped.x),
                                          .y_shift = 0.0 - static_cast<double>(mapped.y),
                                          .interpolation = interpolation,
                                          .work = work};
  const IppStatus status = resize_sqr_pixel(r.bits, r.channels)(arguments, *kernels.resize);
  return status == kNoError ? 0 : kRejected;
}

}  // namespace kyv::resize
