#include "geometry.h"

#include <gtest/gtest.h>

#include "adjust.h"
#include "error.h"

namespace kyv::host::test {
namespace {

struct Asked {
  Way way;
  const char* size;
  const char* region;  // or null
  Size source;
  Placement expected;
};

TEST(Geometry, PlacesPicturesAsSizesAreTyped) {
  const Asked cases[] = {
      {Way::kExact, "30x70", nullptr, {100, 60}, {{0, 0, 100, 60}, {30, 70}, {30, 70}}},
      {Way::kExact, "50x", nullptr, {100, 60}, {{0, 0, 100, 60}, {50, 30}, {50, 30}}},
      {Way::kExact, "x20", nullptr, {100, 60}, {{0, 0, 100, 60}, {33, 20}, {33, 20}}},
      {Way::kExact, "50%", nullptr, {101, 61}, {{0, 0, 101, 61}, {51, 31}, {51, 31}}},
      {Way::kExact, "50%x200%", nullptr, {100, 60}, {{0, 0, 100, 60}, {50, 120}, {50, 120}}},
      {Way::kExact, "200x>", nullptr, {100, 60}, {{0, 0, 100, 60}, {100, 60}, {100, 60}}},
      {Way::kExact, "0.1%", nullptr, {100, 60}, {{0, 0, 100, 60}, {1, 1}, {1, 1}}},
      {Way::kFit, "50", nullptr, {100, 60}, {{0, 0, 100, 60}, {50, 30}, {50, 30}}},
      {Way::kFit, "400x90", nullptr, {100, 60}, {{0, 0, 100, 60}, {150, 90}, {150, 90}}},
      {Way::kFit, "400x90>", nullptr, {100, 60}, {{0, 0, 100, 60}, {100, 60}, {100, 60}}},
      {Way::kCover, "40x40", nullptr, {100, 60}, {{20, 0, 60, 60}, {40, 40}, {40, 40}}},
      {Way::kCover, "200x10", nullptr, {100, 60}, {{0, 27, 100, 5}, {200, 10}, {200, 10}}},
      {Way::kCover, "200x40>", nullptr, {100, 60}, {{0, 10, 100, 40}, {100, 40}, {100, 40}}},
      {Way::kPad, "50x50", nullptr, {100, 60}, {{0, 0, 100, 60}, {50, 30}, {50, 50}, 0, 10}},
      {Way::kPad, "120x80>", nullptr, {100, 60}, {{0, 0, 100, 60}, {100, 60}, {120, 80}, 10, 10}},
      {Way::kExact, "200%", "10,20,30,25", {100, 60}, {{10, 20, 30, 25}, {60, 50}, {60, 50}}},
      {Way::kFit, "80x80", "40x20+5+7", {100, 60}, {{5, 7, 40, 20}, {80, 40}, {80, 40}}},
      {Way::kFit, "10", "50%x50%", {100, 60}, {{25, 15, 50, 30}, {10, 6}, {10, 6}}},
      {Way::kExact, "100%", "33%,0%,67%,100%", {50, 60}, {{17, 0, 33, 60}, {33, 60}, {33, 60}}},
  };
  for (const Asked& asked : cases) {
    SCOPED_TRACE(std::string(asked.size) + " of " + (asked.region == nullptr ? "all" : asked.region));
    Target target = parse_target(asked.way, asked.size, "--size");
    if (asked.region != nullptr) target.region = parse_region(asked.region, "--region");
    const Placement is = placement_of(target, asked.source);
    const auto numbers = [](const Placement& p) {
      return std::array{p.region.x,
                        p.region.y,
                        p.region.width,
                        p.region.height,
                        p.size.width,
                        p.size.height,
                        p.canvas.width,
                        p.canvas.height,
                        p.x,
                        p.y};
    };
    EXPECT_EQ(numbers(is), numbers(asked.expected));
  }
}

TEST(Geometry, RefusesWhatIsNoSizeRegionScaleOrColour) {
  for (const char* text :
       {"", "x", "800", "800x600x", "-5x", "0x5", "12.5x4", "80x60<", "1e99x", "nanx", " 5x"}) {
    EXPECT_THROW(parse_target(Way::kExact, text, "--size"), UsageError) << text;
  }
  for (const char* text : {"", "1,2,3", "1,2,3,4,5", "3x", "3x4+1", "0x4+1+1", "3x4-1-1", "1,2,0,4"}) {
    EXPECT_THROW(parse_region(text, "--region"), UsageError) << text;
  }
  for (const char* text : {"", "0", "-1", "%", "1x", "inf"})
    EXPECT_THROW(parse_scale(text, "--scale"), UsageError) << text;
  for (const char* text : {"", "pink", "#12", "#12345g", "123456"}) {
    EXPECT_THROW(parse_colour(text, "--background"), UsageError) << text;
  }
  const auto beyond = [](const char* region) {
    Target target = parse_scale("1", "--scale");
    target.region = parse_region(region, "--region");
    return placement_of(target, {30, 20});
  };
  for (const char* region : {"20,0,11,5", "31x5", "5x5+2147483647+0", "60%,0,60%,1"}) {
    EXPECT_THROW(beyond(region), Error) << region;
  }
  EXPECT_THROW(placement_of(parse_scale("1e9", "--scale"), {30, 20}), Error);
}

}  // namespace
}  // namespace kyv::host::test
