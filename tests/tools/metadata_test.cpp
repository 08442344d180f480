#include <gtest/gtest.h>

#include <string_view>

#include "image_io.h"
#include "run_tool.h"
#include "test_files.h"

namespace kyv::host::test {
namespace {

constexpr std::string_view kCamera("Handmade 1\0", 11);
constexpr std::string_view kExposure("\0\0\0\1\0\0\0\xfa", 8);  // 1/250 s

// A big-endian block: the camera's model, an orientation and, in the second directory, an exposure time.
std::vector<std::uint8_t> exif_block(int orientation) {
  std::string block("MM\0\x2a\0\0\0\x08", 8);
  block += {"\0\x03", 2};
  block += {"\x01\x10\0\x02\0\0\0\x0b\0\0\0\x32", 12};  // model: 11 characters at 50
  block += {"\x01\x12\0\x03\0\0\0\x01\0", 9};
  block += static_cast<char>(orientation);
  block += {"\0\0", 2};
  block += {"\x87\x69\0\x04\0\0\0\x01\0\0\0\x3e", 12};  // the second directory: at 62
  block += {"\0\0\0\0", 4};
  block += kCamera;
  block += '\0';
  block += {"\0\x01\x82\x9a\0\x05\0\0\0\x01\0\0\0\x50\0\0\0\0", 18};  // exposure time: at 80
  block += kExposure;
  return {block.begin(), block.end()};
}

Image letters() {
  Image image(3, 2, {1, 8});
  for (int i = 0; i < 6; ++i) image.set_sample(i % 3, i / 3, 0, "abcdef"[i]);
  return image;
}

std::string text_in(const Image& image) {
  std::string text;
  for (int y = 0; y < image.height(); ++y) {
    for (int x = 0; x < image.width(); ++x) text += static_cast<char>(image.sample(x, y, 0));
    text += '/';
  }
  return text;
}

TEST(Metadata, PicturesAreTurnedUprightFromEveryOrientation) {
  // As the standard describes them: what the first row and the first column of the file are to the viewer.
  const char* const upright[] = {"abc/def/",  "cba/fed/",  "fed/cba/",  "def/abc/",
                                 "ad/be/cf/", "da/eb/fc/", "fc/eb/da/", "cf/be/ad/"};
  for (const char* name : {"a.png", "a.tif"}) {
    for (int orientation = 1; orientation <= 8; ++orientation) {
      SCOPED_TRACE(std::string(name) + " " + std::to_string(orientation));
      const ScratchFolder folder;
      Image image = letters();
      image.metadata.orientation = orientation;
      write_image(folder / name, image);
      EXPECT_EQ(text_in(read_image(folder / name)), upright[orientation - 1]);
      EXPECT_EQ(text_in(read_image(folder / name, false)), upright[0]);
      EXPECT_EQ(read_image(folder / name, false).metadata.orientation, orientation);

      const std::string out = display(folder / "out.png");
      ASSERT_EQ(run_tool({"resize", display(folder / name), out, "--scale", "1"}).status, 0);
      EXPECT_EQ(text_in(read_image(out, false)), upright[orientation - 1]);
      EXPECT_EQ(read_image(out).metadata.orientation, 1);
      ASSERT_EQ(run_tool({"resize", display(folder / name), out, "--scale", "1", "--no-auto-orient"}).status,
                0);
      EXPECT_EQ(text_in(read_image(out)), upright[orientation - 1]);
    }
  }
}

bool holds(const std::vector<std::uint8_t>& block, std::string_view bytes) {
  return std::string_view(reinterpret_cast<const char*>(block.data()), block.size()).find(bytes) !=
         std::string_view::npos;
}

TEST(Metadata, ExifXmpAndProfileGoThroughAllFormats) {
  const std::string xmp =
      "<x:xmpmeta><a tiff:Orientation=\"6\"/><tiff:Orientation>6</tiff:Orientation></x:xmpmeta>";
  const std::vector<std::uint8_t> profile(70000, 'p');  // no reader of profiles would have it
  for (const char* from : {"a.png", "a.jpg", "a.tif"}) {
    for (const char* to : {"out.png", "out.jpg", "out.tif"}) {
      SCOPED_TRACE(std::string(from) + " to " + to);
      const ScratchFolder folder;
      Image image = textured(40, 30, {3, 8});
      image.metadata.exif = exif_block(6);
      image.metadata.orientation = 6;
      image.metadata.xmp = xmp;
      image.metadata.icc_profile = profile;
      write_image(folder / from, image);
      const ToolRun info = run_tool({"info", display(folder / from)});
      EXPECT_NE(info.out.find("30x40"), std::string::npos) << info.out;
      EXPECT_NE(info.out.find("orientation 6"), std::string::npos) << info.out;

      const std::string out = display(folder / to);
      ASSERT_EQ(run_tool({"resize", display(folder / from), out, "--scale", "50%"}).status, 0);
      const Image kept = read_image(folder / to, false);
      EXPECT_EQ(kept.width(), 15);
      EXPECT_EQ(kept.metadata.orientation, 1);
      EXPECT_TRUE(holds(kept.metadata.exif, kCamera));
      const std::string_view little("\1\0\0\0\xfa\0\0\0", 8);
      EXPECT_TRUE(holds(kept.metadata.exif, kExposure) || holds(kept.metadata.exif, little));
      EXPECT_EQ(kept.metadata.icc_profile, profile);
      EXPECT_EQ(kept.metadata.xmp.size(), xmp.size());
      EXPECT_EQ(kept.metadata.xmp.find('6'), std::string::npos) << kept.metadata.xmp;

      ASSERT_EQ(
          run_tool({"resize", display(folder / from), out, "--scale", "50%", "--metadata", "icc"}).status, 0);
      EXPECT_TRUE(read_image(folder / to).metadata.exif.empty());
      EXPECT_TRUE(read_image(folder / to).metadata.xmp.empty());
      EXPECT_EQ(read_image(folder / to).metadata.icc_profile, profile);
      ASSERT_EQ(
          run_tool({"resize", display(folder / from), out, "--scale", "50%", "--metadata", "strip"}).status,
          0);
      EXPECT_TRUE(read_image(folder / to).metadata.icc_profile.empty());
    }
  }
}

TEST(Metadata, DamagedExifDoesNoHarm) {
  const std::vector<std::uint8_t> whole = exif_block(6);
  for (std::size_t length = 0; length <= whole.size(); ++length) {
    const ScratchFolder folder;
    Image image = letters();
    image.metadata.exif.assign(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
    for (std::size_t flip = 0; flip < 2; ++flip) {
      if (flip == 1 && length > 0) image.metadata.exif[length - 1] ^= 0xff;
      for (const char* name : {"a.png", "a.jpg", "a.tif"}) {
        write_image(folder / name, image);
        EXPECT_EQ(read_image(folder / name, false).width(), 3);
      }
    }
  }
}

}  // namespace
}  // namespace kyv::host::test
