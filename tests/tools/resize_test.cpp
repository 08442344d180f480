#include <KyvMath.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

#include "image_io.h"
#include "modes.h"
#include "run_tool.h"
#include "test_files.h"

namespace kyv::host::test {
namespace {

class Initialised : public testing::Environment {
  void SetUp() override { ASSERT_EQ(KyvMathInitialize(), static_cast<KyvMathStatusCode>(KYVMATH_OK)); }
  void TearDown() override { KyvMathTerminate(); }
};

const auto* const kInitialised = testing::AddGlobalTestEnvironment(new Initialised);

Image resized(KyvMathMode mode, const Image& source, int width, int height) {
  Image result(width, height, source.format());
  const KyvMathStatusCode status = KyvMathResize(
      mode, source.format().channels, source.format().bits, source.row(0), source.width(), source.height(),
      static_cast<int>(source.step()), result.row(0), width, height, static_cast<int>(result.step()));
  EXPECT_EQ(status, static_cast<KyvMathStatusCode>(KYVMATH_OK));
  return result;
}

TEST(Resize, GivesWhatTheLibraryGivesInEveryModeAndFormat) {
  for (const int bits : {8, 16}) {
    for (const int channels : {1, 3, 4}) {
      if (bits == 16 && channels == 1 && !kWritesDeepGrey) continue;
      const ScratchFolder folder;
      const Image source = textured(53, 41, {channels, bits});
      const std::string in = display(folder / "in.tif");
      const std::string out = display(folder / "out.tif");
      write_image(folder / "in.tif", source);
      for (const Mode& mode : kModes) {
        SCOPED_TRACE(describe(source.format()) + " " + std::string(mode.name));
        const ToolRun run =
            run_tool({"resize", in, out, "--size", "31x17", "--mode", std::string(mode.name)});
        ASSERT_EQ(run.status, 0) << run.err;
        EXPECT_TRUE(same_pixels(read_image(folder / "out.tif"), resized(mode.value, source, 31, 17)));
        EXPECT_TRUE(run.err.empty()) << run.err;
      }
    }
  }
}

TEST(Resize, TakesARegion) {
  const ScratchFolder folder;
  const Image source = textured(60, 50, {3, 8});
  write_image(folder / "in.png", source);
  const ToolRun run = run_tool({"resize", display(folder / "in.png"), display(folder / "out.png"), "--region",
                                "10,20,30,25", "--size", "90x75", "--mode", "cubic"});
  ASSERT_EQ(run.status, 0) << run.err;

  Image expected(90, 75, source.format());
  ASSERT_EQ(KyvMathResizeWithRegion(KYVMATH_CUBIC, 3, 8, source.row(0), 60, 50, 180, 10, 20, 30, 25,
                                    expected.row(0), 90, 75, 270),
            static_cast<KyvMathStatusCode>(KYVMATH_OK));
  EXPECT_TRUE(same_pixels(read_image(folder / "out.png"), expected));
}

// What averaging in light gives, worked out in double precision: a 2:1 area average of neighbours.
TEST(Resize, LinearLightAveragesLightAndNotSamples) {
  const auto light = [](double v) { return v <= 0.04045 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4); };
  const auto curve = [](double v) {
    return v <= 0.0031308 ? 12.92 * v : 1.055 * std::pow(v, 1 / 2.4) - 0.055;
  };
  for (const int bits : {8, 16}) {
    const ScratchFolder folder;
    const Image source = textured(60, 40, {3, bits});
    write_image(folder / "in.tif", source);
    const ToolRun run = run_tool({"resize", display(folder / "in.tif"), display(folder / "out.tif"),
                                  "--linear", "--size", "50%x100%", "--mode", "Area"});
    ASSERT_EQ(run.status, 0) << run.err;
    const Image out = read_image(folder / "out.tif");
    ASSERT_EQ(out.format(), source.format());
    const double max = source.format().max_sample();
    for (int y = 0; y < 40; ++y) {
      for (int x = 0; x < 30; ++x) {
        for (int c = 0; c < 3; ++c) {
          const double mean =
              (light(source.sample(2 * x, y, c) / max) + light(source.sample(2 * x + 1, y, c) / max)) / 2;
          // Light is held in 16 bits: a step of it is worth up to 12.92 steps of the curve, in the shadows.
          ASSERT_NEAR(out.sample(x, y, c), curve(mean) * max, bits == 8 ? 0.53 : 13.5) << x << "," << y;
        }
      }
    }
  }
}

TEST(Resize, PremultiplyingKeepsHiddenColoursHidden) {
  const ScratchFolder folder;
  Image source(40, 40, {4, 8});  // the left half red, the right half invisible green
  for (int y = 0; y < 40; ++y) {
    for (int x = 0; x < 40; ++x) {
      const bool left = x < 20;
      source.set_sample(x, y, 0, left ? 200 : 0);
      source.set_sample(x, y, 1, left ? 0 : 255);
      source.set_sample(x, y, 2, 0);
      source.set_sample(x, y, 3, left ? 255 : 0);
    }
  }
  write_image(folder / "in.png", source);
  const std::vector<std::string> plain{
      "resize", display(folder / "in.png"), display(folder / "out.png"), "--size", "50x50", "--mode",
      "linear"};
  std::vector<std::string> premultiplied = plain;
  premultiplied.push_back("--premultiply");

  ASSERT_EQ(run_tool(plain).status, 0);
  const Image fringed = read_image(folder / "out.png");
  ASSERT_EQ(run_tool(premultiplied).status, 0);
  const Image clean = read_image(folder / "out.png");

  int green_before = 0;
  for (int x = 0; x < 50; ++x) {
    if (fringed.sample(x, 25, 3) > 0) green_before += fringed.sample(x, 25, 1);
    if (clean.sample(x, 25, 3) == 0) continue;
    EXPECT_EQ(clean.sample(x, 25, 1), 0);
    // A colour that was multiplied by a small alpha and rounded is known that much less well.
    EXPECT_NEAR(clean.sample(x, 25, 0), 200, 1 + 255.0 / clean.sample(x, 25, 3));
  }
  EXPECT_GT(green_before, 0) << "the picture does not show the fault";
}

TEST(Batch, OneBadFileDoesNotStopTheRest) {
  const ScratchFolder folder;
  for (int i = 0; i < 6; ++i)
    write_image(folder / ("a" + std::to_string(i) + ".png"), textured(30, 20, {3, 8}));
  write_bytes(folder / "a3.png", "damaged");
  std::vector<std::string> arguments{"resize",   "--json", "--jobs", "3",
                                     "--scale",  "2",      "--out",  display(folder / "results"),
                                     "--format", "tif"};
  for (int i = 0; i < 6; ++i) arguments.push_back(display(folder / ("a" + std::to_string(i) + ".png")));

  const ToolRun run = run_tool(arguments);

  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(std::ranges::count(run.err, '\n'), 1) << run.err;
  const auto results = nlohmann::json::parse(run.out);
  ASSERT_EQ(results.size(), 6u);
  const Image expected = resized(KYVMATH_LANCZOS, textured(30, 20, {3, 8}), 60, 40);
  for (std::size_t i = 0; i < 6; ++i) {
    EXPECT_EQ(results[i]["ok"], i != 3);
    const auto file = folder / "results" / ("a" + std::to_string(i) + ".tif");
    ASSERT_EQ(std::filesystem::exists(file), i != 3);
    if (i != 3) {
      EXPECT_TRUE(same_pixels(read_image(file), expected));
    }
  }
}

TEST(CommandLine, TellsWhatIsWrongBeforeAnythingIsDone) {
  const ScratchFolder folder;
  write_image(folder / "in.png", textured(30, 20, {3, 8}));
  std::filesystem::create_directory(folder / "other");
  write_image(folder / "other" / "in.png", textured(30, 20, {3, 8}));
  const std::string in = display(folder / "in.png");
  const std::string out = display(folder / "out.png");
  const struct {
    std::vector<std::string> arguments;
    int status;
    const char* message;
  } cases[] = {
      {{"resize", in, out}, 2, "--size"},
      {{"resize", in, out, "--size", "12"}, 2, "800x600"},
      {{"resize", in, out, "--scale", "2", "--fit", "40"}, 2, "one of --size"},
      {{"resize", in, "--scale", "2"}, 2, "--suffix"},
      {{"resize", in, out, "--scale", "-1"}, 2, "0.25"},
      {{"resize", in, out, "--scale", "2", "--mode", "best"}, 2, "lanczos"},
      {{"resize", in, out, "--scale", "2", "--mode", "super"}, 1, "only reduces"},
      {{"resize", in, out, "--scale", "2", "--region", "20,0,11,5"}, 1, "30x20"},
      {{"resize", in, display(folder / "out.bmp"), "--scale", "2"}, 2, ".png, .tif or .jpg"},
      {{"resize", in, display(folder / "other" / "in.png"), "--out", display(folder / "o"), "--scale", "2"},
       2,
       "both"},
      {{"resize", in, out, "--scale", "2", "--library", display(folder / "none.dll")}, 3, "--library"},
      {{"resize", in, out, "--scale", "2", "--library", in}, 3, "cannot load"},
      {{"deblur", in, out}, 2, "--gaussian"},
      {{"enhance", in, out}, 2, "--help"},
  };
  for (const auto& c : cases) {
    const ToolRun run = run_tool(c.arguments);
    EXPECT_EQ(run.status, c.status) << run.err;
    EXPECT_NE(run.err.find(c.message), std::string::npos) << run.err;
    EXPECT_FALSE(std::filesystem::exists(folder / "out.png"));
  }
}

TEST(Info, TellsWhichLibraryWasLoaded) {
  const ToolRun run = run_tool({"info", "--json"});
  ASSERT_EQ(run.status, 0) << run.err;
  const auto info = nlohmann::json::parse(run.out);
  EXPECT_NE(info["library"].get<std::string>().find("KyvMath"), std::string::npos);
  EXPECT_EQ(info["library_version"], KYVMATH_VERSION_STRING);
  EXPECT_EQ(info["modes"].size(), 5u);
  EXPECT_FALSE(info["instruction_sets"].empty());
  EXPECT_FALSE(info["kernels"].get<std::string>().empty());
}

}  // namespace
}  // namespace kyv::host::test
