#include "resize/rounding.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <vector>

namespace kyv::test {
namespace {

// Halves and their neighbours of every size, and everything that is not a number to round.
std::vector<double> hard_cases() {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  std::vector<double> cases = {kInfinity, std::numeric_limits<double>::denorm_min(), 0x1p1023};
  std::mt19937_64 random(3);
  for (int exponent = 0; exponent <= 54; ++exponent) {
    for (int k = 0; k < 40; ++k) {
      const double whole = std::floor(std::ldexp(static_cast<double>(random() >> 11), exponent - 53));
      for (const double fraction : {0.0, 0.5, 1.0 - 0x1p-53}) {
        cases.push_back(whole + fraction);
        cases.push_back(std::nextafter(whole + fraction, 0.0));
        cases.push_back(std::nextafter(whole + fraction, kInfinity));
      }
    }
  }
  return cases;
}

TEST(Rounding, AgreesWithTheRunTimeLibrary) {
  for (const double size : hard_cases()) {
    for (const double x : {size, -size}) {
      ASSERT_EQ(resize::floor_of(x), std::floor(x)) << x;
      ASSERT_EQ(resize::ceil_of(x), std::ceil(x)) << x;
      ASSERT_EQ(resize::trunc_of(x), std::trunc(x)) << x;
      const double whole = std::abs(x) < 0x1p51 ? std::floor(x) : 0.0;
      ASSERT_EQ(resize::integer_of(whole), static_cast<std::int64_t>(whole)) << x;
    }
  }
  EXPECT_TRUE(std::isnan(resize::floor_of(std::nan(""))));
  EXPECT_TRUE(std::isnan(resize::trunc_of(std::nan(""))));
}

}  // namespace
}  // namespace kyv::test
