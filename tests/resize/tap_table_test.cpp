// What a weight table says of its weights decides how sums of them are rounded.
#include "resize/filtered/tap_table.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <span>
#include <vector>

#include "runtime/dispatch.h"

namespace kyv::test {
namespace {

using resize::Mode;

class Table {
 public:
  Table(const resize::AxisGeometry& axis, Mode mode) {
    runtime::Arena measure;
    static_cast<void>(resize::take_tap_table(measure, axis, mode));
    memory_.resize(static_cast<std::size_t>(measure.bytes()) / sizeof(double) + 1);
    runtime::Arena arena(memory_.data());
    built_ = resize::build_tap_table(resize::take_tap_table(arena, axis, mode), axis, mode,
                                     *runtime::active_kernel_set().resize);
  }

  const resize::BuiltTable& built() const { return built_; }
  const resize::TapSpan& span(std::int32_t i) const { return built_.table.spans[i]; }
  std::span<const float> weights(std::int32_t i) const {
    return {built_.table.weights_of(span(i)), static_cast<std::size_t>(span(i).count)};
  }

 private:
  std::vector<double> memory_;
  resize::BuiltTable built_;
};

TEST(TapTable, WeightsAreSmallAndMultiplesOfTheLastPlace) {
  constexpr Mode modes[] = {Mode::kLinear, Mode::kCubic, Mode::kBSpline, Mode::kLanczos, Mode::kSuper};
  constexpr std::int32_t sizes[][2] = {{1000, 250}, {500, 1000}, {701, 699}, {90, 89}, {640, 7}, {3, 1000}};
  for (const Mode mode : modes) {
    for (const auto& [from, to] : sizes) {
      if (mode == Mode::kSuper && to > from) continue;
      resize::AxisGeometry axis;
      axis.count = to;
      axis.usable_size = from;
      axis.inverse = static_cast<double>(from) / to;
      const Table table(axis, mode);
      const resize::BuiltTable& built = table.built();

      bool any_odd = false;
      for (std::int32_t i = 0; i < to; ++i) {
        double size = 0.0;
        for (const float stored : table.weights(i)) {
          const auto weight = static_cast<double>(stored);
          const double places = std::ldexp(weight, -built.last_place);
          ASSERT_EQ(places, std::trunc(places)) << weight;
          any_odd = any_odd || std::fmod(places, 2.0) != 0.0;
          size += std::abs(weight);
        }
        ASSERT_LT(size, 2.0);
      }
      EXPECT_TRUE(any_odd) << from << " to " << to << ", last place " << built.last_place;
    }
  }
}

// Rows that indices share, and periods, change nothing.
TEST(TapTable, EveryIndexHasTheTapsThatItHasAlone) {
  for (const Mode mode : {Mode::kLinear, Mode::kCubic, Mode::kLanczos, Mode::kSuper}) {
    for (const double inverse : {1.0 / 3.0, 0.375, 0.5, 0.9, 1.0, 1.25, 1.6, 2.0, 3.125, 7.0, 10.0 / 3.0}) {
      for (const double offset : {0.0, -0.3, 1e-15}) {
        resize::AxisGeometry axis{.first = 3, .count = 90, .inverse = inverse, .offset = offset, .origin = 2};
        axis.usable_size = static_cast<std::int32_t>(90.0 * inverse);
        const Table table(axis, mode);
        axis.count = 1;
        for (std::int32_t i = 0; i < 90; ++i, ++axis.first) {
          const Table alone(axis, mode);
          ASSERT_EQ(table.span(i).first, alone.span(0).first) << inverse << ", index " << i;
          ASSERT_TRUE(std::ranges::equal(table.weights(i), alone.weights(0))) << inverse << ", index " << i;
        }
      }
    }
  }
}

// The largest sum of weights of both axes, and one place more.
TEST(TapTable, SumsThatAreSaidToFitDoublesDo) {
  for (const auto& [depth, largest] :
       {std::pair(resize::kDepth8, 255.0), std::pair(resize::kDepth16, 65535.0)}) {
    for (int last_place = 0; last_place > -60; --last_place) {
      const double place = std::ldexp(1.0, last_place);
      const bool fits = 4.0 * largest + place - 4.0 * largest == place;
      EXPECT_EQ(resize::sums_fit_doubles(last_place, depth), fits) << last_place;
    }
  }
}

}  // namespace
}  // namespace kyv::test
