#include "image_io.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string_view>
#include <vector>

#include "error.h"
#include "file_builder.h"
#include "test_files.h"

namespace kyv::host::test {
namespace {

#ifdef _WIN32
// The imaging component of Wine 8 swaps the bytes of 16-bit PNG files that it writes; that of Windows does
// not.
constexpr bool kWrites16BitPng = false;
constexpr bool kKeepsProfiles = false;  // nor does Wine's store colour profiles
constexpr bool kReadsPlanarTiff = false;
#else
constexpr bool kWrites16BitPng = true;
constexpr bool kKeepsProfiles = true;
constexpr bool kReadsPlanarTiff = true;
#endif

// A profile that libpng, which checks header and tag table, accepts; its one tag holds bytes that mean
// nothing.
std::vector<std::uint8_t> small_icc_profile(int channels) {
  std::vector<std::uint8_t> profile(208);
  for (std::size_t i = 144; i < profile.size(); ++i) profile[i] = static_cast<std::uint8_t>(37 * i);
  const auto put = [&](std::size_t offset, std::string_view bytes) {
    std::copy(bytes.begin(), bytes.end(), profile.begin() + static_cast<std::ptrdiff_t>(offset));
  };
  profile[3] = 208;  // its size
  profile[8] = 2;    // version
  profile[131] = 1;  // tags: signature, offset, size
  put(132, "cprt");
  profile[139] = 144;
  profile[143] = 64;
  put(12, "mntr");
  put(16, channels == 1 ? "GRAY" : "RGB ");
  put(20, "XYZ ");
  put(36, "acsp");
  constexpr char kWhite[] = "\0\0\xF6\xD6\0\1\0\0\0\0\xD3\x2D";  // D50
  put(68, {kWhite, sizeof kWhite - 1});
  return profile;
}

struct Case {
  const char* extension;
  PixelFormat format;
};

void PrintTo(const Case& c, std::ostream* out) { *out << c.extension << " " << describe(c.format); }

class WriteAndRead : public testing::TestWithParam<Case> {};

TEST_P(WriteAndRead, GivesTheSamePixelsProfileAndResolution) {
  const auto& [extension, format] = GetParam();
  const ScratchFolder folder;
  Image image = textured(37, 21, format);
  image.metadata.icc_profile = small_icc_profile(format.channels);
  image.metadata.dpi_x = 300;
  image.metadata.dpi_y = 240;
  const auto file = folder / ("picture" + std::string(extension));

  write_image(file, image);
  const Image read = read_image(file);

  EXPECT_EQ(folder.file_count(), 1u) << "a temporary file was left";
  ASSERT_EQ(read.format(), format);
  EXPECT_TRUE(same_pixels(read, image));
  if (kKeepsProfiles) {
    EXPECT_EQ(read.metadata.icc_profile, image.metadata.icc_profile);
  }
  EXPECT_NEAR(read.metadata.dpi_x, 300, 0.05);
  EXPECT_NEAR(read.metadata.dpi_y, 240, 0.05);
}

std::vector<Case> lossless_cases() {
  std::vector<Case> cases;
  for (const int bits : {8, 16}) {
    for (const int channels : {1, 3, 4}) {
      if (bits == 8 || channels > 1 || kWritesDeepGrey) cases.push_back({".tif", {channels, bits}});
      if (bits == 8 || kWrites16BitPng) cases.push_back({".png", {channels, bits}});
    }
  }
  return cases;
}

INSTANTIATE_TEST_SUITE_P(Lossless, WriteAndRead, testing::ValuesIn(lossless_cases()));

TEST(Jpeg, GivesNearlyTheSamePixelsAndKeepsTheFormat) {
  for (const int channels : {1, 3}) {
    const ScratchFolder folder;
    Image image(64, 48, {channels, 8});
    for (int y = 0; y < 48; ++y) {
      for (int x = 0; x < 64; ++x) {
        for (int c = 0; c < channels; ++c) image.set_sample(x, y, c, 40 + 2 * x + y + 10 * c);
      }
    }
    write_image(folder / "picture.jpg", image, {.jpeg_quality = 98});
    const Image read = read_image(folder / "picture.jpg");
    ASSERT_EQ(read.format(), image.format());
    for (int y = 0; y < 48; ++y) {
      for (int x = 0; x < 64; ++x) {
        for (int c = 0; c < channels; ++c) ASSERT_NEAR(read.sample(x, y, c), image.sample(x, y, c), 6);
      }
    }
  }
}

TEST(Jpeg, HoldsDeepAndTransparentPicturesAs8BitOpaqueOnes) {
  const ScratchFolder folder;
  Image image(16, 16, {4, 16});
  for (int y = 0; y < 16; ++y) {
    for (int x = 0; x < 16; ++x) {
      for (const int c : {0, 1, 2}) image.set_sample(x, y, c, 257 * 40);
      image.set_sample(x, y, 3, 65535 / 5 * 3);
    }
  }
  write_image(folder / "picture.jpg", image, {.background = {255, 255, 0}});
  const Image read = read_image(folder / "picture.jpg");
  ASSERT_EQ(read.format(), (PixelFormat{3, 8}));
  EXPECT_NEAR(read.sample(8, 8, 0), 0.6 * 40 + 0.4 * 255, 3);
  EXPECT_NEAR(read.sample(8, 8, 2), 0.6 * 40, 3);
}

Image read_bytes(const std::string& bytes) {
  const ScratchFolder folder;
  write_bytes(folder / "picture", bytes);
  return read_image(folder / "picture");
}

std::vector<int> samples_of(const Image& image) {
  std::vector<int> samples;
  for (int y = 0; y < image.height(); ++y) {
    for (int x = 0; x < image.width(); ++x) {
      for (int c = 0; c < image.format().channels; ++c) samples.push_back(image.sample(x, y, c));
    }
  }
  return samples;
}

TEST(Png, ExpandsBitsPalettesAndTransparency) {
  const Image bits =
      read_bytes(make_png({.width = 10, .height = 2, .depth = 1, .rows = {"\xa0\x40\x5f\xc0", 4}}));
  EXPECT_EQ(bits.format(), (PixelFormat{1, 8}));
  EXPECT_EQ(samples_of(bits), (std::vector<int>{255, 0,   255, 0,   0,   0,   0,   0,   0,   255,  //
                                                0,   255, 0,   255, 255, 255, 255, 255, 255, 255}));

  const Image palette = read_bytes(make_png(
      {.width = 4, .height = 1, .depth = 2, .colour_type = 3, .rows = "\x1b", .palette = "abcdefghijkl"}));
  EXPECT_EQ(palette.format(), (PixelFormat{3, 8}));
  EXPECT_EQ(samples_of(palette),
            (std::vector<int>{'a', 'b', 'c', 'd', 'e', 'f', 'g', 'h', 'i', 'j', 'k', 'l'}));

  const Image transparent = read_bytes(make_png({.width = 2,
                                                 .height = 1,
                                                 .depth = 8,
                                                 .colour_type = 3,
                                                 .rows = {"\x01\x00", 2},
                                                 .palette = "abcdef",
                                                 .transparency = "\x40\x80"}));
  EXPECT_EQ(samples_of(transparent), (std::vector<int>{'d', 'e', 'f', 0x80, 'a', 'b', 'c', 0x40}));
}

TEST(Png, ReadsInterlacedPictures) {
  const Image expected = textured(13, 11, {3, 8});
  const std::string rows(reinterpret_cast<const char*>(expected.row(0)), expected.bytes());
  const Image read =
      read_bytes(make_png({.width = 13, .height = 11, .colour_type = 2, .interlaced = true, .rows = rows}));
  EXPECT_TRUE(same_pixels(read, expected));
}

TEST(Tiff, ReadsBitsInversePalettesPlanesAndTiles) {
  const Image bits =
      read_bytes(make_tiff({.width = 4, .height = 1, .bits = 1, .photometric = 0, .data = {"\xa0", 1}}));
  EXPECT_EQ(samples_of(bits), (std::vector<int>{0, 255, 0, 255}));

  const Image inverse =
      read_bytes(make_tiff({.width = 3, .height = 1, .photometric = 0, .data = {"\x00\x10\xff", 3}}));
  EXPECT_EQ(samples_of(inverse), (std::vector<int>{255, 239, 0}));

  std::vector<std::uint16_t> map(3 * 256, 0);
  map[5] = 0x1200;
  map[256 + 5] = 0x3400;
  map[512 + 5] = 0x5600;
  const Image palette =
      read_bytes(make_tiff({.width = 1, .height = 1, .photometric = 3, .palette = map, .data = "\x05"}));
  EXPECT_EQ(samples_of(palette), (std::vector<int>{0x12, 0x34, 0x56}));
}

TEST(Tiff, ReadsPlanesTilesAndGreyWithAlpha) {
  if (kReadsPlanarTiff) {
    const Image planar = read_bytes(
        make_tiff({.width = 2, .height = 1, .samples = 3, .photometric = 2, .planar = 2, .data = "RrGgBb"}));
    EXPECT_EQ(samples_of(planar), (std::vector<int>{'R', 'G', 'B', 'r', 'g', 'b'}));
  }

  const Image expected = textured(20, 18, {1, 8});
  std::string tiles;
  for (const int ty : {0, 16}) {
    for (const int tx : {0, 16}) {
      for (int y = ty; y < ty + 16; ++y) {
        for (int x = tx; x < tx + 16; ++x) {
          tiles += static_cast<char>(x < 20 && y < 18 ? expected.sample(x, y, 0) : 0);
        }
      }
    }
  }
  EXPECT_TRUE(
      same_pixels(read_bytes(make_tiff({.width = 20, .height = 18, .tile = 16, .data = tiles})), expected));

  const Image grey_alpha =
      read_bytes(make_tiff({.width = 1, .height = 1, .samples = 2, .extra_sample = 2, .data = "gA"}));
  EXPECT_EQ(samples_of(grey_alpha), (std::vector<int>{'g', 'g', 'g', 'A'}));
}

}  // namespace
}  // namespace kyv::host::test
