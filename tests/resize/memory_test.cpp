// Very large sources and destinations: the work buffer depends on the widths and the filter, not on the
// product of the source's height and the destination's width.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "api/lifecycle.h"
#include "resize/primitive.h"
#include "resize/resize_request.h"
#include "runtime/dispatch.h"
#include "thread/thread_context.h"

namespace kyv::test {
namespace {

// Square 8-bit grey pictures. Null data where memory is short.
struct Square {
  explicit Square(std::int32_t side)
      : size(side),
        data(static_cast<std::uint8_t*>(
                 std::malloc(static_cast<std::size_t>(side) * static_cast<std::size_t>(side))),
             &std::free) {}

  std::uint8_t* row(std::int32_t y) const {
    return data.get() + static_cast<std::size_t>(y) * static_cast<std::size_t>(size);
  }

  std::int32_t size;
  std::unique_ptr<std::uint8_t, decltype(&std::free)> data;
};

double ramp(double x, std::int32_t size) { return 255.0 * x / (size - 1.0); }

void fill_with_ramp(const Square& s) {
  for (std::int32_t x = 0; x < s.size; ++x)
    s.data.get()[x] = static_cast<std::uint8_t>(std::lround(ramp(x, s.size)));
  for (std::int32_t y = 1; y < s.size; ++y) std::memcpy(s.row(y), s.row(0), static_cast<std::size_t>(s.size));
}

int request(const Square& from, const Square& to, int mode) {
  const resize::ResizeRequest r{mode,      1,       8,      from.data.get(), from.size, from.size,
                                from.size, 0,       0,      from.size,       from.size, to.data.get(),
                                to.size,   to.size, to.size};
  const int result = resize::run_resize_request(r, runtime::active_kernel_set());
  thread::release_thread_context();
  return result;
}

class LargeImages : public testing::Test {
 protected:
  void SetUp() override { api::initialize(); }
  void TearDown() override { api::terminate(); }
};

TEST_F(LargeImages, ReduceToOnePixelAndToAThumbnail) {
  const Square source(30000);
  if (source.data == nullptr)
    GTEST_SKIP() << "not enough memory for a source of " << source.size << " squared";
  const Square pixel(1);
  const Square thumbnail(300);

  std::memset(source.data.get(), 201,
              static_cast<std::size_t>(source.size) * static_cast<std::size_t>(source.size));
  ASSERT_EQ(request(source, pixel, 16), 0);
  EXPECT_EQ(pixel.row(0)[0], 201);
  ASSERT_EQ(request(source, thumbnail, 16), 0);
  EXPECT_TRUE(std::all_of(thumbnail.row(0), thumbnail.row(0) + 300 * 300, [](auto v) { return v == 201; }));

  fill_with_ramp(source);
  ASSERT_EQ(request(source, pixel, 8), 0);
  EXPECT_NEAR(pixel.row(0)[0], 127.5, 1.0);
  ASSERT_EQ(request(source, thumbnail, 16), 0);
  const double scale = source.size / 300.0;
  for (std::int32_t y = 0; y < 300; y += 23) {
    for (std::int32_t x = 4; x < 296; ++x) {  // inwards of the edges' replication
      ASSERT_NEAR(thumbnail.row(y)[x], ramp((x + 0.5) * scale - 0.5, source.size), 1.0) << x << ' ' << y;
    }
  }
}

}  // namespace
}  // namespace kyv::test
