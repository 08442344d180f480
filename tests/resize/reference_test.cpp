// What the reference itself rests on, and facts that hold for it.
#include "resize/reference.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <random>
#include <utility>
#include <vector>

#include "resize/kernels/sine.h"

namespace kyv::reference {
namespace {

TEST(FusedStep, KnowsTheHardCases) {
  const float e = std::ldexp(1.0f, -12);
  // (1 + 2^-12)^2 = 1 + 2^-11 + 2^-24: a tie, which the accumulator breaks far below a double's last place.
  const float below = 1.0f + 2.0f * e;
  const float above = std::nextafter(below, 2.0f);
  EXPECT_EQ(fused_multiply_add(1.0f + e, 1.0f + e, std::ldexp(1.0f, -80)), above);
  EXPECT_EQ(fused_multiply_add(1.0f + e, 1.0f + e, -std::ldexp(1.0f, -80)), below);
  EXPECT_EQ(fused_multiply_add(1.0f + e, 1.0f + e, 0.0f), below);
  EXPECT_EQ(fused_multiply_add(-1.0f - e, 1.0f + e, -std::ldexp(1.0f, -80)), -above);
  EXPECT_EQ(fused_multiply_add(-1.0f - e, 1.0f + e, std::ldexp(1.0f, -80)), -below);
  EXPECT_EQ(fused_multiply_add(1.0f, 1.0f, -1.0f), 0.0f);
  EXPECT_EQ(fused_multiply_add(0.0f, 255.0f, 3.0f), 3.0f);
  const float smallest = std::ldexp(1.0f, -149);
  EXPECT_EQ(fused_multiply_add(0.5f, smallest, 0.0f), 0.0f);
  EXPECT_EQ(fused_multiply_add(0.5f, smallest, smallest), 2.0f * smallest);
  EXPECT_EQ(fused_multiply_add(std::ldexp(1.0f, -100), std::ldexp(1.0f, -100), 1.0f), 1.0f);
}

#ifdef __GLIBC__
// This run-time library's fmaf is exact. Every fourth sum is next to a tie: half of the floats' last place,
// and an accumulator far below the last place of a double.
TEST(FusedStep, AgreesWithTheRunTimeLibraryOnAnyBits) {
  std::mt19937 random(11);
  const auto any_float = [&] {
    return std::bit_cast<float>((static_cast<std::uint32_t>(random()) & 0x87FFFFFFu) | 0x38000000u);
  };
  const auto half_way_factor = [&] { return 1.0f + static_cast<float>(2 * (random() % 800) + 1) * 0x1p-12f; };
  int rounded_twice = 0;
  for (int k = 0; k < 1000000; ++k) {
    const bool tie = k % 4 == 3;
    const float a = tie ? half_way_factor() : any_float();
    const float b = tie ? half_way_factor() : any_float();
    const float c = tie ? std::ldexp(k % 8 == 3 ? 1.0f : -1.0f, -55 - static_cast<int>(random() % 94))
                    : k % 3 == 0 ? -a * b
                                 : any_float();
    const float expected = std::fmaf(a, b, c);
    const float fused = fused_multiply_add(a, b, c);
    ASSERT_EQ(std::bit_cast<std::uint32_t>(fused), std::bit_cast<std::uint32_t>(expected))
        << a << ' ' << b << ' ' << c;
    const double twice = static_cast<double>(a) * static_cast<double>(b) + static_cast<double>(c);
    rounded_twice += static_cast<float>(twice) != expected;
  }
  EXPECT_GT(rounded_twice, 50000) << "cases that rounding twice gets wrong";
}
#endif

// The x87 instruction behind MinGW's long double sine reduces its argument with 66 bits of pi.
#ifdef _WIN32
constexpr double kOracleError = 1e-19;
#else
constexpr double kOracleError = 0.0;
#endif

// In units of the result's last place, against a sine of 64 bits where long double has them.
TEST(Sine, IsAccurateToTheLastPlace) {
  double worst = 0.0;
  std::mt19937_64 random(3);
  for (int k = 0; k < 300000; ++k) {
    const double x = 9.5 * std::ldexp(static_cast<double>(random() >> 11), -53) * (k % 5 == 0 ? 1e-6 : 1.0);
    const long double exact = std::sin(static_cast<long double>(x));
    const double nearest = static_cast<double>(exact);
    const double place = std::nextafter(std::fabs(nearest), 2.0) - std::fabs(nearest);
    const double error =
        static_cast<double>(std::fabs(
            static_cast<long double>(resize::sine(x, [](double value) { return value; })) - exact)) /
        place;
    ASSERT_LE(error, 2.0 + kOracleError / place) << "at " << x;
    worst = std::max(worst, error);
  }
  RecordProperty("worst_error_in_last_places", std::to_string(worst));
}

// Facts that need no other implementation. All kernels give the reference's pixels: what holds for it holds
// for them.
using Samples = std::vector<std::uint16_t>;

struct Shape {
  std::int32_t width, height;
  std::size_t samples(int channels) const { return static_cast<std::size_t>(width * height * channels); }
};

Samples resized(const Samples& source, Shape from, Shape to, int channels, int mode) {
  PrimitiveCall call;
  call.bits = 16;
  call.channels = channels;
  call.src = reinterpret_cast<const std::uint8_t*>(source.data());
  call.src_width = from.width;
  call.src_height = from.height;
  call.src_step = std::int64_t{2} * from.width * channels;
  call.src_roi = {0, 0, from.width, from.height};
  call.mode = mode;
  const std::vector<std::uint8_t> bytes = resize(call, to.width, to.height).samples;
  Samples samples(to.samples(channels));
  EXPECT_EQ(bytes.size(), samples.size() * 2);
  std::memcpy(samples.data(), bytes.data(), std::min(bytes.size(), samples.size() * 2));
  return samples;
}

Samples noise(std::size_t count) {
  std::mt19937 random(4);
  Samples samples(count);
  for (std::uint16_t& sample : samples) sample = static_cast<std::uint16_t>(random());
  return samples;
}

TEST(ResizeFacts, SameSizesAndConstantsStayAsTheyAre) {
  constexpr std::pair<Shape, Shape> kShapes[] = {{{67, 41}, {67, 41}},  {{31, 17}, {64, 50}},  //
                                                 {{31, 17}, {30, 5}},   {{9000, 2}, {1, 1}},
                                                 {{2, 9000}, {1, 1}},   {{4999, 3}, {5, 2}},
                                                 {{70000, 1}, {99, 1}}, {{1, 1}, {19, 23}}};
  for (const int mode : {1, 2, 4, 8, 16}) {
    for (const auto& [from, to] : kShapes) {
      if (mode == 8 && to.width > from.width) continue;
      for (const int value : {65535, 65534, 40503, 1, 0}) {
        EXPECT_EQ(resized(Samples(from.samples(3), static_cast<std::uint16_t>(value)), from, to, 3, mode),
                  Samples(to.samples(3), static_cast<std::uint16_t>(value)))
            << "mode " << mode << ", " << from.width << " to " << to.width;
      }
    }
    const Samples source = noise(67 * 41 * 3);
    EXPECT_EQ(resized(source, {67, 41}, {67, 41}, 3, mode), source);
  }
}

TEST(ResizeFacts, MirroredSourcesGiveMirroredResults) {
  const Samples source = noise(40 * 26);
  for (const int mode : {2, 4, 16}) {
    for (const Shape to : {Shape{90, 61}, Shape{20, 75}, Shape{7, 5}}) {
      const Samples result = resized(source, {40, 26}, to, 1, mode);
      const Samples mirrored = resized(Samples(source.rbegin(), source.rend()), {40, 26}, to, 1, mode);
      for (std::size_t k = 0; k < result.size(); ++k)
        ASSERT_NEAR(result[k], mirrored[result.size() - 1 - k], 1) << "mode " << mode;
    }
  }
}

TEST(ResizeFacts, SuperSamplingByIntegersIsTheMean) {
  constexpr Shape to{9, 5};
  for (const std::int32_t n : {2, 3, 4, 5, 6, 7, 8, 11, 16}) {
    const Shape from{to.width * n, to.height * n};
    const Samples source = noise(from.samples(1));
    const Samples result = resized(source, from, to, 1, 8);
    for (std::int32_t i = 0; i < to.width * to.height; ++i) {
      double sum = 0;
      for (std::int32_t k = 0; k < n * n; ++k) {
        const std::int32_t row = i / to.width * n + k / n;
        sum += source[static_cast<std::size_t>(row * from.width + i % to.width * n + k % n)];
      }
      const bool is_exact = (n & (n - 1)) == 0;
      ASSERT_NEAR(result[static_cast<std::size_t>(i)], sum / (n * n), is_exact ? 0.5 : 1) << "by " << n;
    }
  }
}

}  // namespace
}  // namespace kyv::reference
