#include "resize/resize_request.h"

#include <algorithm>

#include "resize/front_end.h"
#include "runtime/memory_model.h"
#include "thread/thread_context.h"

namespace kyv::resize {
namespace {

constexpr int kDone = 0;
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

// The shift that takes the first pixel of a mapped region, `mapped_first`, to position 0.
//
// Where the region's origin * factor is a half that was rounded up, its end lies half a pixel short of the
// destination's, and from about 10^6 on a rounding error may take it beyond what the primitives still round
// up. Then the shift is that error larger, so that the end is exactly half a pixel short. (The end's last
// place is a multiple of the difference's, and the difference is the smaller one: it is exact.)
double covering_shift(std::int32_t origin, std::int32_t size, std::int32_t dst_size, double factor,
                      std::int32_t mapped_first) noexcept {
  const double shift = 0.0 - static_cast<double>(mapped_first);
  const double end = (static_cast<double>(origin) + size) * factor;
  Span covered;
  if (round_span(0.0, end + shift, 0, covered) && covered.end >= dst_size) return shift;
  return (static_cast<double>(dst_size) - 0.5) - end;
}

// Work buffers up to this size lie on the stack: system heaps are slow to give and take large blocks.
constexpr std::size_t kStackBytes = std::size_t{112} << 10;

// Pictures of so many samples nearly always find room there: they try it at once, which spares the query.
constexpr std::int64_t kTinySamples = std::int64_t{1} << 14;

bool is_tiny(const ResizeRequest& r) noexcept {
  const auto samples = [&](std::int32_t width, std::int32_t height) noexcept {
    return std::int64_t{width} * height * r.channels;
  };
  return std::max(samples(r.region_width, r.region_height), samples(r.dst_width, r.dst_height)) <=
         kTinySamples;
}

// Not inlined: no other request has its frame.
[[gnu::noinline]] int resize_on_stack(ResizeSqrPixel* primitive, ResizeSqrPixelArguments& arguments,
                                      const Kernels& kernels) {
  if (thread::get_thread_context() == nullptr) return kNoResources;
  alignas(runtime::kCacheLine) unsigned char work[kStackBytes];
  arguments.work = work;
  arguments.work_bytes = sizeof work;
  const IppStatus status = primitive(arguments, kernels);
  arguments.work = nullptr;
  return status == kNoError ? kDone : kRejected;
}

}  // namespace

IppStatus map_region(const IppiRect& region, IppiSize destination, std::uint32_t interpolation,
                     RegionMapping& mapping) noexcept {
  const double x_factor = static_cast<double>(destination.width) / static_cast<double>(region.width);
  const double y_factor = static_cast<double>(destination.height) / static_cast<double>(region.height);
  IppiRect mapped;
  const IppStatus status = ippiGetResizeRect(region, &mapped, x_factor, y_factor, 0.0, 0.0, interpolation);
  if (status != kNoError) return status;
  mapping = {.x_factor = x_factor,
             .y_factor = y_factor,
             .x_shift = covering_shift(region.x, region.width, destination.width, x_factor, mapped.x),
             .y_shift = covering_shift(region.y, region.height, destination.height, y_factor, mapped.y)};
  return kNoError;
}

int run_resize_request(const ResizeRequest& r, const runtime::KernelSet& kernels) {
  if (!is_acceptable(r)) return kRejected;

  const auto interpolation = static_cast<std::uint32_t>(r.mode);
  const IppiRect region{r.region_x, r.region_y, r.region_width, r.region_height};
  const IppiRect destination{0, 0, r.dst_width, r.dst_height};

  RegionMapping mapping;
  if (map_region(region, {r.dst_width, r.dst_height}, interpolation, mapping) != kNoError) return kRejected;
  ResizeSqrPixelArguments arguments{.src = r.src,
                                    .src_size = {r.src_width, r.src_height},
                                    .src_step = r.src_step,
                                    .src_roi = region,
                                    .dst = r.dst,
                                    .dst_step = r.dst_step,
                                    .dst_roi = destination,
                                    .x_factor = mapping.x_factor,
                                    .y_factor = mapping.y_factor,
                                    .x_shift = mapping.x_shift,
                                    .y_shift = mapping.y_shift,
                                    .interpolation = interpolation,
                                    .tuning = this_tuning()};
  ResizeSqrPixel* const primitive = resize_sqr_pixel(r.bits, r.channels);
  if (is_tiny(r)) {
    const int result = resize_on_stack(primitive, arguments, *kernels.resize);
    if (result != kRejected) return result;
  }
  std::int32_t bytes = 0;
  if (ippiResizeGetBufSize(region, destination, r.channels, interpolation, &bytes) != kNoError) {
    return kRejected;
  }
  if (static_cast<std::size_t>(bytes) <= kStackBytes) {
    return resize_on_stack(primitive, arguments, *kernels.resize);
  }
  thread::ScratchBuffer* const scratch = thread::get_scratch_buffer();
  arguments.work = scratch == nullptr ? nullptr : scratch->ensure(bytes);
  if (arguments.work == nullptr) return kNoResources;
  arguments.work_bytes = static_cast<std::uint64_t>(bytes);
  return primitive(arguments, *kernels.resize) == kNoError ? kDone : kRejected;
}

}  // namespace kyv::resize
