// What a weight table says of its weights decides how sums of them are rounded.
#include "resize/filtered/tap_table.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "runtime/dispatch.h"

namespace kyv::test {
namespace {

using resize::Mode;

TEST(TapTable, WeightsAreSmallAndMultiplesOfTheLastPlace) {
  constexpr Mode modes[] = {Mode::kLinear, Mode::kCubic, Mode::kBSpline, Mode::kLanczos, Mode::kSuper};
  constexpr std::int32_t sizes[][2] = {{1000, 250}, {500, 1000}, {701, 699}, {90, 89}, {640, 7}, {3, 1000}};
  const runtime::KernelSet& set = runtime::active_kernel_set();
  for (const Mode mode : modes) {
    for (const auto& [from, to] : sizes) {
      if (mode == Mode::kSuper && to > from) continue;
      resize::AxisGeometry axis;
      axis.count = to;
      axis.usable_size = from;
      axis.inverse = static_cast<double>(from) / to;
      runtime::Arena measure;
      static_cast<void>(resize::take_tap_table(measure, axis, mode));
      std::vector<double> memory(static_cast<std::size_t>(measure.bytes()) / sizeof(double) + 1);
      runtime::Arena arena(memory.data());
      const resize::BuiltTable built =
          resize::build_tap_table(resize::take_tap_table(arena, axis, mode), axis, mode, *set.resize);

      bool any_odd = false;
      for (std::int32_t i = 0; i < to; ++i) {
        const resize::TapSpan& span = built.table.spans[i];
        double size = 0.0;
        for (std::int32_t tap = 0; tap < span.count; ++tap) {
          const double weight = static_cast<double>(built.table.weights_of(span)[tap]);
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
