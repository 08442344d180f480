#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "file_builder.h"
#include "image_io.h"
#include "run_tool.h"
#include "test_files.h"

namespace kyv::host::test {
namespace {

struct Broken {
  std::string name;
  std::string bytes;
  std::string message;  // part of the line that the tool prints; empty when any will do
};

std::string encoded(const std::string& name, PixelFormat format) {
  const ScratchFolder folder;
  write_image(folder / name, textured(64, 64, format));
  return text_of(folder / name);
}

std::vector<Broken> broken_files() {
  const std::string png = encoded("a.png", {3, 8});
  const std::string jpeg = encoded("a.jpg", {3, 8});
  const std::string tiff = encoded("a.tif", {3, 16});
  const auto half = [](const std::string& bytes) { return bytes.substr(0, bytes.size() / 2); };
  const auto flipped = [](std::string bytes) {
    for (std::size_t i = bytes.size() / 2; i < bytes.size() / 2 + 8; ++i)
      bytes[i] = static_cast<char>(~bytes[i]);
    return bytes;
  };
  return {
      {"empty.png", "", "empty"},
      {"text.jpg", "this is no picture", "not a PNG, JPEG or TIFF"},
      {"half.png", half(png), "damaged PNG"},
      {"half.tif", half(tiff), "TIFF"},
      {"signature.png", png.substr(0, 8), "damaged PNG"},
      {"signature.jpg", jpeg.substr(0, 3), "damaged JPEG"},
      {"signature.tif", tiff.substr(0, 8), "TIFF"},
      {"flipped.png", flipped(png), ""},
      {"huge.png", make_png({.width = 0x7fffffff, .height = 0x7fffffff, .colour_type = 6, .rows = "abc"}),
       ""},
      {"large.png", make_png({.width = 60000, .height = 60000, .colour_type = 6, .rows = "abc"}), ""},
      {"huge.tif", make_tiff({.width = 0x7fffffff, .height = 0x7fffffff, .data = "abcd"}), ""},
      {"none.tif", make_tiff({.width = 0, .height = 5, .data = "abcd"}), ""},
      {"float.tif", make_tiff({.width = 1, .height = 1, .bits = 32, .sample_format = 3, .data = "abcd"}), ""},
      {"five.tif", make_tiff({.width = 1, .height = 1, .samples = 5, .photometric = 2, .data = "abcde"}), ""},
      {"half.jpg", half(jpeg), "damaged JPEG"},
      {"cmyk.tif", make_tiff({.width = 1, .height = 1, .samples = 4, .photometric = 5, .data = "abcd"}),
       "CMYK"},
  };
}

// Lines that the tool wrote: the address sanitizer adds its own about an allocation beyond all memory.
int own_lines(const std::string& text) {
  std::istringstream lines(text);
  int count = 0;
  for (std::string line; std::getline(lines, line);) {
    if (line.find("WARNING: AddressSanitizer") == std::string::npos) ++count;
  }
  return count;
}

TEST(BrokenFiles, EachGetsOneLineAndLeavesNothingBehind) {
  for (const Broken& broken : broken_files()) {
    SCOPED_TRACE(broken.name);
    const ScratchFolder folder;
    write_bytes(folder / broken.name, broken.bytes);

    const ToolRun run =
        run_tool({"resize", display(folder / broken.name), display(folder / "out.png"), "--size", "8x8"});

    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(own_lines(run.err), 1) << run.err;
    EXPECT_NE(run.err.find(broken.name), std::string::npos) << run.err;
    EXPECT_NE(run.err.find(broken.message), std::string::npos) << run.err;
    EXPECT_EQ(folder.file_count(), 1u);
  }
}

TEST(BrokenFiles, MissingFilesAndFoldersAreNamed) {
  const ScratchFolder folder;
  const ToolRun missing = run_tool({"info", display(folder / "missing.png")});
  EXPECT_EQ(missing.status, 1);
  EXPECT_NE(missing.err.find("missing.png: no such file"), std::string::npos) << missing.err;
  EXPECT_EQ(run_tool({"info", display(folder.path())}).status, 1);

  write_image(folder / "in.png", textured(8, 8, {1, 8}));
  const ToolRun nowhere = run_tool(
      {"resize", display(folder / "in.png"), display(folder / "no-folder" / "out.png"), "--scale", "2"});
  EXPECT_EQ(nowhere.status, 1);
  EXPECT_NE(nowhere.err.find("folder"), std::string::npos) << nowhere.err;
}

}  // namespace
}  // namespace kyv::host::test
