// Which row pass runs: each fits what it is made for, each is still chosen somewhere, and none computes with
// memory that was never written.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "api/lifecycle.h"
#include "resize/filtered/choose_row_pass.h"
#include "resize/filtered/workspace.h"
#include "resize/row_passes.h"
#include "resize/trial.h"
#include "support/variants.h"

namespace kyv::test {
namespace {

using resize::RowPassKind;

struct Format {
  int bits;
  int channels;
};
constexpr Format kFormats[] = {{8, 1}, {8, 3}, {8, 4}, {16, 1}, {16, 3}, {16, 4}};

resize::Depth depth_of(int bits) { return bits == 8 ? resize::kDepth8 : resize::kDepth16; }

class RowPasses : public PerVariant {
 protected:
  void SetUp() override {
    PerVariant::SetUp();
    api::initialize();
  }
  void TearDown() override { api::terminate(); }
};

// Linear 2 : 1 suits every pass: 4 taps, of pixels near each other. But running sums are for stronger
// reductions.
TEST_P(RowPasses, RunsTheOneThatIsWanted) {
  for (const auto [bits, channels] : kFormats) {
    for (const RowPassKind kind : kRowPassKinds) {
      resize::RowPassChoice chosen;
      Trial t;
      t.mode = 2;
      t.bits = bits;
      t.channels = channels;
      t.src_width = 140;
      t.src_height = 60;
      t.dst_width = kind == RowPassKind::kRunning ? 47 : 70;
      t.dst_height = 30;
      t.row_pass = kind;
      t.chosen = &chosen;
      ASSERT_TRUE(matches_reference(whole_image(t), GetParam()));
      const bool fits =
          has_row_pass(GetParam(), kind, depth_of(bits)) && (kind != RowPassKind::kShuffled || channels != 1);
      EXPECT_EQ(chosen.kind, fits ? kind : RowPassKind::kTransposed)
          << bits << " bits x " << channels << ", wanted " << name_of(kind) << ": " << chosen.reason;
    }
  }
}

// Grey pixels too far apart for a window of two vectors have one for each lane, where the set has such.
TEST_P(RowPasses, GreyFarApart) {
  constexpr int widths[][2] = {{700, 37}, {613, 64}, {1000, 17}, {2000, 67}, {300, 16}, {1500, 149}};
  for (const int bits : {8, 16}) {
    const auto& pass = GetParam().resize->permuted.depth[depth_of(bits)].pass;
    for (const int mode : {2, 8}) {
      for (const auto& [from, to] : widths) {
        if (mode == 2 && from > 31 * to) continue;  // too many taps
        resize::RowPassChoice chosen;
        Trial t;
        t.mode = mode;
        t.bits = bits;
        t.src_width = from;
        t.dst_width = to;
        t.src_height = t.dst_height = 7;
        t.row_pass = RowPassKind::kPermuted;
        t.chosen = &chosen;
        ASSERT_TRUE(matches_reference(whole_image(t), GetParam()));
        EXPECT_EQ(chosen.kind == RowPassKind::kPermuted, pass[resize::kLaneWindows][0] != nullptr)
            << bits << " bits, mode " << mode << ", " << from << " to " << to;
      }
    }
  }
}

// The choice for pictures of a size, without the pictures.
resize::RowPassChoice choice_for(const runtime::KernelSet& set, Format format, resize::Mode mode,
                                 std::int32_t from, std::int32_t to) {
  resize::Geometry geometry;
  geometry.mode = mode;
  geometry.x.count = geometry.y.count = to;
  geometry.x.usable_size = geometry.y.usable_size = from;
  geometry.x.inverse = geometry.y.inverse = static_cast<double>(from) / to;
  runtime::Arena measure;
  const resize::Workspace measured(measure, geometry, format.channels);
  static_cast<void>(measured);
  std::vector<unsigned char> memory(static_cast<std::size_t>(measure.bytes()));
  runtime::Arena arena(memory.data());
  const resize::Workspace work(arena, geometry, format.channels);
  const resize::BuiltTable x = resize::build_tap_table(work.x, geometry.x, mode, *set.resize);
  const resize::RowPassFacts facts{
      {depth_of(format.bits), format.channels}, geometry, x, *set.resize, resize::Tuning()};
  return resize::choose_row_pass(facts, work.row_pass, {}).choice;
}

// A pass that no request takes any more is dead code: this fails until it goes, or is chosen again.
TEST_P(RowPasses, EachIsChosenForSomeRequest) {
  constexpr std::int32_t sizes[][2] = {{60, 40},    {256, 96},    {4000, 1000},
                                       {4000, 400}, {4000, 3200}, {1500, 3000}};
  std::map<std::tuple<int, int>, std::set<RowPassKind>> chosen;
  std::set<RowPassKind> anywhere;
  for (const Format format : kFormats) {
    for (const auto& [from, to] : sizes) {
      for (const auto mode : {resize::Mode::kLinear, resize::Mode::kLanczos}) {
        const resize::RowPassChoice choice = choice_for(GetParam(), format, mode, from, to);
        EXPECT_NE(std::string(choice.reason), "");
        anywhere.insert(choice.kind);
        chosen[{format.bits, format.channels}].insert(choice.kind);
      }
    }
  }
  for (const RowPassKind kind : row_passes_of(GetParam())) {
    EXPECT_TRUE(anywhere.contains(kind)) << name_of(kind) << " is never chosen";
  }
  // Without permutations of bytes, 8-bit rows have one pass only.
  for (const auto& [format, kinds] : chosen) {
    for (const RowPassKind kind : kinds) {
      EXPECT_TRUE(has_row_pass(GetParam(), kind, depth_of(std::get<0>(format))));
    }
  }
  for (const int bits : {8, 16}) {
    const auto& pass = GetParam().resize->permuted.depth[depth_of(bits)].pass;
    const resize::RowPassChoice choice = choice_for(GetParam(), {bits, 1}, resize::Mode::kSuper, 4000, 200);
    EXPECT_EQ(std::string(choice.reason) == "grey far apart", pass[resize::kLaneWindows][0] != nullptr);
  }
}

// Trials notice memory that is computed with before it is written. Widths around whole vectors, and rows that
// end within a batch.
TEST_P(RowPasses, ComputeOnlyWithWhatWasWritten) {
  Random random(20261122);
  for (const auto [bits, channels] : kFormats) {
    for (const RowPassKind kind : kRowPassKinds) {
      for (const int mode : {2, 4, 8}) {
        for (int k = 0; k < 12; ++k) {
          Trial t = random_trial(random, mode, k < 9 ? 90 : 700, k < 9 ? 40 : 9);
          t.bits = bits;
          t.channels = channels;
          t.row_pass = kind;
          t.folding = k % 2 == 0;
          if (mode == 8) t.dst_width = std::min(t.dst_width, t.region.width);
          if (mode == 8) t.dst_height = std::min(t.dst_height, t.region.height);
          ASSERT_TRUE(matches_reference(t, GetParam()));
        }
      }
    }
  }
}

// Folded rows give the defined pixels: with whole rows only, with parts of rows at the ends, from rows that
// are repeated beyond the source, of sums that are never rounded, and where half of all pixels is a tie. Then
// they give up: 0 and 255 in equal numbers are a tie for every pixel.
TEST_P(RowPasses, FoldRowsOfBoxes) {
  constexpr std::int32_t heights[][2] = {{60, 30}, {60, 6},  {61, 7},  {95, 40}, {64, 4},
                                         {90, 1},  {127, 1}, {250, 2}, {47, 23}, {75, 15}};
  const resize::FoldKernels& folds = GetParam().resize->folds;
  for (const int channels : {1, 3, 4}) {
    for (const auto& [from, to] : heights) {
      for (const Content content : {Content::kRandom, Content::kExtremes, Content::kCheckerboard}) {
        resize::RowPassChoice chosen;
        bool has_folded = false;
        Trial t;
        t.mode = 8;
        t.channels = channels;
        t.src_width = 3 * from + 5;
        t.dst_width = 3 * to + 1;
        t.src_height = from;
        t.dst_height = to;
        t.content = content;
        t.folding = true;
        t.chosen = &chosen;
        t.has_folded = &has_folded;
        ASSERT_TRUE(matches_reference(whole_image(t), GetParam()));
        const bool gives_up = content != Content::kRandom && !has_folded;
        EXPECT_TRUE(has_folded == (folds.least_samples > 0) || gives_up) << from << " : " << to;
      }
    }
  }
}

// Wide rows are folded a few at a time, and never fewer than a pass takes; wide results are made in strips.
TEST_P(RowPasses, FoldWideRows) {
  constexpr std::int32_t sizes[][4] = {
      {1, 9200, 40, 4600}, {3, 3066, 95, 613}, {4, 2300, 95, 460}, {4, 700, 300, 70}};
  for (const auto& [channels, width, height, dst_width] : sizes) {
    Trial t;
    t.mode = 8;
    t.channels = channels;
    t.src_width = width;
    t.src_height = height;
    t.dst_width = dst_width;
    t.dst_height = height * dst_width / width;
    t.folding = true;
    t.tuning.ring_floats = channels == 4 ? 1000 : t.tuning.ring_floats;
    ASSERT_TRUE(matches_reference(whole_image(t), GetParam()));
  }
}

// Ties in every pixel are met at once, those in some pixels after some rows, which stay as they are.
TEST_P(RowPasses, FoldWhereThatIsFastest) {
  for (const Content content : {Content::kRandom, Content::kCheckerboard, Content::kExtremes}) {
    resize::RowPassChoice chosen;
    bool has_folded = false;
    Trial t;
    t.mode = 8;
    t.src_width = t.src_height = 640;
    t.dst_width = t.dst_height = 64;
    t.content = content;
    t.chosen = &chosen;
    t.has_folded = &has_folded;
    ASSERT_TRUE(matches_reference(whole_image(t), GetParam()));
    EXPECT_EQ(has_folded, content == Content::kRandom && GetParam().resize->folds.least_samples > 0);
  }
}

// Blocks of 1 to 4 by 1 to 16 pixels; rows of less than a vector, of whole ones and some more, and past the
// caches. Regions that begin within a block have boxes of other pixels.
TEST_P(RowPasses, AverageBlocksOfPixels) {
  Random random(20261124);
  const resize::MeanKernels& means = GetParam().resize->integers.means;
  for (const auto [bits, channels] : kFormats) {
    for (int k = 0; k < 200; ++k) {
      const std::int32_t width = 1 << k % 3;
      const std::int32_t height = 1 << (k / 3 + (width == 1 ? 1 : 0)) % 5;
      bool is_in_integers = false;
      Trial t;
      t.mode = 8;
      t.bits = bits;
      t.channels = channels;
      t.dst_width = k % 40 == 0 ? between(random, 600, 1500) : between(random, 1, 80);
      t.dst_height = between(random, 1, 5);
      t.region = {between(random, 0, 2 * width), between(random, 0, 2 * height), width * t.dst_width,
                  height * t.dst_height};
      t.src_width = t.region.x + t.region.width + between(random, 0, 3);
      t.src_height = t.region.y + t.region.height + between(random, 0, 3);
      t.src_padding = between(random, 0, 3);
      t.dst_padding = between(random, 0, 3);
      t.content = k % 4 == 0 ? Content::kExtremes : Content::kRandom;
      t.at_end = k % 2 == 0;
      t.seed = static_cast<std::uint32_t>(k);
      if (k % 5 == 0) t.tuning = tuning_of_large_pictures();
      t.is_in_integers = &is_in_integers;
      ASSERT_TRUE(matches_reference(t, GetParam()));
      const bool has_blocks = t.region.x % width == 0 && t.region.y % height == 0 && width * height > 1;
      const bool has_kernel = means.mean[depth_of(bits)][channels / 2][k % 3] != nullptr &&
                              t.dst_width * channels >= means.least_samples;
      EXPECT_EQ(is_in_integers, has_blocks && has_kernel) << t;
    }
  }
}

// Linear, from 8 : 1 to 1 : 2, regions that begin anywhere among them; stretches of one vector, of less and
// of many, and several in a row.
TEST_P(RowPasses, AddTentsOfWholeNumbers) {
  Random random(20261125);
  const resize::IntegerKernels& integers = GetParam().resize->integers;
  for (const auto [bits, channels] : kFormats) {
    for (int k = 0; k < 240; ++k) {
      const std::int32_t block = 1 << k % 4;  // source pixels, or half a pixel for 1
      const bool is_doubled = block == 1;
      bool is_in_integers = false;
      Trial t;
      t.mode = 2;
      t.bits = bits;
      t.channels = channels;
      const std::int32_t width = k % 40 < 4 ? between(random, 600, 1500) : between(random, 1, 80);
      const std::int32_t height = between(random, 1, 5);
      t.region = {between(random, 0, 9), between(random, 0, 9), width * block, height * block};
      t.dst_width = is_doubled ? 2 * width : width;
      t.dst_height = is_doubled ? 2 * height : height;
      t.src_width = t.region.x + t.region.width + between(random, 0, 9);
      t.src_height = t.region.y + t.region.height + between(random, 0, 9);
      t.src_padding = between(random, 0, 3);
      t.dst_padding = between(random, 0, 3);
      t.content = k % 3 == 0 ? Content::kExtremes : Content::kRandom;
      t.at_end = k % 8 < 4;
      t.seed = static_cast<std::uint32_t>(k);
      if (k % 5 == 0) t.tuning = tuning_of_large_pictures();
      t.is_in_integers = &is_in_integers;
      ASSERT_TRUE(matches_reference(t, GetParam()));
      const resize::Depth depth = depth_of(bits);
      const bool has_kernel = is_doubled ? integers.doubling.write[depth][channels / 2] != nullptr
                                         : integers.tents.write[depth][channels / 2][k % 4 - 1] != nullptr;
      const bool is_whole = is_doubled || (t.region.x % block == 0 && t.region.y % block == 0);
      const bool is_long = width * channels >= integers.tents.least_samples;
      EXPECT_EQ(is_in_integers, is_whole && is_long && has_kernel) << t;
    }
  }
}

// Sides that differ, a shift of a part of a pixel, and half of a source pixel at an end, in either direction.
TEST_P(RowPasses, AddTentsWhereTheyAreWhole) {
  struct Request {
    double x_factor;
    double y_factor;
    double x_shift;
    double y_shift;
    reference::Rect dst;
    bool is_in_integers;
  };
  constexpr Request kRequests[] = {
      {0.5, 0.25, 0.0, 0.0, {0, 0, 20, 10}, false}, {0.5, 1.0, 0.0, 0.0, {0, 0, 20, 40}, false},
      {0.5, 0.5, 0.25, 0.0, {0, 0, 19, 20}, false}, {0.5, 0.5, 0.0, 0.125, {0, 0, 20, 19}, false},
      {0.5, 0.5, 1.0, 2.0, {1, 2, 15, 15}, true},   {0.25, 0.25, -1.0, 0.0, {0, 0, 9, 10}, true},
      {0.5, 0.5, 0.0, 0.0, {3, 7, 10, 9}, true},    {2.0, 2.0, 0.0, 0.0, {6, 9, 40, 13}, true},
      {2.0, 2.0, 0.0, 0.0, {5, 9, 40, 13}, false},  {2.0, 2.0, 0.0, 0.0, {6, 9, 41, 13}, false},
      {2.0, 2.0, 0.5, 0.0, {6, 9, 40, 13}, false},  {2.0, 2.0, 0.0, 1.0, {6, 9, 40, 13}, false},
      {2.0, 2.0, 2.0, 4.0, {6, 9, 40, 13}, true},   {2.0, 0.5, 0.0, 0.0, {0, 0, 40, 20}, false},
  };
  for (const Request& request : kRequests) {
    bool is_in_integers = false;
    DirectCall call;
    call.trial.mode = 2;
    call.trial.src_width = call.trial.src_height = 41;
    call.trial.dst_width = call.trial.dst_height = 90;
    call.trial.is_in_integers = &is_in_integers;
    call.trial = whole_image(call.trial);
    call.x_factor = request.x_factor;
    call.y_factor = request.y_factor;
    call.x_shift = request.x_shift;
    call.y_shift = request.y_shift;
    call.dst_roi = request.dst;
    ASSERT_TRUE(matches_reference(call, GetParam()));
    const bool has_kernels = GetParam().resize->integers.tents.least_samples > 0;
    EXPECT_EQ(is_in_integers, request.is_in_integers && has_kernels) << call.trial << request.x_shift;
  }
}

// The last box of an odd size ends outside the source.
TEST_P(RowPasses, AverageNoBlocksBeyondTheSource) {
  for (const auto& [width, height] : {std::pair{41, 40}, {40, 41}}) {
    DirectCall call;
    call.trial.mode = 8;
    call.trial.src_width = width;
    call.trial.src_height = height;
    call.trial.dst_width = call.trial.dst_height = 21;
    call.trial = whole_image(call.trial);
    call.x_factor = call.y_factor = 0.5;
    call.dst_roi = {0, 0, 21, 21};
    ASSERT_TRUE(matches_reference(call, GetParam()));
  }
}

// Results that are written beyond their room land in the ring's first row. It shows where that row is still
// needed when the next batch of rows begins, and in strips that begin with sums of the one before.
TEST_P(RowPasses, KeepToTheirRoomInEveryStrip) {
  for (const RowPassKind kind : row_passes_of(GetParam())) {
    Trial t;
    t.mode = 16;
    t.bits = 8;
    t.channels = 1;
    t.src_width = 1200;
    t.src_height = t.dst_height = 520;
    t.dst_width = 200;
    t.row_pass = kind;
    ASSERT_TRUE(matches_reference(whole_image(t), GetParam()));
  }
}

INSTANTIATE_TEST_SUITE_P(Variants, RowPasses,
                         testing::ValuesIn(runtime::all_kernel_sets().begin(),
                                           runtime::all_kernel_sets().end()),
                         variant_name);

}  // namespace
}  // namespace kyv::test
