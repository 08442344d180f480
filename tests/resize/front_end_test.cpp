#include "resize/front_end.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "resize/primitive.h"

namespace kyv::resize {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kSmallest = std::numeric_limits<double>::denorm_min();
constexpr std::int32_t kIntMax = std::numeric_limits<std::int32_t>::max();
constexpr std::int32_t kIntMin = std::numeric_limits<std::int32_t>::min();

const Kernels& kernels() { return *runtime::active_kernel_set().resize; }

struct RectCase {
  IppiRect src;
  double x_factor;
  double x_shift;
  std::uint32_t word;
  IppStatus status;
  std::int32_t x;
  std::int32_t width;
};

constexpr IppiRect kUnit{0, 0, 10, 10};
constexpr RectCase kRectCases[] = {
    {kUnit, 1.0, 0.0, 1, 0, 0, 10},
    {{5, 0, 10, 9}, 0.5, 0.0, 2, 0, 2, 6},  // 2.5, 7.5
    {{5, 0, 10, 9}, 0.5000001, 0.0, 2, 0, 3, 5},
    // The slack of 1e-10 on either side of each bound.
    {kUnit, 1.0, 2.50000000005, 2, 0, 2, 11},
    {kUnit, 1.0, 2.5000000002, 2, 0, 3, 10},
    {kUnit, 0.749999999995, 0.0, 2, 0, 0, 8},
    {kUnit, 0.74999999998, 0.0, 2, 0, 0, 7},
    {kUnit, 1.0, 2.00000000005, 2 | kFlagSmoothEdge, 0, 2, 10},
    {kUnit, 1.0, 2.0000000002, 2 | kFlagSubpixelEdge, 0, 3, 9},
    {kUnit, 0.799999999995, 0.0, 2 | kFlagSubpixelEdge, 0, 0, 8},
    {kUnit, 0.79999999998, 0.0, 2 | kFlagSmoothEdge, 0, 0, 7},
    {{3, 0, 4, 9}, 2.0, 0.0, 4, 0, 6, 8},
    {kUnit, 1.0, -4.0, 1, 0, 0, 6},
    {kUnit, 1.0, -10.0, 1, 1, 0, 0},
    {kUnit, 1.0, -9.5, 1, 0, 0, 1},
    {kUnit, 1.0, -9.500001, 1, 1, 0, 0},
    {kUnit, 1e-300, 0.0, 1, 1, 0, 0},
    {kUnit, 1e-300, 0.5, 1, 0, 0, 1},
    {kUnit, 1e300, 0.0, 1, 1, 0, 0},
    {kUnit, kInfinity, 0.0, 1, 1, 0, 0},
    {kUnit, 1.0, kNaN, 1, 1, 0, 0},
    {kUnit, 1.0, kInfinity, 1, 1, 0, 0},
    {kUnit, 1.0, -kInfinity, 1, 1, 0, 0},
    {{kIntMax, 0, kIntMax, 1}, 1.0, 0.0, 1, 1, 0, 0},
    {{0, 0, kIntMax, 1}, 1.0, 0.0, 1, 0, 0, kIntMax},
    {{kIntMax, 0, kIntMax, 1}, 0.25, 0.0, 1, 0, 536870912, 536870912},
    {kUnit, 0.0, 0.0, 1, -23, 0, 0},
    {kUnit, -0.0, 0.0, 1, -23, 0, 0},
    {kUnit, -1.0, 0.0, 1, -23, 0, 0},
    {kUnit, kNaN, 0.0, 1, -23, 0, 0},
    {{-1, 0, 1, 1}, 1.0, 0.0, 1, -6, 0, 0},
    {{0, 0, 0, 1}, 1.0, 0.0, 1, -6, 0, 0},
    {{0, 0, kIntMin, 1}, -1.0, 0.0, 3, -6, 0, 0},
    {{0, 0, 1, 1}, -1.0, 0.0, 3, -23, 0, 0},
    {kUnit, 1.0, 0.0, 3, -22, 0, 0},
    {kUnit, 1.5, 0.0, 8, 0, 0, 15},
    {kUnit, 1.0, 0.0, 6, 0, 0, 10},
    {{5, 0, 10, 9}, 0.5, 0.0, 2 | kFlagSmoothEdge, 0, 3, 4},
    {{5, 0, 10, 9}, 0.5, 0.0, 2 | kFlagSubpixelEdge, 0, 3, 4},
    {{5, 0, 10, 9}, 0.5, 0.0, 2 | kFlagAntialias, 0, 2, 6},
    {{6, 0, 10, 9}, 0.5, 0.0, 2 | kFlagSmoothEdge, 0, 3, 5},
    {{5, 0, 10, 9}, 0.5, 0.0, 2 | kFlagSmoothEdge | kFlagSubpixelEdge, -22, 0, 0}};

// The y axis gets the mirrored call: the same values in the fields of y.
TEST(ResizeRect, RoundsStartsDownAndEndsUpAtExactHalves) {
  for (const RectCase& c : kRectCases) {
    SCOPED_TRACE(testing::Message() << "rectangle at " << c.src.x << ", factor " << c.x_factor << ", shift "
                                    << c.x_shift << ", word " << c.word);
    IppiRect r{-1, -2, -3, -4};
    EXPECT_EQ(ippiGetResizeRect(c.src, &r, c.x_factor, 1.0, c.x_shift, 0.0, c.word), c.status);
    EXPECT_EQ(r.x, c.status == 0 ? c.x : -1);
    EXPECT_EQ(r.width, c.status == 0 ? c.width : -3);

    const IppiRect mirrored{c.src.y, c.src.x, c.src.height, c.src.width};
    r = {-1, -2, -3, -4};
    EXPECT_EQ(ippiGetResizeRect(mirrored, &r, 1.0, c.x_factor, 0.0, c.x_shift, c.word), c.status);
    EXPECT_EQ(r.y, c.status == 0 ? c.x : -2);
    EXPECT_EQ(r.height, c.status == 0 ? c.width : -4);
  }
}

TEST(ResizeRect, NeedsAResultPointerBeforeAnythingElse) {
  EXPECT_EQ(ippiGetResizeRect({-1, 0, 0, 0}, nullptr, 0.0, 0.0, 0.0, 0.0, 0), kNullPointer);
}

TEST(ResizeBufferSize, RefusesInTheOrderOfTheRectangleQuery) {
  std::int32_t bytes = -5;
  EXPECT_EQ(ippiResizeGetBufSize({-1, 0, 0, 0}, kUnit, 1, 0, nullptr), kNullPointer);
  EXPECT_EQ(ippiResizeGetBufSize({-1, 0, 1, 1}, kUnit, 1, 0, &bytes), kSizeError);
  EXPECT_EQ(ippiResizeGetBufSize(kUnit, {0, 0, 1, 0}, 1, 0, &bytes), kSizeError);
  EXPECT_EQ(ippiResizeGetBufSize(kUnit, kUnit, 2, 0, &bytes), kSizeError);
  EXPECT_EQ(ippiResizeGetBufSize(kUnit, kUnit, 1, 3, &bytes), kInterpolationError);
  EXPECT_EQ(ippiResizeGetBufSize({0, 0, kIntMax, 1}, {0, 0, 1, 1}, 4, 16, &bytes), kSizeError);
  EXPECT_EQ(ippiResizeGetBufSize({0, 0, kIntMax, kIntMax}, {0, 0, kIntMax, kIntMax}, 4, 16, &bytes),
            kSizeError);
  EXPECT_EQ(bytes, -5);
  for (const std::uint32_t word : {1u, 2u, 4u, 5u, 6u, 7u, 8u, 16u, 1u | kFlagAntialias}) {
    EXPECT_EQ(ippiResizeGetBufSize(kUnit, {0, 0, 3, 40}, 3, word, &bytes), kNoError);
    EXPECT_GT(bytes, 0);
  }
}

// Images of 16 x 16 pixels of the widest format, and arguments that every primitive accepts.
class SqrPixel : public testing::Test {
 protected:
  ResizeSqrPixelArguments accepted() {
    return {.src = source_.data(),
            .src_size = {16, 16},
            .src_step = 16 * 8,
            .src_roi = {0, 0, 16, 16},
            .dst = destination_.data(),
            .dst_step = 16 * 8,
            .dst_roi = {0, 0, 16, 16},
            .x_factor = 1.0,
            .y_factor = 1.0,
            .interpolation = 4,
            .work = work_.data()};
  }

  bool untouched() const {
    return std::all_of(destination_.begin(), destination_.end(), [](auto b) { return b == 0xA5; });
  }

  // The status of all six, which must agree.
  IppStatus status_of(const ResizeSqrPixelArguments& arguments) {
    const IppStatus status = ippiResizeSqrPixel_8u_C1R(arguments, kernels());
    for (ResizeSqrPixel* primitive :
         {ippiResizeSqrPixel_8u_C3R, ippiResizeSqrPixel_8u_C4R, ippiResizeSqrPixel_16u_C1R,
          ippiResizeSqrPixel_16u_C3R, ippiResizeSqrPixel_16u_C4R}) {
      EXPECT_EQ(primitive(arguments, kernels()), status);
    }
    return status;
  }

  std::vector<std::uint8_t> source_ = std::vector<std::uint8_t>(16 * 16 * 8, 7);
  std::vector<std::uint8_t> destination_ = std::vector<std::uint8_t>(16 * 16 * 8, 0xA5);
  std::vector<std::uint64_t> work_ = std::vector<std::uint64_t>(1 << 17);
};

using Change = void (*)(ResizeSqrPixelArguments&);
struct Refusal {
  IppStatus status;
  Change change;
};

// In the order of the checks: each change is made on top of all later ones, so that it must win over them.
constexpr Refusal kRefusals[] = {
    {-8, [](auto& a) { a.src = nullptr; }},
    {-8, [](auto& a) { a.dst = nullptr; }},
    {-8, [](auto& a) { a.work = nullptr; }},
    {-6, [](auto& a) { a.src_size.width = 0; }},
    {-6, [](auto& a) { a.src_size.height = kIntMin; }},
    {-6, [](auto& a) { a.src_roi.x = -1; }},
    {-6, [](auto& a) { a.src_roi.y = kIntMin; }},
    {-6, [](auto& a) { a.src_roi.width = 0; }},
    {-6, [](auto& a) { a.src_roi.height = -1; }},
    {-6, [](auto& a) { a.dst_roi.x = -1; }},
    {-6, [](auto& a) { a.dst_roi.y = -1; }},
    {-6, [](auto& a) { a.dst_roi.width = 0; }},
    {-6, [](auto& a) { a.dst_roi.height = kIntMin; }},
    {-23, [](auto& a) { a.x_factor = 0.0; }},
    {-23, [](auto& a) { a.x_factor = kNaN; }},
    {-23, [](auto& a) { a.y_factor = -kInfinity; }},
    {-22, [](auto& a) { a.interpolation = 0; }},
    {-22, [](auto& a) { a.interpolation = 3; }},
    {-22, [](auto& a) { a.interpolation = 16 | kFlagSmoothEdge | kFlagSubpixelEdge; }},
    {-22, [](auto& a) { a.interpolation = 1 | kFlagAntialias | kFlagSmoothEdge; }},
    {-23, [](auto& a) { a.interpolation = 8, a.x_factor = 1.0000001; }},
    {-23, [](auto& a) { a.interpolation = 8 | kFlagSmoothEdge, a.y_factor = 1.5; }},
    {-22, [](auto& a) { a.interpolation = 6; }},
    {-22, [](auto& a) { a.interpolation = 7; }},
    {-22, [](auto& a) { a.interpolation = 1 | kFlagSmoothEdge; }},
    {-22, [](auto& a) { a.interpolation = 1 | kFlagSubpixelEdge; }},
    {-22, [](auto& a) { a.interpolation = 16 | kFlagAntialias; }},
    {29, [](auto& a) { a.src_roi.x = 16; }},
    {29, [](auto& a) { a.src_roi.y = kIntMax; }},
    {1, [](auto& a) { a.dst_roi.x = 16; }},
    {1, [](auto& a) { a.y_shift = -15.500001; }},
    {1, [](auto& a) { a.x_shift = kNaN; }},
    {1, [](auto& a) { a.x_shift = kInfinity; }},
    {1, [](auto& a) { a.y_shift = -kInfinity; }},
    {1, [](auto& a) { a.x_factor = 1e-300, a.x_shift = 0.0; }},
    {1, [](auto& a) { a.x_factor = kInfinity; }},  // 0 * infinity
    {1, [](auto& a) { a.dst_roi.y = kIntMax, a.y_shift = kIntMax; }},
    {-23, [](auto& a) { a.x_factor = kSmallest, a.x_shift = 0.5; }},
    {-23, [](auto& a) { a.y_factor = 1e-300, a.y_shift = 0.5; }},
    {-23, [](auto& a) { a.y_factor = 1e-6, a.y_shift = 0.5; }},
    {-23, [](auto& a) { a.y_factor = kSmallest, a.y_shift = 0.5; }},
    {-23,
     [](auto& a) { a.x_factor = 1e-308, a.x_shift = 14.5; }},  // shift / factor overflows, 1 / factor not
    {-23,
     [](auto& a) {
       a.dst_roi = {0, 0, kIntMax, kIntMax};
     }},  // a work buffer beyond 2 GB
};

TEST_F(SqrPixel, EveryRefusalWinsOverTheLaterOnesAndWritesNothing) {
  for (std::size_t k = 0; k < std::size(kRefusals); ++k) {
    ResizeSqrPixelArguments arguments = accepted();
    kRefusals[k].change(arguments);
    EXPECT_EQ(status_of(arguments), kRefusals[k].status) << "refusal " << k;
    for (std::size_t later = k + 1; later < std::size(kRefusals); ++later) {
      ResizeSqrPixelArguments both = accepted();
      kRefusals[later].change(both);
      kRefusals[k].change(both);
      // A change may lift the cause of the later one, never that of its own.
      EXPECT_EQ(status_of(both), kRefusals[k].status) << "refusal " << k << " over " << later;
    }
  }
  EXPECT_TRUE(untouched());
}

TEST_F(SqrPixel, AcceptsTheLimits) {
  ResizeSqrPixelArguments a = accepted();
  EXPECT_EQ(status_of(a), 0);
  a.interpolation = 8;  // super-sampling at exactly 1 and below
  a.y_factor = 0.5;
  a.dst_roi.height = 8;
  EXPECT_EQ(status_of(a), 0);
  for (const std::uint32_t mode : {1u, 8u}) {
    a.interpolation = mode | kFlagAntialias;
    EXPECT_EQ(status_of(a), 46);
    ResizeSqrPixelArguments empty = a;
    empty.dst_roi.x = 16;
    EXPECT_EQ(status_of(empty), 1);
  }
  a = accepted();
  a.src_roi = {15, 15, 100, 100};  // reaches beyond the image: clipped
  a.x_shift = a.y_shift = -15.0;
  EXPECT_EQ(status_of(a), 0);
  a = accepted();
  a.x_factor = 1e300;  // one source pixel covers every column
  a.interpolation = 1;
  EXPECT_EQ(status_of(a), 0);
}

TEST_F(SqrPixel, TinySourcesFallBackToShorterFilters) {
  EXPECT_EQ(effective_mode(16, {6, 6}), Mode::kLanczos);
  EXPECT_EQ(effective_mode(16, {5, 100}), Mode::kCubic);
  EXPECT_EQ(effective_mode(16, {100, 4}), Mode::kCubic);
  EXPECT_EQ(effective_mode(16, {3, 100}), Mode::kLinear);
  EXPECT_EQ(effective_mode(4, {100, 3}), Mode::kLinear);
  EXPECT_EQ(effective_mode(5, {1, 1}), Mode::kLinear);
  EXPECT_EQ(effective_mode(5, {4, 4}), Mode::kBSpline);
  EXPECT_EQ(effective_mode(4, {4, 5}), Mode::kCubic);
  for (const std::uint32_t mode : {1u, 2u, 8u}) {
    EXPECT_EQ(effective_mode(mode, {1, 1}), static_cast<Mode>(mode));
    EXPECT_EQ(effective_mode(mode, {4, 5}), static_cast<Mode>(mode));
  }
}

TEST_F(SqrPixel, ClipsAndRoundsTheWrittenSpan) {
  struct Clip {
    double shift;
    double factor;
    std::int32_t first;
    std::int32_t end;
  };
  constexpr Clip clips[] = {{0.0, 1.0, 0, 16},   {2.5, 0.3125, 2, 8},      {2.5001, 0.3125, 3, 8},
                            {2.5, 0.3124, 2, 7}, {-3.0, 1.0, 0, 13},       {14.5, 1.0, 14, 16},
                            {15.4, 1.0, 15, 16}, {-1000.0, 1000.0, 0, 16}, {3.0, 1e-9, 3, 3}};
  for (const Clip& clip : clips) {
    ResizeSqrPixelArguments a = accepted();
    a.x_factor = a.y_factor = clip.factor;
    a.x_shift = a.y_shift = clip.shift;
    a.interpolation = 1;
    Geometry g;
    const IppStatus status = resolve(a, g);
    EXPECT_EQ(status, clip.first < clip.end ? 0 : 1) << clip.shift << ' ' << clip.factor;
    if (status != 0) continue;
    for (const AxisGeometry& axis : {g.x, g.y}) {
      EXPECT_EQ(axis.first, clip.first) << clip.shift << ' ' << clip.factor;
      EXPECT_EQ(axis.first + axis.count, clip.end) << clip.shift << ' ' << clip.factor;
      EXPECT_EQ(axis.inverse, 1.0 / clip.factor);
      EXPECT_EQ(axis.offset, -clip.shift / clip.factor);
    }
  }

  ResizeSqrPixelArguments a = accepted();
  a.src_roi = {4, 2, 100, 3};
  a.dst_roi = {1, 3, 5, 100};
  Geometry g;
  ASSERT_EQ(resolve(a, g), 0);
  EXPECT_EQ(g.x.first, 4);  // the source's columns 4.. against the destination's 1..6
  EXPECT_EQ(g.x.count, 2);
  EXPECT_EQ(g.x.usable_size, 12);
  EXPECT_EQ(g.y.first, 3);  // the source's rows 2..5 against the destination's 3..
  EXPECT_EQ(g.y.count, 2);
  EXPECT_EQ(g.y.usable_size, 3);
  EXPECT_EQ(g.y.origin, 2);
}

// A request for a part of its rectangles is served from the buffer that they were promised.
TEST(WorkBuffer, NeverShrinksAsTheSourceGrows) {
  for (const std::uint32_t mode : {1u, 2u, 4u, 8u, 16u}) {
    for (const std::int32_t channels : {1, 3, 4}) {
      for (const std::int32_t width : {1, 40, 700}) {
        std::int32_t last = 0;
        for (std::int32_t from = width; from < 200 * width; from += 1 + from / 20) {
          std::int32_t bytes = 0;
          ASSERT_EQ(resize::ippiResizeGetBufSize({0, 0, from, 50}, {0, 0, width, 50}, channels, mode, &bytes),
                    0);
          ASSERT_GE(bytes, last) << "mode " << mode << ", channels " << channels << ": " << from << " to "
                                 << width;
          last = bytes;
        }
      }
    }
  }
}

}  // namespace
}  // namespace kyv::resize
