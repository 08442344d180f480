#include "resize/resize_request.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <vector>

#include "api/lifecycle.h"
#include "thread/thread_context.h"

namespace kyv::resize {
namespace {

constexpr std::int32_t kIntMax = std::numeric_limits<std::int32_t>::max();
constexpr std::int32_t kIntMin = std::numeric_limits<std::int32_t>::min();

class Request : public testing::Test {
 protected:
  void SetUp() override { api::initialize(); }
  void TearDown() override { api::terminate(); }

  // 20 x 10 pixels of 3 bytes to 8 x 8.
  ResizeRequest accepted() {
    return {.mode = 4,
            .channels = 3,
            .bits = 8,
            .src = source_.data(),
            .src_width = 20,
            .src_height = 10,
            .src_step = 60,
            .region_x = 2,
            .region_y = 1,
            .region_width = 18,
            .region_height = 9,
            .dst = destination_.data(),
            .dst_width = 8,
            .dst_height = 8,
            .dst_step = 24};
  }

  int run(const ResizeRequest& request) {
    std::fill(destination_.begin(), destination_.end(), std::uint8_t{0xA5});
    const int result = run_resize_request(request, runtime::active_kernel_set());
    thread::release_thread_context();
    return result;
  }

  bool untouched() const {
    return std::all_of(destination_.begin(), destination_.end(), [](auto b) { return b == 0xA5; });
  }

  std::vector<std::uint8_t> source_ = std::vector<std::uint8_t>(60 * 10 * 8, 7);
  std::vector<std::uint8_t> destination_ = std::vector<std::uint8_t>(24 * 8 * 8);
};

using Change = void (*)(ResizeRequest&);

TEST_F(Request, AcceptsTheLimitsOfItsRules) {
  constexpr Change changes[] = {
      [](auto&) {},
      [](auto& r) { r.region_x = 19, r.region_width = 1; },
      [](auto& r) { r.region_y = 9, r.region_height = 1; },
      [](auto& r) { r.src_step = 61, r.dst_step = 25; },
      [](auto& r) { r.channels = 1; },
      [](auto& r) { r.channels = 4, r.src_step = 80, r.dst_step = 32; },
      [](auto& r) { r.bits = 16, r.src_step = 120, r.dst_step = 48; },
      [](auto& r) { r.mode = 1; },
      [](auto& r) { r.mode = 2; },
      [](auto& r) { r.mode = 8; },
      [](auto& r) { r.mode = 16; },
  };
  for (std::size_t k = 0; k < std::size(changes); ++k) {
    ResizeRequest request = accepted();
    changes[k](request);
    EXPECT_EQ(run(request), 0) << "change " << k;
    EXPECT_EQ(destination_[0], 7) << "change " << k;
  }
}

TEST_F(Request, RefusesEverythingElseAndWritesNothing) {
  constexpr Change changes[] = {
      [](auto& r) { r.src = nullptr; },
      [](auto& r) { r.src_width = 0; },
      [](auto& r) { r.src_width = -20; },
      [](auto& r) { r.src_height = kIntMin; },
      [](auto& r) { r.region_x = -1; },
      [](auto& r) { r.region_y = kIntMin; },
      [](auto& r) { r.region_width = 0; },
      [](auto& r) { r.region_height = -1; },
      [](auto& r) { r.region_width = 19; },
      [](auto& r) { r.region_height = 10; },
      [](auto& r) { r.region_x = kIntMax, r.region_width = kIntMax; },
      // Rows that the arguments alone have: a column more, and more taps than the work buffer's query holds.
      [](auto& r) {
        r.channels = 1, r.mode = 16, r.src_width = r.src_step = r.region_width = kIntMax;
        r.region_x = r.region_y = 0, r.src_height = r.region_height = r.dst_width = r.dst_height = 1;
      },
      [](auto& r) { r.channels = r.mode = 1, r.src_width = r.src_step = r.region_width = kIntMax; },
      // A region that the factor takes beyond every whole number of pixels.
      [](auto& r) {
        r.channels = 1, r.src_width = r.src_step = kIntMax, r.region_width = 7, r.region_x = kIntMax - 7;
      },
      [](auto& r) { r.region_y = kIntMax; },
      [](auto& r) { r.region_height = kIntMax; },
      [](auto& r) { r.dst = nullptr; },
      [](auto& r) { r.dst_width = 0; },
      [](auto& r) { r.dst_height = kIntMin; },
      [](auto& r) { r.channels = 0; },
      [](auto& r) { r.channels = 2; },
      [](auto& r) { r.channels = 5; },
      [](auto& r) { r.channels = kIntMin; },
      [](auto& r) { r.bits = 12; },
      [](auto& r) { r.bits = 0; },
      [](auto& r) { r.bits = -8; },
      [](auto& r) { r.bits = 32; },
      [](auto& r) { r.src_step = 59; },
      [](auto& r) { r.src_step = -60; },
      [](auto& r) { r.dst_step = 23; },
      [](auto& r) { r.dst_step = kIntMin; },
      [](auto& r) { r.bits = 16, r.src_step = 119, r.dst_step = 48; },
      // 1431655766 * 3 wraps to 2.
      [](auto& r) { r.src_width = 1431655766; },
      [](auto& r) { r.dst_width = 1431655766; },
      [](auto& r) { r.mode = 0; },
      [](auto& r) { r.mode = 3; },
      [](auto& r) { r.mode = 5; },
      [](auto& r) { r.mode = -1; },
      [](auto& r) { r.mode = kIntMin | 1; },
      // Super-sampling does not enlarge.
      [](auto& r) { r.mode = 8, r.region_width = 7; },
  };
  for (std::size_t k = 0; k < std::size(changes); ++k) {
    ResizeRequest request = accepted();
    changes[k](request);
    EXPECT_EQ(run(request), -1) << "change " << k;
    EXPECT_TRUE(untouched()) << "change " << k;
  }
}

TEST_F(Request, HasNoWorkBufferWithoutAThreadSlot) {
  api::terminate();
  ResizeRequest large = accepted();
  large.dst_width = 100'000;
  large.dst_step = 300'000;
  for (const ResizeRequest& request : {accepted(), large}) {
    EXPECT_EQ(run(request), -2);
    EXPECT_TRUE(untouched());
  }
}

}  // namespace
}  // namespace kyv::resize
