// Real PSFs and Hermitian OTFs: half the work, the same results, and their symmetry to the last bit.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

#include "psfotf/reference.h"

namespace kyv::psfotf::test {
namespace {

std::size_t image_of(const Stack& s, std::int32_t j, std::int32_t k) {
  return static_cast<std::size_t>((s.width - j) % s.width * s.height + (s.height - k) % s.height);
}

testing::AssertionResult is_hermitian(const Stack& s) {
  for (std::int32_t j = 0; j < s.width; ++j) {
    for (std::int32_t k = 0; k < s.height; ++k) {
      const auto at = static_cast<std::size_t>(j * s.height + k);
      const std::size_t image = image_of(s, j, k);
      if (s.re[at] != s.re[image] || s.im[at] != -s.im[image]) {
        return testing::AssertionFailure() << "value (" << j << ", " << k << ")";
      }
    }
  }
  return testing::AssertionSuccess();
}

bool has_no_imaginary_part(const Stack& s) {
  return std::all_of(s.im.begin(), s.im.end(), [](double v) { return std::bit_cast<std::uint64_t>(v) == 0; });
}

bool same_bits(const std::vector<double>& a, const std::vector<double>& b) {
  return std::memcmp(a.data(), b.data(), a.size() * sizeof(double)) == 0;
}

class RealPlanes : public testing::TestWithParam<Variant> {
 protected:
  // The transform of a + i b is that of a and i times that of b: the complex way, which other tests compare
  // with the definition, against twice the real one, and back again.
  void check(std::int32_t width, std::int32_t height) {
    SCOPED_TRACE(std::to_string(width) + " x " + std::to_string(height));
    const double bound = error_bound(width, height, GetParam().precision);
    const Stack both = rounded(random_stack(width, height, 1, static_cast<std::uint32_t>(width + height)),
                               GetParam().precision);
    Stack other = both;
    other.re = both.im;
    const Stack a = GetParam().forward(real_part(both));
    const Stack b = GetParam().forward(real_part(other));
    EXPECT_TRUE(is_hermitian(a));
    EXPECT_TRUE(is_hermitian(b));
    Spectrum sum = values_of(a, 0);
    const Spectrum second = values_of(b, 0);
    for (std::size_t i = 0; i < sum.size(); ++i) sum[i] += Extended(0, 1) * second[i];
    EXPECT_LE(relative_error(GetParam().forward(both), 0, sum), 2 * bound);

    const Stack back = GetParam().backward(a);
    EXPECT_TRUE(has_no_imaginary_part(back));
    EXPECT_LE(relative_error(without_scale_error(back), 0, values_of(real_part(both), 0)), 2 * bound);
  }
};

TEST_P(RealPlanes, EveryLengthOnBothAxes) {
  for (std::int32_t n = 1; n <= 260; ++n) {
    check(n, 33 + n % 8);
    check(2 + n % 5, n);
    if (n % 4 == 0 || n < 70) check(n, n);
  }
}

TEST_P(RealPlanes, LengthsOfEveryKindInBothOrders) {
  // Convolutions, radices without code of their own, more than one group of columns, planes past the caches.
  for (const auto& [width, height] : {std::pair{263, 340},
                                      {503, 48},
                                      {1021, 66},
                                      {512, 130},
                                      {1024, 64},
                                      {370, 131},
                                      {97, 97 * 4},
                                      {9, 1031},
                                      {5, 1929},
                                      {3, 1811}}) {
    check(width, height);
    check(height, width);
  }
  check(512, 512);
  check(511, 517);
}

TEST_P(RealPlanes, EveryPlaneOfAStackGoesItsOwnWay) {
  constexpr std::int32_t kPlanes = 6;
  for (const auto& [width, height] : {std::pair{8, 8}, {32, 32}, {40, 72}, {31, 33}, {3, 256}, {107, 19}}) {
    Stack stack = random_stack(width, height, kPlanes);
    const std::size_t n = stack.plane_size();
    const auto imaginary = [&](std::size_t plane) {
      return stack.im.begin() + static_cast<std::ptrdiff_t>(plane * n);
    };
    std::fill(imaginary(0), imaginary(1), 0.0);
    std::fill(imaginary(2), imaginary(3), -0.0);
    std::fill(imaginary(3), imaginary(4), 0.0);
    stack.im[4 * n - 1] = 0.5;  // real but for the value that is met last
    std::fill(imaginary(4), imaginary(5), 0.0);
    stack.re[4 * n] = kInfinity;
    std::fill(imaginary(5), imaginary(6), 0.0);
    stack.im[5 * n] = kNan;
    const Stack otf = GetParam().forward(stack);
    const Stack psf = GetParam().backward(stack);
    for (std::size_t plane = 0; plane < kPlanes; ++plane) {
      Stack alone(width, height, 1);
      std::copy_n(stack.re.begin() + static_cast<std::ptrdiff_t>(plane * n), n, alone.re.begin());
      std::copy_n(imaginary(plane), n, alone.im.begin());
      const Stack forward = GetParam().forward(alone);
      const Stack backward = GetParam().backward(alone);
      for (const auto& [all, one] : {std::pair{&otf, &forward}, {&psf, &backward}}) {
        EXPECT_EQ(std::memcmp(all->re.data() + plane * n, one->re.data(), n * sizeof(double)), 0) << plane;
        EXPECT_EQ(std::memcmp(all->im.data() + plane * n, one->im.data(), n * sizeof(double)), 0) << plane;
      }
      if (plane == 1 || plane == 3) {
        EXPECT_LE(relative_error(otf, plane, reference_plane(rounded(stack, GetParam().precision), plane)),
                  error_bound(width, height, GetParam().precision));
      }
      if (plane == 0 || plane == 2) {
        EXPECT_TRUE(is_hermitian(forward));
      }
    }
    EXPECT_TRUE(std::isnan(otf.im[5 * n + 1]));
    EXPECT_FALSE(std::isfinite(otf.re[4 * n + 1]));
  }
}

TEST_P(RealPlanes, OnlyExactSymmetryCounts) {
  for (const auto& [width, height] : {std::pair{8, 8}, {32, 32}, {40, 72}, {31, 33}}) {
    const Stack otf = GetParam().forward(real_part(random_stack(width, height, 1)));
    Stack signs = otf;  // zeros of the other sign are no difference
    for (double& v : signs.im) v = v == 0 ? -v : v;
    EXPECT_TRUE(same_bits(GetParam().backward(signs).re, GetParam().backward(otf).re));

    const auto last = otf.re.size() - 1;
    for (const std::size_t at : {std::size_t{1}, last, last / 2}) {
      Stack changed = otf;
      changed.re[at] += 0.5 + std::abs(changed.re[at]);
      EXPECT_FALSE(has_no_imaginary_part(GetParam().backward(changed))) << at;
      changed = otf;
      changed.im[at] += 0.5 + std::abs(changed.im[at]);
      EXPECT_FALSE(has_no_imaginary_part(GetParam().backward(changed))) << at;
      changed = otf;
      changed.re[at] = changed.re[image_of(otf, static_cast<std::int32_t>(at) / height,
                                           static_cast<std::int32_t>(at) % height)] = kInfinity;
      EXPECT_FALSE(has_no_imaginary_part(GetParam().backward(changed))) << at;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(KernelSets, RealPlanes, testing::ValuesIn(variants()),
                         [](const auto& variant) { return variant.param.name(); });

}  // namespace
}  // namespace kyv::psfotf::test
