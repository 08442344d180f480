// The roots of unity that all tables are made of, against those of the longer type.
#include "psfotf/roots.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <numbers>
#include <string>
#include <vector>

namespace kyv::psfotf {
namespace {

constexpr long double kTurn = 2 * std::numbers::pi_v<long double>;

// The larger error of the parts of root `k` of order `n`, in last places of a T between 1/2 and 1.
template <class T>
long double error_of(std::int64_t k, std::int64_t n, T re, T im) {
  // Within an eighth of a turn the argument is exact to its own last place.
  const std::int64_t octant = 8 * k / n;
  const long double angle =
      kTurn * static_cast<long double>(8 * k - octant * n) / static_cast<long double>(8 * n);
  const long double half = std::numbers::sqrt2_v<long double> / 2;
  const long double c = std::cos(angle);
  const long double s = std::sin(angle);
  const long double cosines[] = {c,  (c - s) * half, -s, -(c + s) * half,
                                 -c, (s - c) * half, s,  (c + s) * half};
  const long double sines[] = {s, (c + s) * half, c, (c - s) * half, -s, -(c + s) * half, -c, (s - c) * half};
  const long double last_place = std::numeric_limits<T>::epsilon() / 2;
  return std::max(std::fabs(re - cosines[octant]), std::fabs(im + sines[octant])) / last_place;
}

template <class T>
long double worst_error(std::int32_t n) {
  std::vector<T> re(static_cast<std::size_t>(n));
  std::vector<T> im(re.size());
  fill_roots(n, n, re.data(), im.data());
  long double worst = 0;
  for (std::size_t k = 0; k < re.size(); ++k)
    worst = std::max(worst, error_of(static_cast<std::int64_t>(k), n, re[k], im[k]));
  return worst;
}

TEST(Roots, AreWithinTheStatedError) {
  if (LDBL_MANT_DIG <= DBL_MANT_DIG) GTEST_SKIP() << "long double is double here";
  long double worst = 0;
  std::vector<std::int32_t> orders(1200);
  for (std::size_t k = 0; k < orders.size(); ++k) orders[k] = static_cast<std::int32_t>(k) + 1;
  orders.insert(orders.end(), {4096, 10007, 46341, 65536, 65537, 262144, 1000003});
  for (const std::int32_t n : orders) {
    const long double error = worst_error<double>(n);
    EXPECT_LE(error, 1.5L) << n;
    worst = std::max(worst, error);
    EXPECT_LE(worst_error<float>(n), 0.5000001L) << n;
  }
  RecordProperty("worst_error_in_last_places", std::to_string(worst));
}

}  // namespace
}  // namespace kyv::psfotf
