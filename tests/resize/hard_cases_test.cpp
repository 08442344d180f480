// Shapes at which a pass changes its way: incomplete blocks of rows in several strips, windows that move over
// many segments, sums about the block of 128 taps, and sums of very small values.
#include <gtest/gtest.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "api/lifecycle.h"
#include "resize/resize_request.h"
#include "resize/trial.h"
#include "support/variants.h"
#include "thread/thread_context.h"

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
  for (const auto& format : kFormats) {  // 128 taps and 129 in turn
    Trial trial = trial_of(2, format, 643, 6, 10, 6);
    trial.row_pass = resize::RowPassKind::kRunning;
    expect_reference(trial);
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

// Destination pixel 5 has taps at source pixels 3 to 11, of which the first has a weight of about 2^-105. The
// product of both axes' weights rounds to 0. What comes next at (5, 5) lies half-way between two floats: were
// anything left of that product, it would become the other one, and the sample 56.
TEST_P(HardCases, AProductBelowEveryFloatIsNothing) {
  constexpr std::int32_t kSource = 14;
  constexpr std::int32_t kDestination = 10;
  for (const std::int32_t channels : {1, 3, 4}) {
    const std::int32_t src_row = kSource * channels;
    const std::int32_t dst_row = kDestination * channels;
    std::vector<std::uint16_t> source(static_cast<std::size_t>(kSource * src_row));
    std::vector<std::uint16_t> results(static_cast<std::size_t>(kDestination * dst_row));
    std::fill_n(source.begin() + 3 * src_row + 3 * channels, channels, 1);
    for (const auto& [row, sample] : {std::pair{9, 3200}, {10, 20806}, {11, 55317}})
      std::fill_n(source.begin() + row * src_row, src_row, sample);
    const resize::ResizeRequest request{
        16, channels, 16,      source.data(),  kSource,      kSource,      2 * src_row, 0,
        0,  kSource,  kSource, results.data(), kDestination, kDestination, 2 * dst_row};
    ASSERT_EQ(resize::run_resize_request(request, GetParam()), 0);
    thread::release_thread_context();
    for (std::int32_t c = 0; c < channels; ++c)
      EXPECT_EQ(results[static_cast<std::size_t>(5 * dst_row + 5 * channels + c)], 55)
          << channels << " channels";
  }
}

INSTANTIATE_TEST_SUITE_P(Variants, HardCases,
                         testing::ValuesIn(runtime::all_kernel_sets().begin(),
                                           runtime::all_kernel_sets().end()),
                         variant_name);

}  // namespace
}  // namespace kyv::test
