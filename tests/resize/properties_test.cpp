// Facts of resizing that need no reference: they would show what it and the library get wrong alike.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "api/lifecycle.h"
#include "resize/picture.h"

namespace kyv::test {
namespace {

struct Format {
  int bits;
  int channels;
};
constexpr Format kFormats[] = {{8, 1}, {8, 3}, {8, 4}, {16, 1}, {16, 3}, {16, 4}};
constexpr int kModes[] = {1, 2, 4, 8, 16};
constexpr int kFilters[] = {2, 4, 16};

// With the active kernel set: that all agree is another test.
class ResizeFacts : public testing::Test {
 protected:
  void SetUp() override { api::initialize(); }
  void TearDown() override { api::terminate(); }

  const runtime::KernelSet& set = runtime::active_kernel_set();

  Picture run(const Picture& source, int mode, std::int32_t width, std::int32_t height) const {
    return resized(source, mode, width, height, set);
  }
};

TEST_F(ResizeFacts, IdentityReturnsTheSource) {
  for (const auto [bits, channels] : kFormats) {
    const Picture source = noise(67, 41, bits, channels, 1);
    const reference::Rect region{5, 3, 37, 29};
    for (const int mode : kModes) {
      EXPECT_EQ(run(source, mode, 67, 41), source) << "mode " << mode;
      EXPECT_EQ(resized(source, region, mode, 37, 29, set), crop(source, region)) << "mode " << mode;
    }
  }
}

TEST_F(ResizeFacts, ConstantImagesStayConstant) {
  struct Sizes {
    std::int32_t src_width, src_height, dst_width, dst_height;
  };
  constexpr Sizes sizes[] = {{31, 17, 64, 50}, {31, 17, 30, 5},    {9000, 2, 1, 1}, {2, 9000, 1, 1},
                             {4999, 3, 5, 2},  {70000, 1, 100, 1}, {1, 1, 19, 23},  {6, 6, 97, 1}};
  for (const auto& s : sizes) {
    for (const auto [bits, channels] : kFormats) {
      for (const std::uint32_t value : {65535u, 65534u, 40503u, 1u, 0u}) {
        const auto constant = [&](auto...) { return value; };
        const Picture source = make_picture(s.src_width, s.src_height, bits, channels, constant);
        for (const int mode : kModes) {
          if (mode == 8 && (s.dst_width > s.src_width || s.dst_height > s.src_height)) continue;
          ASSERT_EQ(run(source, mode, s.dst_width, s.dst_height),
                    make_picture(s.dst_width, s.dst_height, bits, channels, constant))
              << "mode " << mode << ", value " << value << ", " << s.src_width << 'x' << s.src_height;
        }
      }
    }
  }
}

TEST_F(ResizeFacts, OddCubicEnlargementKeepsThePixelsAtCoincidingCentres) {
  for (const auto [bits, channels] : kFormats) {
    const Picture source = noise(23, 11, bits, channels, 2);
    for (const std::int32_t factor : {3, 5, 7}) {
      const Picture large = run(source, 4, 23 * factor, 11 * factor);
      const Picture centres =
          make_picture(23, 11, bits, channels, [&](std::int32_t x, std::int32_t y, int c) {
            return large.at(x * factor + factor / 2, y * factor + factor / 2, c);
          });
      EXPECT_EQ(centres, source) << "factor " << factor;
    }
  }
}

TEST_F(ResizeFacts, MirroredSourcesGiveMirroredResults) {
  const auto mirrored = [](const Picture& p) {
    return make_picture(p.width, p.height, p.bits, p.channels, [&](std::int32_t x, std::int32_t y, int c) {
      return p.at(p.width - 1 - x, p.height - 1 - y, c);
    });
  };
  constexpr std::int32_t sizes[][2] = {{90, 61}, {20, 75}, {40, 13}, {7, 5}};
  for (const auto [bits, channels] : kFormats) {
    const Picture source = noise(40, 26, bits, channels, 3);
    for (const int mode : kFilters) {
      for (const auto& [width, height] : sizes) {
        EXPECT_LE(largest_difference(run(mirrored(source), mode, width, height),
                                     mirrored(run(source, mode, width, height))),
                  1)
            << "mode " << mode << ' ' << width << 'x' << height;
      }
    }
  }
}

// Every sample of the source names its own place. Odd sizes to even ones: no centre falls between two pixels.
TEST_F(ResizeFacts, NearestNeighbourCopiesWholePixelsInOrder) {
  const Picture source = make_picture(
      61, 51, 16, 3, [](std::int32_t x, std::int32_t y, int c) { return x * 1000 + y * 10 + c; });
  constexpr std::int32_t sizes[][2] = {{96, 32}, {14, 170}, {60, 8}, {2, 2}};
  for (const auto& size : sizes) {
    const std::int32_t width = size[0];
    const std::int32_t height = size[1];
    const Picture result = run(source, 1, width, height);
    EXPECT_EQ(result, make_picture(width, height, 16, 3, [&](std::int32_t x, std::int32_t y, int c) {
                return source.at((2 * x + 1) * 61 / (2 * width), (2 * y + 1) * 51 / (2 * height), c);
              }));
  }
}

TEST_F(ResizeFacts, SuperSamplingByIntegersIsTheMean) {
  for (const auto [bits, channels] : kFormats) {
    for (const std::int32_t n : {2, 3, 4, 5, 6, 7, 8, 11, 16}) {
      const std::int32_t width = 9;
      const std::int32_t height = 5;
      const Picture source = noise(width * n, height * n, bits, channels, 4);
      const Picture mean =
          make_picture(width, height, bits, channels, [&](std::int32_t x, std::int32_t y, int c) {
            std::int64_t sum = 0;
            for (std::int32_t k = 0; k < n * n; ++k) sum += source.at(x * n + k % n, y * n + k / n, c);
            const std::int64_t whole = sum / (n * n);
            const std::int64_t twice_rest = sum % (n * n) * 2;
            return whole + (twice_rest > n * n || (twice_rest == n * n && whole % 2 == 1));
          });
      const bool exact = (n & (n - 1)) == 0;
      EXPECT_LE(largest_difference(run(source, 8, width, height), mean), exact ? 0 : 1) << "by " << n;
    }
  }
}

// Fowler, Noll and Vo's hash (FNV-1a) over the samples.
std::uint64_t digest(const Picture& p, std::uint64_t hash) {
  for (const std::uint16_t sample : p.samples) hash = (hash ^ sample) * 1099511628211u;
  return hash;
}

// The reference is compiled into each product anew; these figures are the same for all of them.
TEST_F(ResizeFacts, EveryBuildGivesTheSameBits) {
  struct Known {
    int mode;
    std::uint64_t digest;
  };
  constexpr Known known[] = {{1, 16890642578725494697u},
                             {2, 1222719145493921420u},
                             {4, 2822762156821899236u},
                             {8, 11919318654343170312u},
                             {16, 16622029185599021454u}};
  for (const auto& [mode, expected] : known) {
    std::uint64_t hash = 14695981039346656037u;
    for (const auto [bits, channels] : kFormats) {
      const Picture source = noise(157, 83, bits, channels, 7);
      const reference::Rect region{11, 7, 131, 71};
      hash = digest(resized(source, region, mode, mode == 8 ? 100 : 199, 29, set), hash);
      hash = digest(run(source, mode, 13, mode == 8 ? 82 : 119), hash);
    }
    EXPECT_EQ(hash, expected) << "mode " << mode;
  }
}

}  // namespace
}  // namespace kyv::test
