#include "resize/banded_resize.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <new>

#include "runtime/aligned_memory.h"
#include "runtime/floating_point_environment.h"
#include "thread/thread_context.h"

namespace kyv::resize {
namespace {

constexpr int kRejected = -1;
constexpr int kNoResources = -2;

struct Band {
  ResizeSqrPixel* primitive;
  ResizeSqrPixelArguments arguments;
  const Kernels* kernels;
};

std::uint32_t run_band(void* memory) {
  const runtime::FloatingPointScope scope;
  const Band& band = *static_cast<const Band*>(memory);
  return static_cast<std::uint32_t>(band.primitive(band.arguments, *band.kernels));
}

constexpr std::int64_t aligned(std::int64_t bytes) noexcept {
  constexpr std::int64_t mask = runtime::kMemoryAlignment - 1;
  return (bytes + mask) & ~mask;
}

// Rows [height * k / bands, height * (k + 1) / bands) of `roi`.
IppiRect band_of(const IppiRect& roi, std::int32_t k, std::int32_t bands) noexcept {
  const auto first = static_cast<std::int32_t>(std::int64_t{roi.height} * k / bands);
  const auto end = static_cast<std::int32_t>(std::int64_t{roi.height} * (k + 1) / bands);
  return {roi.x, roi.y + first, roi.width, end - first};
}

}  // namespace

int resize_in_bands(ResizeSqrPixel* primitive, std::int32_t channels, const ResizeSqrPixelArguments& whole,
                    const Kernels& kernels) {
  thread::TaskPool* const pool = thread::get_task_pool();
  const std::int32_t most = pool != nullptr ? pool->worker_count() + 1 : 1;
  const std::int32_t count = std::clamp(whole.dst_roi.height, 1, most);

  std::int64_t work_bytes = 0;
  for (std::int32_t k = 0; k < count; ++k) {
    std::int32_t bytes = 0;
    if (ippiResizeGetBufSize(whole.src_roi, band_of(whole.dst_roi, k, count), channels, whole.interpolation,
                             &bytes) != kNoError) {
      return kRejected;
    }
    work_bytes = std::max(work_bytes, aligned(bytes));
  }
  // The bands, the pointers at them that a batch takes, and a work buffer for each.
  const std::int64_t head = aligned(count * static_cast<std::int64_t>(sizeof(Band) + sizeof(void*)));
  const std::int64_t total = head + count * work_bytes;
  thread::ScratchBuffer* const scratch = thread::get_scratch_buffer();
  if (scratch == nullptr || total > std::numeric_limits<std::int32_t>::max()) return kNoResources;
  auto* const memory = static_cast<std::byte*>(scratch->ensure(static_cast<std::int32_t>(total)));
  if (memory == nullptr) return kNoResources;

  auto* const bands = reinterpret_cast<Band*>(memory);
  auto** const pointers = reinterpret_cast<void**>(bands + count);
  for (std::int32_t k = 0; k < count; ++k) {
    ResizeSqrPixelArguments arguments = whole;
    arguments.dst_roi = band_of(whole.dst_roi, k, count);
    arguments.work = memory + head + k * work_bytes;
    pointers[k] = ::new (bands + k) Band{primitive, arguments, &kernels};
  }

  const std::int32_t workers = count - 1;
  const std::int32_t handed_out = workers > 0 ? pool->run_batch(run_band, workers, pointers) : 0;
  std::uint32_t status = handed_out == workers ? run_band(pointers[workers]) : 0;
  if (workers > 0) pool->wait_batch();
  if (handed_out != workers) return kNoResources;
  for (std::int32_t k = 0; k < workers; ++k) status |= pool->result(k);
  return status == 0 ? 0 : kRejected;
}

}  // namespace kyv::resize
