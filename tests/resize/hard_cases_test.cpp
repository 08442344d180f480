// Shapes at which a pass changes its way: incomplete blocks of rows in several strips, windows that move over
// many segments, sums about the block of 128 taps, and sums of very small values.
#include <gtest/gtest.h>

#include <utility>

#include "api/lifecycle.h"
#include "resize/trial.h"
#include "support/variants.h"

namespace kyv::test {
namespace {

class HardCases : public PerVariant {
 protected:
  void SetUp() override {
    PerVariant::SetUp();
    api::initialize();
  }
  void TearDown() override { api::terminate(); }

  static void expect_reference(const Trial& trial) { EXPECT_TRUE(matches_reference(trial, GetParam())); }
};

constexpr std::pair<int, int> kFormats[] = {{8, 1}, {8, 3}, {8, 4}, {16, 1}, {16, 3}, {16, 4}};

Trial trial_of(int mode, std::pair<int, int> format, std::int32_t src_width, std::int32_t src_height,
               std::int32_t dst_width, std::int32_t dst_height) {
  Trial t;
  t.mode = mode;
  t.bits = format.first;
  t.channels = format.second;
  t.src_width = src_width;
  t.src_height = src_height;
  t.dst_width = dst_width;
  t.dst_height = dst_height;
  t.seed = static_cast<std::uint32_t>(src_width * 31 + dst_width);
  return whole_image(t);
}

// Heights that leave a part of a block of rows, whatever its size, in rows wide enough for several strips.
TEST_P(HardCases, BlocksOfRowsThatEndIncompleteInSeveralStrips) {
  for (const auto& format : kFormats) {
    for (const std::int32_t height : {37, 41, 42, 43}) {
      if ((height + format.second) % 2 == 0)
        expect_reference(trial_of(16, format, 1500, height, 700, height / 2));
      else
        expect_reference(trial_of(2, format, 1100, height, 1900, height + 3));
    }
  }
}

// Long sums down narrow pictures: rows shorter than what a strip's width is a multiple of, in little memory.
TEST_P(HardCases, LongSumsOfRowsShorterThanAStrip) {
  for (const auto& format : kFormats) expect_reference(trial_of(8, format, 110, 502, 110, 1));
}

TEST_P(HardCases, WindowsThatMoveOverManySegments) {
  for (const auto& format : kFormats) {
    for (const int mode : {2, 4, 16}) {
      expect_reference(trial_of(mode, format, 1300, 6, 4700, 5));
      expect_reference(trial_of(mode, format, 900, 6, 1201, 5));
      expect_reference(trial_of(mode, format, 90, 6, 6000, 5));
    }
  }
}

// Of one of these widths the window moves while it holds pixels repeated beyond the end.
TEST_P(HardCases, WindowsThatMoveBeyondTheEnd) {
  for (std::int32_t width = 40; width < 100; ++width) {
    Trial trial = trial_of(16, {8, 4}, width, 6, 13 * width, 1);
    trial.row_pass = resize::RowPassKind::kTransposed;
    expect_reference(trial);
  }
}

TEST_P(HardCases, SumsOfAboutAsManyTapsAsABlockHas) {
  for (const std::int32_t taps : {127, 128, 129, 255, 256, 257}) {
    for (const auto& format : kFormats) {
      Trial trial = trial_of(8, format, taps * 5, 6, 5, 3);
      expect_reference(trial);
      trial = trial_of(8, format, 9, taps * 3, 7, 3);
      expect_reference(trial);
      // A linear filter has twice the factor's number of taps, and one more where a centre meets a pixel.
      expect_reference(trial_of(2, format, taps * 4, 6, 8, 6));
    }
  }
}

// Sparse 16-bit pictures: rows whose sums are small weights times small samples, of which the column pass
// makes what is left.
TEST_P(HardCases, SumsOfSmallWeightsAndSmallSamples) {
  Random random(23);
  for (int k = 0; k < 120; ++k) {
    Trial trial = trial_of(k % 2 == 0 ? 16 : 4, {16, k % 3 == 0 ? 1 : k % 3 + 2}, between(random, 6, 300),
                           between(random, 6, 40), between(random, 1, 260), between(random, 1, 40));
    trial.content = Content::kSparse;
    expect_reference(trial);
  }
}

INSTANTIATE_TEST_SUITE_P(Variants, HardCases,
                         testing::ValuesIn(runtime::all_kernel_sets().begin(),
                                           runtime::all_kernel_sets().end()),
                         variant_name);

}  // namespace
}  // namespace kyv::test
