// What the conversions promise whatever the transform: layout, scale, planes, identities, failures.
#include "psfotf/conversion.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <tuple>
#include <utility>

#include "kernels/trial.h"
#include "psfotf/reference.h"
#include "support/faulty_system.h"

namespace kyv::psfotf::test {
namespace {

using Doubles = kernels::Canaried<double>;
using testing_support::Call;
using testing_support::FaultySystem;

class Conversion : public testing::TestWithParam<Variant> {
 protected:
  static constexpr std::pair<std::int32_t, std::int32_t> kSizes[] = {
      {1, 1}, {8, 8}, {12, 5}, {16, 16}, {16, 64}, {31, 31}, {64, 48}, {3, 256}, {107, 19}, {100, 60}};
};

TEST_P(Conversion, IsTheDoubleSumOfItsDefinition) {
  // Squares are the textbook transform of the picture; other planes that of `width` runs of `height` values.
  for (const auto& [width, height] : {std::pair{4, 4}, {4, 2}, {2, 4}, {9, 6}, {5, 16}}) {
    const Stack psf = rounded(random_stack(width, height, 1), GetParam().precision);
    Spectrum expected(psf.plane_size());
    for (std::int32_t u = 0; u < width; ++u) {
      for (std::int32_t v = 0; v < height; ++v) {
        for (std::int32_t j = 0; j < width; ++j) {
          for (std::int32_t k = 0; k < height; ++k) {
            const long double turns = static_cast<long double>(j * u % width) / width +
                                      static_cast<long double>(k * v % height) / height;
            const auto at = static_cast<std::size_t>(j * height + k);
            expected[static_cast<std::size_t>(u * height + v)] +=
                Extended(psf.re[at], psf.im[at]) * std::polar(1.0L, -2 * 3.14159265358979323846L * turns);
          }
        }
      }
    }
    EXPECT_LE(relative_error(GetParam().forward(psf), 0, expected), GetParam().tolerance())
        << width << " x " << height;
  }
}

TEST_P(Conversion, DeltaBecomesAConstantAndBack) {
  // Sums of zeros and one value are exact wherever no convolution is used.
  for (const auto& [width, height] : {std::pair{1, 1}, {8, 8}, {15, 7}, {32, 32}, {64, 96}, {34, 256}}) {
    Stack delta(width, height, 1);
    delta.re[0] = 3;
    delta.im[0] = -0.5;
    const Stack otf = GetParam().forward(delta);
    EXPECT_TRUE(std::all_of(otf.re.begin(), otf.re.end(), [](double v) { return v == 3; }));
    EXPECT_TRUE(std::all_of(otf.im.begin(), otf.im.end(), [](double v) { return v == -0.5; }));

    // The scale is a single-precision reciprocal in both precisions.
    const double scale = static_cast<double>(1.0f / static_cast<float>(width * height));
    const Stack psf = GetParam().backward(delta);
    const double re = GetParam().precision == Precision::kSingle ? static_cast<float>(3 * scale) : 3 * scale;
    const double im = -0.5 * scale;
    EXPECT_TRUE(std::all_of(psf.re.begin(), psf.re.end(), [&](double v) { return v == re; }))
        << width << " x " << height;
    EXPECT_TRUE(std::all_of(psf.im.begin(), psf.im.end(), [&](double v) { return v == im; }))
        << width << " x " << height;

    Stack constant(width, height, 1);
    std::fill(constant.re.begin(), constant.re.end(), 0.75);
    Spectrum peak(constant.plane_size());
    peak[0] = 0.75L * width * height;
    EXPECT_LE(relative_error(GetParam().forward(constant), 0, peak), GetParam().tolerance());
  }
}

TEST_P(Conversion, SameBitsForAnyAlignmentAndInPlaceAndNothingBeyondThePlanes) {
  // And planes of whole cache lines that leave past the caches: their blocks of columns shift with the
  // alignment. Those of the scalar set are single columns, for which one such plane is enough. And few rows
  // and columns that are convolutions.
  std::vector<std::pair<std::int32_t, std::int32_t>> sizes(std::begin(kSizes), std::end(kSizes));
  sizes.insert(sizes.end(), {{96, 50}, {200, 1000}, {1, 263}, {3, 263}, {263, 2}});
  if (GetParam().kernels->required_features != 0) sizes.insert(sizes.end(), {{512, 1024}, {401, 513}});
  for (const auto& [width, height] : sizes) {
    const Stack complex = random_stack(width, height, 2);
    const Stack real = real_part(complex);
    const Stack hermitian = GetParam().forward(real);
    for (const Stack* const stack : {&complex, &real, &hermitian}) {
      const Direction direction = stack == &hermitian ? Direction::kBackward : Direction::kForward;
      const Stack expected = converted(*stack, direction, GetParam().precision, *GetParam().kernels);
      const std::size_t n = stack->re.size();
      for (std::size_t offset = 0; offset<16; offset += n> 100000 ? 5 : 1) {
        // Doubles and then single bytes; each array at an address of its own.
        const std::size_t step = offset < 8 ? sizeof(double) : 1;
        Doubles src_re(n, 0, offset * step);
        Doubles src_im(n, 0, (offset * 5 + 3) % 8 * step);
        Doubles dst_re(n, 0, offset * 3 % 8 * step);
        Doubles dst_im(n, 0, (offset * 3 + offset / 2) % 8 * step);
        std::memcpy(src_re.data(), stack->re.data(), n * sizeof(double));
        std::memcpy(src_im.data(), stack->im.data(), n * sizeof(double));
        // Elsewhere, in place, and with the parts exchanged.
        Doubles& re = offset % 3 == 0 ? dst_re : offset % 3 == 1 ? src_re : src_im;
        Doubles& im = offset % 3 == 0 ? dst_im : offset % 3 == 1 ? src_im : src_re;
        ASSERT_EQ(convert_planes({src_re.data(), src_im.data(), re.data(), im.data(), width, height, 2},
                                 direction, GetParam().precision, *GetParam().kernels),
                  0);
        EXPECT_EQ(verdict_on(re, expected.re), "") << width << " x " << height << " offset " << offset;
        EXPECT_EQ(verdict_on(im, expected.im), "") << width << " x " << height << " offset " << offset;
      }
    }
  }
}

TEST_P(Conversion, OverflowAndNanStayInTheirPlane) {
  for (const auto& [width, height] : kSizes) {
    for (const double bad : {1e300, kInfinity, kNan}) {
      Stack stack = random_stack(width, height, 3);
      const Stack clean = GetParam().forward(stack);
      const std::size_t n = stack.plane_size();
      stack.re[n] = bad;
      const Stack otf = GetParam().forward(stack);
      const bool finite = bad == 1e300 && GetParam().precision == Precision::kDouble;
      for (std::size_t i = 0; i < n; ++i) {
        EXPECT_EQ(otf.re[i], clean.re[i]);
        EXPECT_EQ(otf.im[2 * n + i], clean.im[2 * n + i]);
        EXPECT_EQ(std::isfinite(otf.re[n + i]), finite);
      }
    }
  }
  Stack one(1, 1, 1);
  one.re[0] = -1e300;
  one.im[0] = 3.4028235677973366e38;  // the least double that rounds to infinity in single precision
  const Stack result = GetParam().backward(one);
  const bool single = GetParam().precision == Precision::kSingle;
  EXPECT_EQ(result.re[0], single ? -kInfinity : -1e300);
  EXPECT_EQ(result.im[0], single ? kInfinity : 3.4028235677973366e38);
}

TEST_P(Conversion, SizesAreJudgedBeforeAnythingIsTouched) {
  constexpr std::int32_t huge = std::numeric_limits<std::int32_t>::max();
  constexpr std::int32_t least = std::numeric_limits<std::int32_t>::min();
  FaultySystem system;
  system.fail(Call::kAllocate);
  const auto status_of = [](std::int32_t width, std::int32_t height, std::int32_t planes) {
    return convert_planes({nullptr, nullptr, nullptr, nullptr, width, height, planes}, Direction::kBackward,
                          GetParam().precision, *GetParam().kernels);
  };
  using Empty = std::tuple<std::int32_t, std::int32_t, std::int32_t>;
  for (const auto& [width, height, planes] : std::initializer_list<Empty>{{4, 4, 0},
                                                                          {4, 4, -1},
                                                                          {0, 4, 2},
                                                                          {4, 0, 2},
                                                                          {-3, 4, 1},
                                                                          {4, least, 1},
                                                                          {huge, huge, least},
                                                                          {0, huge, huge},
                                                                          {huge, -1, huge}}) {
    EXPECT_EQ(status_of(width, height, planes), 0) << width << " x " << height << " x " << planes;
  }
  for (const auto& [width, height] :
       {std::pair{46341, 46341}, {65536, 65536}, {65536, 32768}, {huge, huge}, {huge, 2}, {2, huge}}) {
    EXPECT_NE(status_of(width, height, 1), 0) << width << " x " << height;
  }
  EXPECT_EQ(system.calls(Call::kAllocate), 0);
}

INSTANTIATE_TEST_SUITE_P(Variants, Conversion, testing::ValuesIn(variants()),
                         [](const auto& variant) { return variant.param.name(); });

// (Z[k] + conj(Z[-k])) / 2.
Spectrum hermitian_part(const Stack& otf) {
  const auto rows = static_cast<std::size_t>(otf.width);
  const auto length = static_cast<std::size_t>(otf.height);
  Spectrum part(otf.plane_size());
  for (std::size_t i = 0; i < part.size(); ++i) {
    const std::size_t image = (rows - i / length) % rows * length + (length - i % length) % length;
    part[i] = {(static_cast<long double>(otf.re[i]) + otf.re[image]) / 2,
               (static_cast<long double>(otf.im[i]) - otf.im[image]) / 2};
  }
  return part;
}

// Large planes, where columns are gathered over many pages: chosen results by their definition, and back.
class LargeConversion : public testing::TestWithParam<std::pair<std::int32_t, std::int32_t>> {};

TEST_P(LargeConversion, SparseResultsAndRoundTrip) {
  const auto [width, height] = GetParam();
  const Stack psf = rounded(random_stack(width, height, 1), Precision::kSingle);
  const Spectrum column_roots = extended_roots(width);
  const Spectrum row_roots = extended_roots(height);
  const auto rows = static_cast<std::size_t>(width);
  const auto length = static_cast<std::size_t>(height);
  const std::pair<std::size_t, std::size_t> chosen[] = {
      {0, 1}, {rows / 2, 3}, {rows - 1, length / 3}, {rows / 7, length - 1}};
  Spectrum expected;
  for (const auto& [u, v] : chosen) {
    Extended total = 0;
    for (std::size_t j = 0; j < rows; ++j) {
      long double re = 0;
      long double im = 0;
      std::size_t index = 0;
      for (std::size_t k = 0; k < length; ++k) {
        const Extended& w = row_roots[index];
        const auto x = static_cast<long double>(psf.re[j * length + k]);
        const auto y = static_cast<long double>(psf.im[j * length + k]);
        re += x * w.real() - y * w.imag();
        im += x * w.imag() + y * w.real();
        index += v;
        if (index >= length) index -= length;
      }
      total += Extended(re, im) * column_roots[j * u % rows];
    }
    expected.push_back(total);
  }
  // The largest plane is for the best kernels alone: nothing in the others depends on that size.
  const std::size_t all_that_large = std::size_t{1} << 21;
  for (const Variant& variant : variants()) {
    if (psf.plane_size() > all_that_large && variant.kernels != runnable_kernel_sets().front()) continue;
    SCOPED_TRACE(describe(psf, variant.precision, *variant.kernels));
    const Stack otf = variant.forward(psf);
    Stack picked(static_cast<std::int32_t>(expected.size()), 1, 1);
    for (std::size_t i = 0; i < expected.size(); ++i) {
      picked.re[i] = otf.re[chosen[i].first * length + chosen[i].second];
      picked.im[i] = otf.im[chosen[i].first * length + chosen[i].second];
    }
    EXPECT_LE(relative_error(picked, 0, expected), 2 * variant.tolerance());
    EXPECT_LE(relative_error(without_scale_error(variant.backward(otf)), 0, values_of(psf, 0)),
              std::sqrt(2.0) * variant.tolerance());
    // The real part has a transform of its own: the Hermitian part of the other.
    const Stack real = real_part(psf);
    const Stack real_otf = variant.forward(real);
    EXPECT_LE(relative_error(real_otf, 0, hermitian_part(otf)), 2 * variant.tolerance());
    EXPECT_LE(relative_error(without_scale_error(variant.backward(real_otf)), 0, values_of(real, 0)),
              std::sqrt(2.0) * variant.tolerance());
  }
}

INSTANTIATE_TEST_SUITE_P(Sizes, LargeConversion,
                         testing::Values(std::pair{512, 512}, std::pair{1024, 1024}, std::pair{2048, 2048},
                                         std::pair{512, 1000}, std::pair{1500, 512}, std::pair{1024, 1030},
                                         std::pair{1, 10007}),
                         [](const auto& size) {
                           return std::to_string(size.param.first) + "x" + std::to_string(size.param.second);
                         });

}  // namespace
}  // namespace kyv::psfotf::test
