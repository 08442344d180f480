// Real PSFs and Hermitian OTFs: half the work, the same results, and their symmetry to the last bit.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

#include "psfotf/reference.h"

namespace kyv::psfotf::test {
namespace {

Stack real_part(Stack stack) {
  std::fill(stack.im.begin(), stack.im.end(), 0.0);
  return stack;
}

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
  for (const auto& [width, height] :
       {std::pair{263, 340}, {503, 48}, {1021, 66}, {512, 130}, {1024, 64}, {370, 131}, {97, 97 * 4}}) {
    check(width, height);
    check(height, width);
  }
  check(512, 512);
  check(511, 517);
}

TEST_P(RealPlanes, AgreeWithTheDefinition) {
  for (const auto& [width, height] : {std::pair{34, 45}, {45, 34}, {64, 64}, {12, 96}, {131, 40}}) {
    const Stack psf = real_part(rounded(random_stack(width, height, 1), GetParam().precision));
    EXPECT_LE(relative_error(GetParam().forward(psf), 0, reference_plane(psf, 0)),
              error_bound(width, height, GetParam().precision));
  }
}

TEST_P(RealPlanes, EveryPlaneOfAStackGoesItsOwnWay) {
  constexpr std::int32_t kPlanes = 6;
  for (const auto& [width, height] : {std::pair{8, 8}, {32, 32}, {40, 72}, {31, 33}}) {
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
    for (std::size_t plane = 0; plane < kPlanes; ++plane) {
      Stack alone(width, height, 1);
      std::copy_n(stack.re.begin() + static_cast<std::ptrdiff_t>(plane * n), n, alone.re.begin());
      std::copy_n(imaginary(plane), n, alone.im.begin());
      const Stack expected = GetParam().forward(alone);
      EXPECT_EQ(std::memcmp(otf.re.data() + plane * n, expected.re.data(), n * sizeof(double)), 0) << plane;
      EXPECT_EQ(std::memcmp(otf.im.data() + plane * n, expected.im.data(), n * sizeof(double)), 0) << plane;
      if (plane == 1 || plane == 3) {
        EXPECT_LE(relative_error(otf, plane, reference_plane(rounded(stack, GetParam().precision), plane)),
                  error_bound(width, height, GetParam().precision));
      }
      if (plane == 0 || plane == 2) {
        EXPECT_TRUE(is_hermitian(expected));
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

// The results at other addresses, and in place.
TEST_P(RealPlanes, SameBitsAtAnyAddressAndInPlace) {
  for (const auto& [width, height] :
       {std::pair{8, 8}, {64, 64}, {33, 65}, {96, 50}, {200, 1000}, {512, 512}, {401, 513}, {1024, 33}}) {
    const Stack psf = real_part(random_stack(width, height, 1));
    for (const Direction direction : {Direction::kForward, Direction::kBackward}) {
      const Stack source = direction == Direction::kForward ? psf : GetParam().forward(psf);
      const Stack expected = converted(source, direction, GetParam().precision, *GetParam().kernels);
      const std::size_t n = source.re.size();
      const std::size_t bytes = n * sizeof(double);
      for (const std::size_t offset : {1U, 8U, 20U, 24U, 56U}) {
        std::vector<unsigned char> re(bytes + 192, 0xA5);
        std::vector<unsigned char> im(bytes + 192, 0xA5);
        const std::size_t second = (offset + (offset % 8 == 0 ? 16 : 3)) % 64;
        auto* re_at = reinterpret_cast<double*>(re.data() + 64 + offset);
        auto* im_at = reinterpret_cast<double*>(im.data() + 64 + second);
        std::memcpy(re.data() + 64 + offset, source.re.data(), bytes);
        std::memcpy(im.data() + 64 + second, source.im.data(), bytes);
        ASSERT_EQ(convert_planes({re_at, im_at, re_at, im_at, width, height, 1}, direction,
                                 GetParam().precision, *GetParam().kernels),
                  0);
        EXPECT_EQ(std::memcmp(re.data() + 64 + offset, expected.re.data(), bytes), 0)
            << width << " " << offset;
        EXPECT_EQ(std::memcmp(im.data() + 64 + second, expected.im.data(), bytes), 0)
            << width << " " << offset;
        for (const auto& [array, at] : {std::pair{&re, offset}, {&im, second}}) {
          EXPECT_EQ(std::count(array->begin(), array->begin() + static_cast<std::ptrdiff_t>(64 + at), 0xA5),
                    static_cast<std::ptrdiff_t>(64 + at));
          EXPECT_EQ(
              std::count(array->begin() + static_cast<std::ptrdiff_t>(64 + at + bytes), array->end(), 0xA5),
              static_cast<std::ptrdiff_t>(128 - at));
        }
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(KernelSets, RealPlanes, testing::ValuesIn(variants()),
                         [](const auto& variant) { return variant.param.name(); });

}  // namespace
}  // namespace kyv::psfotf::test
