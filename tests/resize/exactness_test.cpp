// Every variant gives the reference's pixels bit for bit, and touches nothing else.
#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "api/lifecycle.h"
#include "resize/row_passes.h"
#include "resize/trial.h"
#include "support/variants.h"

namespace kyv::test {
namespace {

struct ModeName {
  int mode;
  const char* name;
};

void PrintTo(const ModeName& mode, std::ostream* out) { *out << mode.name; }
constexpr ModeName kModes[] = {{1, "nearest"}, {2, "linear"}, {4, "cubic"}, {8, "super"}, {16, "lanczos"}};

// Super-sampling reduces only: the destination must not be larger than the region.
Trial within_mode(Trial t) {
  if (t.mode != 8) return t;
  t.dst_width = std::min(t.dst_width, t.region.width);
  t.dst_height = std::min(t.dst_height, t.region.height);
  return t;
}

struct Variant {
  runtime::KernelSet set;
  std::optional<resize::RowPassKind> row_pass;
};

void PrintTo(const Variant& variant, std::ostream* out) { *out << variant.set.name; }

using Param = std::tuple<Variant, ModeName>;

class Exactness : public testing::TestWithParam<Param> {
 protected:
  void SetUp() override {
    if (!runtime::machine_runs(set())) GTEST_SKIP() << "this machine does not run " << set().name;
    api::initialize();
  }
  void TearDown() override { api::terminate(); }

  const runtime::KernelSet& set() const { return std::get<0>(GetParam()).set; }
  std::optional<resize::RowPassKind> row_pass() const { return std::get<0>(GetParam()).row_pass; }
  int mode() const { return std::get<1>(GetParam()).mode; }
  bool agrees(Trial trial) const {
    trial.row_pass = row_pass();
    const testing::AssertionResult result = matches_reference(within_mode(trial), set());
    EXPECT_TRUE(result);
    return result;
  }

  Random random_{20110413};
};

TEST_P(Exactness, RandomImages) {
  for (int k = 0; k < (row_pass() ? 80 : 150); ++k)
    ASSERT_TRUE(agrees(random_trial(random_, mode(), 80, 80)));
}

// Large enough for several blocks of rows and columns in every kernel.
TEST_P(Exactness, LargerImages) {
  for (int k = 0; k < 8; ++k) ASSERT_TRUE(agrees(random_trial(random_, mode(), 700, 150)));
  for (int k = 0; k < 4; ++k) ASSERT_TRUE(agrees(random_trial(random_, mode(), 90, 700)));
}

TEST_P(Exactness, EveryTail) {
  for (std::int32_t width = 1; width <= 140; ++width) {
    Trial t = random_trial(random_, mode(), 150, 12);
    t.dst_width = width;
    t.src_width = mode() == 8 ? width + t.src_width : t.src_width;
    ASSERT_TRUE(agrees(whole_image(t)));
  }
}

TEST_P(Exactness, ExtremeRatios) {
  struct Sizes {
    std::int32_t src_width, src_height, dst_width, dst_height;
  };
  constexpr Sizes sizes[] = {{3000, 5, 7, 3},    {5, 3000, 3, 7},    {1, 1, 33, 33},   {1, 7, 33, 2},
                             {70000, 1, 100, 1}, {1, 70000, 1, 100}, {2000, 3, 1, 1},  {3, 2000, 1, 1},
                             {6, 6, 200, 3},     {6, 6, 3, 200},     {257, 9, 256, 8}, {256, 8, 257, 9}};
  for (const Sizes& s : sizes) {
    Trial t = random_trial(random_, mode(), 80, 80);
    t.src_width = s.src_width;
    t.src_height = s.src_height;
    t.dst_width = s.dst_width;
    t.dst_height = s.dst_height;
    ASSERT_TRUE(agrees(whole_image(t)));
  }
}

// Integer and simple rational ratios, where weights repeat with a short period.
TEST_P(Exactness, RepeatedPhases) {
  constexpr std::int32_t ratios[][2] = {{1, 1}, {1, 2}, {1, 3}, {1, 8}, {2, 1}, {3, 1},  {2, 3},
                                        {3, 2}, {4, 5}, {5, 4}, {3, 8}, {8, 3}, {7, 16}, {16, 7}};
  for (const auto& [from, to] : ratios) {
    Trial t = random_trial(random_, mode(), 80, 80);
    const std::int32_t columns = between(random_, 1, 12);
    const std::int32_t rows = between(random_, 1, 12);
    t.src_width = from * columns + between(random_, 0, 9);
    t.src_height = to * rows + between(random_, 0, 9);
    t.region = {between(random_, 0, t.src_width - from * columns),
                between(random_, 0, t.src_height - to * rows), from * columns, to * rows};
    t.dst_width = to * columns;
    t.dst_height = from * rows;
    ASSERT_TRUE(agrees(t));
  }
}

// Axes whose tables are one and the same, and axes that differ in nothing but their region.
TEST_P(Exactness, SquareImages) {
  for (int k = 0; k < 30; ++k) {
    Trial t = random_trial(random_, mode(), 60, 60);
    t.src_height = t.src_width;
    t.dst_height = t.dst_width;
    t.region.height = t.region.width = between(random_, 1, t.src_width);
    t.region.x = t.region.y = between(random_, 0, t.src_width - t.region.width);
    if (k % 3 == 0) t.region.y = between(random_, 0, t.src_height - t.region.height);
    ASSERT_TRUE(agrees(t));
  }
}

// One scale after the other, so that windows of samples fill up to the last byte and then no longer suffice.
TEST_P(Exactness, EveryScale) {
  for (std::int32_t width = 12; width <= 700; width += row_pass() ? 5 : width < 350 ? 1 : 7) {
    Trial t = random_trial(random_, mode(), 80, 80);
    t.src_width = width;
    t.src_height = 6;
    t.dst_width = 37;
    t.dst_height = 5;
    ASSERT_TRUE(agrees(whole_image(t)));
  }
}

// Rows of several strips; more different weights than fit where they are kept, and repeated ones. And nearest
// neighbour past the caches, by way of several buffers a row.
TEST_P(Exactness, WideImages) {
  constexpr std::int32_t widths[][2] = {
      {2411, 2400}, {1200, 2400}, {12007, 3001}, {9600, 2400}, {3200, 1280}};
  for (const auto& [from, to] : widths) {
    Trial t = random_trial(random_, mode(), 80, 80);
    t.channels = 3 + between(random_, 0, 1);
    t.src_width = from;
    t.src_height = 40;
    t.dst_width = to;
    t.dst_height = 7;
    t = whole_image(t);
    ASSERT_TRUE(agrees(t));
    if (mode() != 1) continue;
    t.route = Route::kPrimitive;
    t.tuning = tuning_of_large_pictures();
    ASSERT_TRUE(agrees(t));
  }
}

TEST_P(Exactness, DirectCalls) {
  for (int k = 0; k < (row_pass() ? 50 : 150); ++k) {
    const int chosen = mode() == 4 && k % 2 == 0 ? 5 : mode();  // mode 5 is reached by direct calls only
    DirectCall call = random_direct_call(random_, chosen);
    call.trial.row_pass = row_pass();
    ASSERT_TRUE(matches_reference(call, set()));
  }
}

// Every set as it chooses, and with each row pass that it has where it fits.
std::vector<Param> cases() {
  std::vector<Param> all;
  for (const runtime::KernelSet& set : runtime::all_kernel_sets()) {
    for (const ModeName mode : kModes) {
      all.push_back({{set, {}}, mode});
      if (mode.mode == 1) continue;  // nearest neighbour has no row pass
      for (const resize::RowPassKind kind : row_passes_of(set)) all.push_back({{set, kind}, mode});
    }
  }
  return all;
}

std::string name_of_case(const testing::TestParamInfo<Param>& info) {
  const auto& [variant, mode] = info.param;
  const std::string name = std::string(variant.set.name) + (variant.row_pass ? "_" : "") +
                           (variant.row_pass ? name_of(*variant.row_pass) : "");
  return name + "_" + mode.name;
}

INSTANTIATE_TEST_SUITE_P(Variants, Exactness, testing::ValuesIn(cases()), name_of_case);

}  // namespace
}  // namespace kyv::test
