#include "resize/banded_resize.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

#include "resize/resize_request.h"
#include "support/faulty_system.h"
#include "thread/process_state.h"
#include "thread/thread_context.h"

namespace kyv::resize {
namespace {

using testing_support::Call;
using testing_support::FaultySystem;

constexpr std::int32_t kSrcWidth = 61;
constexpr std::int32_t kSrcHeight = 83;
constexpr std::int32_t kDstWidth = 47;
constexpr std::int32_t kChannels = 3;

const Kernels& kernels() { return *runtime::active_kernel_set().resize; }

class BandedResize : public testing::Test {
 protected:
  BandedResize() : source_(static_cast<std::size_t>(kSrcWidth * kSrcHeight * kChannels)) {
    std::mt19937 random(5);
    for (auto& byte : source_) byte = static_cast<std::uint8_t>(random());
    use_processors(5);
    EXPECT_TRUE(thread::create_thread_slot());
  }
  ~BandedResize() override {
    thread::release_thread_context();
    thread::release_thread_slot();
    EXPECT_TRUE(system.nothing_leaked());
    use_processors(1);
  }

  void use_processors(std::uint32_t count) {
    system.set_processor_count(count);
    thread::read_processor_count();
  }

  // A region of the source to all of a destination of that height.
  ResizeSqrPixelArguments arguments(std::uint32_t mode, std::int32_t height) {
    destination_.assign(static_cast<std::size_t>(kDstWidth * height * kChannels), 0xA5);
    const IppiRect region{3, 7, 55, 70};
    RegionMapping mapping;
    EXPECT_EQ(map_region(region, {kDstWidth, height}, mode, mapping), kNoError);
    return {.src = source_.data(),
            .src_size = {kSrcWidth, kSrcHeight},
            .src_step = kSrcWidth * kChannels,
            .src_roi = region,
            .dst = destination_.data(),
            .dst_step = kDstWidth * kChannels,
            .dst_roi = {0, 0, kDstWidth, height},
            .x_factor = mapping.x_factor,
            .y_factor = mapping.y_factor,
            .x_shift = mapping.x_shift,
            .y_shift = mapping.y_shift,
            .interpolation = mode};
  }

  std::vector<std::uint8_t> in_one_call(std::uint32_t mode, std::int32_t height) {
    ResizeSqrPixelArguments whole = arguments(mode, height);
    std::int32_t bytes = 0;
    EXPECT_EQ(ippiResizeGetBufSize(whole.src_roi, whole.dst_roi, kChannels, mode, &bytes), kNoError);
    std::vector<std::uint64_t> work(static_cast<std::size_t>(bytes) / 8 + 16);
    whole.work = work.data();
    EXPECT_EQ(ippiResizeSqrPixel_8u_C3R(whole, kernels()), kNoError);
    return destination_;
  }

  int in_bands(std::uint32_t mode, std::int32_t height) {
    return resize_in_bands(ippiResizeSqrPixel_8u_C3R, kChannels, arguments(mode, height), kernels());
  }

  FaultySystem system;
  std::vector<std::uint8_t> source_;
  std::vector<std::uint8_t> destination_;
};

TEST_F(BandedResize, GivesThePixelsOfOneCall) {
  for (const std::uint32_t processors : {1u, 2u, 5u}) {
    thread::release_thread_context();
    use_processors(processors);
    for (const std::uint32_t mode : {1u, 2u, 4u, 8u, 16u}) {
      for (const std::int32_t height : {1, 2, 4, 5, 6, 31, 70, 211}) {
        if (mode == 8 && height > 70) continue;
        const std::vector<std::uint8_t> expected = in_one_call(mode, height);
        ASSERT_EQ(in_bands(mode, height), 0) << "mode " << mode << ", height " << height;
        ASSERT_EQ(destination_, expected) << "mode " << mode << ", height " << height;
      }
    }
    EXPECT_EQ(system.live_handles(), processors > 1 ? static_cast<int>(2 * processors - 1) : 0);
  }
}

struct WorkBuffer {
  const std::byte* first = nullptr;
  std::int32_t bytes = 0;
};
WorkBuffer g_used[8];
std::atomic<std::size_t> g_calls{0};

IppStatus note_work_buffer(const ResizeSqrPixelArguments& a, const Kernels& /*kernels*/) noexcept {
  std::int32_t bytes = 0;
  const IppStatus status = ippiResizeGetBufSize(a.src_roi, a.dst_roi, kChannels, a.interpolation, &bytes);
  g_used[g_calls++] = {static_cast<const std::byte*>(a.work), bytes};
  return status;
}

TEST_F(BandedResize, BandsShareNoWorkBuffer) {
  g_calls = 0;
  ASSERT_EQ(resize_in_bands(note_work_buffer, kChannels, arguments(16, 31), kernels()), 0);
  ASSERT_EQ(g_calls, 5u);
  std::sort(g_used, g_used + 5, [](const WorkBuffer& a, const WorkBuffer& b) { return a.first < b.first; });
  for (int k = 1; k < 5; ++k) EXPECT_GE(g_used[k].first - g_used[k - 1].first, g_used[k - 1].bytes);
}

TEST_F(BandedResize, SaysWhatWasRejectedAndWhatWasMissing) {
  ResizeSqrPixelArguments bad = arguments(16, 20);
  bad.x_factor = -1.0;
  EXPECT_EQ(resize_in_bands(ippiResizeSqrPixel_8u_C3R, kChannels, bad, kernels()), -1);
  bad = arguments(2, 20);
  bad.interpolation = 3;
  EXPECT_EQ(resize_in_bands(ippiResizeSqrPixel_8u_C3R, kChannels, bad, kernels()), -1);
  bad = arguments(2, 20);
  bad.dst_roi.height = 0;
  EXPECT_EQ(resize_in_bands(ippiResizeSqrPixel_8u_C3R, kChannels, bad, kernels()), -1);
  bad = arguments(2, 20);
  bad.y_shift += 12;  // only the last bands have a source
  EXPECT_EQ(resize_in_bands(ippiResizeSqrPixel_8u_C3R, kChannels, bad, kernels()), -1);

  bad = arguments(16, 20);
  bad.dst_roi.width = 10'000'000;  // a buffer fits 2^31 - 1 bytes, five do not
  EXPECT_EQ(resize_in_bands(ippiResizeSqrPixel_8u_C3R, kChannels, bad, kernels()), -2);

  thread::release_thread_context();
  ASSERT_NE(thread::get_task_pool(), nullptr);
  system.fail(Call::kAllocate, 0, 1);  // the scratch buffer's record
  EXPECT_EQ(in_bands(16, 20), -2);
  ASSERT_NE(thread::get_scratch_buffer(), nullptr);
  system.fail(Call::kAllocate, 0, 1);
  EXPECT_EQ(in_bands(16, 20), -2);
  EXPECT_EQ(in_bands(16, 20), 0);
}

TEST_F(BandedResize, DoesNotRunItsOwnBandWhereTheOthersAreNotTaken) {
  thread::TaskPool* const pool = thread::get_task_pool();
  ASSERT_NE(pool, nullptr);
  const auto nothing = [](void*) -> std::uint32_t { return 0; };
  ASSERT_EQ(pool->run_batch(nothing, 1, nullptr), 1);  // a batch that still waits to be waited for
  EXPECT_EQ(in_bands(4, 30), -2);
  EXPECT_EQ(destination_, std::vector<std::uint8_t>(destination_.size(), 0xA5));
  EXPECT_EQ(in_bands(4, 30), 0) << "the batch has been waited for";
}

}  // namespace
}  // namespace kyv::resize
