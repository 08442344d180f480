#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <nlohmann/json.hpp>
#include <numbers>

#include "image_io.h"
#include "npy.h"
#include "psf.h"
#include "run_tool.h"
#include "test_files.h"

namespace kyv::host::test {
namespace {

// The definition: sum of f(x, y) exp(-2 pi i (x u / W + y v / H)).
std::complex<double> textbook(const ComplexPlanes& f, int plane, int u, int v) {
  std::complex<double> sum = 0;
  for (int y = 0; y < f.height; ++y) {
    for (int x = 0; x < f.width; ++x) {
      const double turns =
          static_cast<double>(x * u % f.width) / f.width + static_cast<double>(y * v % f.height) / f.height;
      sum += f.real[f.index(x, y, plane)] * std::polar(1.0, -2 * std::numbers::pi * turns);
    }
  }
  return sum;
}

TEST(Otf, IsTheTextbookTransformOfPicturesOfAnyShape) {
  for (const auto& [width, height, channels] :
       {std::array{12, 12, 1}, std::array{10, 6, 1}, std::array{7, 16, 3}}) {
    SCOPED_TRACE(std::to_string(width) + "x" + std::to_string(height));
    const ScratchFolder folder;
    const Image picture = textured(width, height, {channels, channels > 1 || kWritesDeepGrey ? 16 : 8});
    write_image(folder / "psf.tif", picture);
    for (const bool single : {false, true}) {
      std::vector<std::string> arguments{"otf", display(folder / "psf.tif"), display(folder / "otf.npy")};
      if (single) arguments.push_back("--single");
      const ToolRun run = run_tool(arguments);
      ASSERT_EQ(run.status, 0) << run.err;
      const ComplexPlanes otf = npy::read(folder / "otf.npy");

      ComplexPlanes expected = planes_from(picture);
      psf::normalise(expected);
      roll(expected, width / 2, height / 2, 0, 0);
      ASSERT_EQ(otf.planes, channels);
      for (int p = 0; p < channels; ++p) {
        for (int v = 0; v < height; ++v) {
          for (int u = 0; u < width; ++u) {
            const std::complex<double> is(otf.real[otf.index(u, v, p)], otf.imag[otf.index(u, v, p)]);
            ASSERT_LT(std::abs(is - textbook(expected, p, u, v)), single ? 1e-6 : 1e-14);
          }
        }
      }
    }
  }
}

TEST(Otf, OfAGaussianIsAGaussian) {
  const ScratchFolder folder;
  const double sigma = 2;
  const ToolRun run =
      run_tool({"otf", "--gaussian", "2", "--psf-size", "64x48", display(folder / "lens"), "--json"});
  ASSERT_EQ(run.status, 0) << run.err;
  for (const char* name : {"lens.npy", "lens-magnitude.png", "lens-mtf.svg"}) {
    EXPECT_TRUE(std::filesystem::exists(folder / name)) << name;
  }
  const auto json = nlohmann::json::parse(run.out);
  // exp(-2 pi^2 sigma^2 f^2) times the transfer of the pixel, sinc(f), is a half there.
  const double half = json["mtf"]["half_at"][0];
  const double expected = std::exp(-2 * std::pow(std::numbers::pi * sigma * half, 2)) *
                          std::sin(std::numbers::pi * half) / (std::numbers::pi * half);
  EXPECT_NEAR(expected, 0.5, 0.01);

  const Image magnitude = read_image(folder / "lens-magnitude.png");
  EXPECT_EQ(magnitude.width(), 64);
  EXPECT_EQ(magnitude.height(), 48);
  EXPECT_EQ(magnitude.sample(32, 24, 0), 255);
}

TEST(Psf, ComesBackFromItsOtf) {
  const ScratchFolder folder;
  const Image picture = textured(15, 22, {3, 16});
  write_image(folder / "psf.tif", picture);
  ASSERT_EQ(run_tool({"otf", display(folder / "psf.tif"), display(folder / "otf.npy")}).status, 0);
  ASSERT_EQ(run_tool({"psf", display(folder / "otf.npy"), display(folder / "back.npy")}).status, 0);
  ASSERT_EQ(run_tool({"psf", display(folder / "otf.npy"), display(folder / "back.tif")}).status, 0);

  ComplexPlanes expected = planes_from(picture);
  psf::normalise(expected);
  const ComplexPlanes back = npy::read(folder / "back.npy");
  const Image back_picture = read_image(folder / "back.tif");
  const double peak = *std::ranges::max_element(expected.real);
  for (int p = 0; p < 3; ++p) {
    for (int y = 0; y < 22; ++y) {
      for (int x = 0; x < 15; ++x) {
        const double value = expected.real[expected.index(x, y, p)];
        ASSERT_NEAR(back.real[back.index(x, y, p)], value, 1e-7 * peak);
        ASSERT_NEAR(back_picture.sample(x, y, p), value / peak * 65535, 1.1);
      }
    }
  }
}

double root_mean_square_difference(const Image& a, const Image& b) {
  double sum = 0;
  for (int y = 0; y < a.height(); ++y) {
    for (int x = 0; x < a.width(); ++x) {
      for (int c = 0; c < a.format().channels; ++c) {
        sum += std::pow(
            (a.sample(x, y, c) - b.sample(x, y, c)) / static_cast<double>(a.format().max_sample()), 2);
      }
    }
  }
  return std::sqrt(sum / (a.width() * a.height() * a.format().channels));
}

// Disks and bars: edges in every direction, right up to the borders.
Image shapes(int width, int height, PixelFormat format) {
  Image image(width, height, format);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      for (int c = 0; c < format.channels; ++c) {
        const bool inside =
            std::hypot(x - width * 0.4, y - height * 0.5 - 6 * c) < height * 0.3 || x % 24 < 5;
        image.set_sample(x, y, c, static_cast<int>((inside ? 0.8 : 0.2) * format.max_sample()));
      }
    }
  }
  return image;
}

TEST(Deblur, UndoesABlurAndLeavesAlphaAlone) {
  const ScratchFolder folder;
  const Image picture = shapes(90, 70, {4, 16});
  write_image(folder / "in.tif", picture);
  const std::string soft_file = display(folder / "soft.tif");
  ASSERT_EQ(run_tool({"blur", display(folder / "in.tif"), soft_file, "--gaussian", "1.2"}).status, 0);
  const ToolRun run =
      run_tool({"deblur", soft_file, display(folder / "sharp.tif"), "--gaussian", "1.2", "--snr", "1e5"});
  ASSERT_EQ(run.status, 0) << run.err;
  const Image soft = read_image(folder / "soft.tif");
  const Image sharp = read_image(folder / "sharp.tif");
  EXPECT_LT(root_mean_square_difference(sharp, picture), 0.6 * root_mean_square_difference(soft, picture));
  for (int y = 0; y < 70; ++y) {
    for (int x = 0; x < 90; ++x) ASSERT_EQ(sharp.sample(x, y, 3), picture.sample(x, y, 3));
  }
}

// A photograph's edges cut through what was blurred beyond them: mirror images alone give 20 to 25 dB here.
TEST(Deblur, RestoresPicturesUpToEdgesThatCutThroughTheBlur) {
  const ScratchFolder folder;
  const auto run = [&](const std::string& command, const std::string& from, const std::string& to,
                       std::vector<std::string> options) {
    options.insert(options.begin(), {command, display(folder / from), display(folder / to), "--json"});
    const ToolRun done = run_tool(options);
    EXPECT_EQ(done.status, 0) << done.err;
    return nlohmann::json::parse(done.out);
  };
  write_image(folder / "large.tif", shapes(240, 200, {3, 8}));
  run("blur", "large.tif", "lens.tif", {"--gaussian", "0.8"});
  run("blur", "lens.tif", "moved.tif", {"--motion", "9,20"});
  run("resize", "lens.tif", "sharp.tif", {"--crop", "200x160+20+20"});
  run("resize", "moved.tif", "soft.tif", {"--crop", "200x160+20+20"});
  const Image truth = read_image(folder / "sharp.tif");
  for (const std::string snr : {"300", "3000", "auto"}) {
    const auto json = run("deblur", "soft.tif", "out.tif", {"--motion", "9,20", "--snr", snr});
    const double decibels =
        -20 * std::log10(root_mean_square_difference(read_image(folder / "out.tif"), truth));
    EXPECT_GT(decibels, 27) << snr;
    if (snr == "auto") {
      EXPECT_GT(json["snr"], 100);
    }
  }
}

TEST(Blur, SpreadsAPointAsThePsfSays) {
  const ScratchFolder folder;
  Image point(41, 33, {3, 16});
  for (int y = 0; y < 33; ++y) std::fill_n(point.row16(y), 3 * 41, std::uint16_t{0});
  point.set_sample(20, 14, 0, 65535);
  Image psf = textured(9, 7, {1, 8});  // without any symmetry: a mirrored or transposed PSF would show
  write_image(folder / "point.tif", point);
  write_image(folder / "psf.png", psf);
  const ToolRun run = run_tool({"blur", display(folder / "point.tif"), display(folder / "out.tif"), "--psf",
                                display(folder / "psf.png")});
  ASSERT_EQ(run.status, 0) << run.err;

  ComplexPlanes expected = planes_from(psf);
  psf::normalise(expected);
  const Image out = read_image(folder / "out.tif");
  for (int y = 0; y < 33; ++y) {
    for (int x = 0; x < 41; ++x) {
      const int px = x - 20 + 4;
      const int py = y - 14 + 3;
      const bool inside = px >= 0 && px < 9 && py >= 0 && py < 7;
      const double value = inside ? expected.real[expected.index(px, py, 0)] * 65535 : 0;
      ASSERT_NEAR(out.sample(x, y, 0), value, 0.6) << x << "," << y;
    }
  }
}

TEST(Blur, KeepsAConstantPictureConstantUpToItsEdges) {
  const ScratchFolder folder;
  Image flat(50, 30, {3, 8});
  std::fill_n(flat.row(0), flat.bytes(), std::uint8_t{77});
  write_image(folder / "flat.png", flat);
  for (const std::string command : {"blur", "deblur"}) {
    for (const std::vector<std::string>& psf :
         {std::vector<std::string>{"--disk", "4"}, {"--motion", "9,30"}, {"--airy", "3"}}) {
      const ToolRun run =
          run_tool({command, display(folder / "flat.png"), display(folder / "out.png"), psf[0], psf[1]});
      ASSERT_EQ(run.status, 0) << run.err;
      EXPECT_TRUE(same_pixels(read_image(folder / "out.png"), flat));
    }
  }
}

}  // namespace
}  // namespace kyv::host::test
