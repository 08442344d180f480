// Every pixel of a destination is written, also where the region's origin * factor is an exact half.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <numeric>

#include "resize/front_end.h"
#include "resize/resize_request.h"
#include "resize/trial.h"

namespace kyv::test {
namespace {

struct AxisCase {
  std::int32_t origin;
  std::int32_t size;
  std::int32_t destination;
};

// Whether the primitives write all of the destination under the mapping of the request, whose shifts are
// whole but for the errors of rounding that they make up for.
bool covers(const resize::IppiRect& region, resize::IppiSize destination) {
  resize::RegionMapping mapping;
  if (resize::map_region(region, destination, 1, mapping) != resize::kNoError) return false;
  const resize::ResizeSqrPixelArguments arguments{
      .src_size = {region.x + region.width, region.y + region.height},
      .src_roi = region,
      .dst_roi = {0, 0, destination.width, destination.height},
      .x_factor = mapping.x_factor,
      .y_factor = mapping.y_factor,
      .x_shift = mapping.x_shift,
      .y_shift = mapping.y_shift,
      .interpolation = 1};
  resize::Geometry geometry;
  const auto is_whole = [](double shift) { return std::abs(shift - std::round(shift)) < 1e-5; };
  return is_whole(mapping.x_shift) && is_whole(mapping.y_shift) &&
         resize::resolve(arguments, geometry) == resize::kNoError && geometry.x.first == 0 &&
         geometry.x.count == destination.width && geometry.y.first == 0 &&
         geometry.y.count == destination.height;
}

// Every request along both axes, with sources and destinations of up to `limit` positions, for which
// origin * destination / size is an exact half of at least `least`. How many there were.
//
// With destination / size = a / b in lowest terms that takes an even b, an odd a, and origins that are odd
// multiples of b / 2.
template <class Visit>
std::int64_t visit_exact_halves(std::int32_t limit, double least, const Visit& visit) {
  std::int64_t visited = 0;
  for (std::int32_t b = 2; b <= limit; b += 2) {
    for (std::int32_t a = 1; a <= limit; a += 2) {
      if (std::gcd(a, b) != 1) continue;
      const auto first = static_cast<std::int32_t>(2.0 * least / a) | 1;
      for (std::int32_t t = 1; t * a <= limit && t * b <= limit; ++t) {
        for (std::int64_t m = first; b / 2 * m + t * b <= limit; m += 2, ++visited) {
          visit(AxisCase{static_cast<std::int32_t>(b / 2 * m), t * b, t * a});
        }
      }
    }
  }
  return visited;
}

TEST(WholeDestination, IsReachedByEveryExactHalf) {
  // KYVMATH_SEARCH_LIMIT=24576 takes minutes.
  const char* const wanted = std::getenv("KYVMATH_SEARCH_LIMIT");
  const std::int32_t limit = wanted != nullptr ? std::atoi(wanted) : 3200;
  std::int64_t missed = 0;
  const std::int64_t visited = visit_exact_halves(limit, 5e5, [&](const AxisCase& c) {
    const bool whole = covers({c.origin, c.origin, c.size, c.size}, {c.destination, c.destination});
    if (!whole && ++missed < 10)
      ADD_FAILURE() << c.origin << ", " << c.size << " to " << c.destination << " is not covered";
  });
  EXPECT_EQ(missed, 0) << "of " << visited;
  EXPECT_GT(visited, 1000000);
}

TEST(WholeDestination, IsReachedNextToExactHalvesAndAtTheEndOfTheRange) {
  Random random(17);
  for (int k = 0; k < 300000; ++k) {
    const std::int32_t size = between(random, 1, k % 2 == 0 ? 100 : 1 << 30);
    const std::int32_t destination = between(random, 1, k % 3 == 0 ? 5000 : 1 << 30);
    const double factor = static_cast<double>(destination) / size;
    const double most = std::min(2147483647.0 - size, (2147483000.0 - destination) / factor);
    if (most < 0.0) continue;
    auto origin = static_cast<std::int32_t>(most * (static_cast<double>(random()) / 4294967296.0));
    // To the origin whose product comes closest to a half from above or below.
    const double half = std::floor(origin * factor) + 0.5;
    origin = std::min(static_cast<std::int32_t>(std::lround(half / factor)), static_cast<std::int32_t>(most));
    ASSERT_TRUE(covers({origin, 0, size, 1}, {destination, 1}))
        << origin << ", " << size << " to " << destination;
  }
}

}  // namespace
}  // namespace kyv::test
