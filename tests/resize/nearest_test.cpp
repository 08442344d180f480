// Nearest neighbour and copies: what their kernels could get wrong, against the reference.
#include <gtest/gtest.h>

#include <algorithm>

#include "api/lifecycle.h"
#include "resize/trial.h"
#include "support/variants.h"

namespace kyv::test {
namespace {

struct Format {
  int bits;
  int channels;
};
constexpr Format kFormats[] = {{8, 1}, {8, 3}, {8, 4}, {16, 1}, {16, 3}, {16, 4}};

class PixelCopies : public PerVariant {
 protected:
  void SetUp() override {
    PerVariant::SetUp();
    api::initialize();
  }
  void TearDown() override { api::terminate(); }

  Trial trial(Format format, std::int32_t max_width, std::int32_t max_height) {
    Trial t = random_trial(random_, 1, max_width, max_height);
    t.bits = format.bits;
    t.channels = format.channels;
    return t;
  }

  Random random_{19970214};
};

// Rows around every multiple of a vector, and ratios around those at which a vector's source bytes outgrow
// one to four vectors; the region begins and ends at the source's borders or near them.
TEST_P(PixelCopies, RowsAroundVectorsAndWindows) {
  constexpr std::int32_t widths[] = {1, 5, 8, 15, 16, 17, 21, 22, 31, 32, 33, 43, 63, 64, 65, 127, 129, 200};
  constexpr std::int32_t ratios[][2] = {{1, 9}, {1, 2}, {3, 4}, {1, 1},  {5, 4}, {3, 2}, {2, 1},
                                        {5, 2}, {3, 1}, {4, 1}, {17, 4}, {5, 1}, {8, 1}, {40, 1}};
  for (const Format format : kFormats) {
    for (const std::int32_t width : widths) {
      for (const auto& [from, to] : ratios) {
        Trial t = trial(format, 8, 8);
        const std::int32_t left = between(random_, 0, 2);
        t.dst_width = width;
        t.region.width = std::max(width * from / to + between(random_, -1, 1), 1);
        t.region.x = left;
        t.src_width = left + t.region.width + between(random_, 0, 2);
        ASSERT_TRUE(matches_reference(t, GetParam()));
      }
    }
  }
}

// Rows of several staging buffers, written past the caches at every alignment.
TEST_P(PixelCopies, LongRows) {
  constexpr std::int32_t sizes[][2] = {{37, 2999}, {3700, 2999}, {29000, 1499}, {70, 80}, {1501, 1501}};
  for (const Format format : kFormats) {
    for (const auto& [from, to] : sizes) {
      Trial t = trial(format, 8, 8);
      t.src_width = from;
      t.dst_width = to;
      t.src_height = t.dst_height = 19;
      t.route = Route::kPrimitive;
      t.tuning = tuning_of_large_pictures();
      ASSERT_TRUE(matches_reference(whole_image(t), GetParam()));
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Variants, PixelCopies,
                         testing::ValuesIn(runtime::all_kernel_sets().begin(),
                                           runtime::all_kernel_sets().end()),
                         variant_name);

}  // namespace
}  // namespace kyv::test
