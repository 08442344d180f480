#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>

#include <jpeglib.h>

#include "file_builder.h"
#include "image_io.h"
#include "run_tool.h"
#include "test_files.h"

// Files of every kind, whole and cut off, through every command: each is either read, and its result is
// whole, or gets one line that names it.
namespace kyv::host::test {
namespace {

// Every colour type and depth that PNG has, with a palette, a transparent colour and interlacing where they
// apply.
void write_png_kinds(const ScratchFolder& folder, std::vector<std::string>& files) {
  const struct {
    int colour_type;
    int channels;
    std::vector<int> depths;
  } kinds[] = {
      {0, 1, {1, 2, 4, 8, 16}}, {2, 3, {8, 16}}, {3, 1, {1, 2, 4, 8}}, {4, 2, {8, 16}}, {6, 4, {8, 16}}};
  constexpr int kSide = 11;
  for (const auto& kind : kinds) {
    for (const int depth : kind.depths) {
      for (const bool interlaced : {false, true}) {
        for (const bool transparent : {false, true}) {
          if (interlaced && kind.channels * depth < 8) continue;
          if (transparent && kind.colour_type >= 4) continue;
          const auto row_bytes = static_cast<std::size_t>((kSide * kind.channels * depth + 7) / 8);
          std::string rows;
          for (std::size_t i = 0; i < row_bytes * kSide; ++i) rows += static_cast<char>(i * 73 % 251);
          PngSpec spec{.width = kSide,
                       .height = kSide,
                       .depth = depth,
                       .colour_type = kind.colour_type,
                       .interlaced = interlaced,
                       .rows = rows};
          if (kind.colour_type == 3) spec.palette = std::string(std::size_t{3} << depth, 'p');
          if (transparent)
            spec.transparency =
                std::string(kind.colour_type == 3 ? 1 : 2 * static_cast<std::size_t>(kind.channels), '\0');
          files.push_back(display(folder / ("kind" + std::to_string(files.size()) + ".png")));
          write_bytes(files.back(), make_png(spec));
        }
      }
    }
  }
}

void write_tiff_kinds(const ScratchFolder& folder, std::vector<std::string>& files) {
  const std::string data(4096, 'x');
  const TiffSpec kinds[] = {
      {.width = 9, .height = 7, .bits = 1, .photometric = 0, .data = data},
      {.width = 9, .height = 7, .bits = 4, .data = data},
      {.width = 9, .height = 7, .bits = 16, .data = data},
      {.width = 9, .height = 7, .samples = 3, .photometric = 2, .planar = 2, .data = data},
      {.width = 9, .height = 7, .samples = 3, .bits = 16, .photometric = 2, .data = data},
      {.width = 9, .height = 7, .samples = 4, .photometric = 2, .extra_sample = 1, .data = data},
      {.width = 9, .height = 7, .samples = 4, .photometric = 2, .extra_sample = 2, .data = data},
      {.width = 20, .height = 18, .tile = 16, .data = data},
      {.width = 9, .height = 7, .samples = 4, .photometric = 5, .data = data},
      {.width = 9, .height = 7, .bits = 32, .sample_format = 3, .data = data},
      {.width = 9, .height = 7, .samples = 5, .photometric = 2, .data = data},
      {.width = 9, .height = 7, .bits = 12, .data = data},
  };
  for (const TiffSpec& kind : kinds) {
    files.push_back(display(folder / ("kind" + std::to_string(files.size()) + ".tif")));
    write_bytes(files.back(), make_tiff(kind));
  }
}

// Every colour space that JPEG files come in, those of print among them, plain and progressive.
void write_jpeg_kinds(const ScratchFolder& folder, std::vector<std::string>& files) {
  const struct {
    J_COLOR_SPACE given;
    J_COLOR_SPACE stored;
    int channels;
  } kinds[] = {{JCS_GRAYSCALE, JCS_GRAYSCALE, 1}, {JCS_RGB, JCS_RGB, 3},   {JCS_RGB, JCS_YCbCr, 3},
               {JCS_CMYK, JCS_CMYK, 4},           {JCS_CMYK, JCS_YCCK, 4}, {JCS_UNKNOWN, JCS_UNKNOWN, 2}};
  for (const auto& kind : kinds) {
    for (const bool progressive : {false, true}) {
      files.push_back(display(folder / ("kind" + std::to_string(files.size()) + ".jpg")));
      const std::unique_ptr<FILE, int (*)(FILE*)> file(std::fopen(files.back().c_str(), "wb"), std::fclose);
      jpeg_error_mgr errors;
      jpeg_compress_struct jpeg{};
      jpeg.err = jpeg_std_error(&errors);
      jpeg_create_compress(&jpeg);
      jpeg_stdio_dest(&jpeg, file.get());
      jpeg.image_width = 33;
      jpeg.image_height = 1;
      jpeg.input_components = kind.channels;
      jpeg.in_color_space = kind.given;
      jpeg_set_defaults(&jpeg);
      jpeg_set_colorspace(&jpeg, kind.stored);
      if (progressive) jpeg_simple_progression(&jpeg);
      jpeg_start_compress(&jpeg, TRUE);
      std::vector<JSAMPLE> row(std::size_t{33} * static_cast<std::size_t>(kind.channels), 99);
      JSAMPROW rows[] = {row.data()};
      jpeg_write_scanlines(&jpeg, rows, 1);
      jpeg_finish_compress(&jpeg);
      jpeg_destroy_compress(&jpeg);
    }
  }
}

void write_cut_off_files(const ScratchFolder& folder, std::vector<std::string>& files) {
  for (const char* type : {".png", ".jpg", ".tif"}) {
    const auto whole = folder / (std::string("whole") + type);
    Image image = textured(48, 40, {3, 8});
    image.metadata.xmp = std::string(300, 'x');
    write_image(whole, image);
    const std::string bytes = text_of(whole);
    for (std::size_t percent = 0; percent < 100; ++percent) {
      files.push_back(display(folder / ("cut" + std::to_string(files.size()) + type)));
      write_bytes(files.back(), bytes.substr(0, bytes.size() * percent / 100));
    }
    std::filesystem::remove(whole);
  }
}

TEST(OddFiles, EachIsReadOrNamedInOneLineByEveryCommand) {
  const ScratchFolder folder;
  std::vector<std::string> files;
  write_png_kinds(folder, files);
  write_tiff_kinds(folder, files);
  write_jpeg_kinds(folder, files);
  const std::size_t kinds = files.size();
  write_cut_off_files(folder, files);
  ASSERT_GT(files.size(), 340u);

  for (const std::vector<std::string>& command :
       {std::vector<std::string>{"resize", "--fit", "20", "--linear", "--format", "png"},
        {"resize", "--pad", "13x17", "--depth", "8", "--mode", "cubic", "--format", "jpg"},
        {"blur", "--disk", "2", "--format", "tif"},
        {"deblur", "--gaussian", "1", "--snr", "auto", "--format", "png"}}) {
    SCOPED_TRACE(command[0] + " " + command[1]);
    const ScratchFolder results;
    std::vector<std::string> arguments = command;
    arguments.insert(arguments.end(), {"--json", "--out", display(results.path())});
    arguments.insert(arguments.end(), files.begin(), files.end());
    const ToolRun run = run_tool(arguments);
    EXPECT_EQ(run.status, 1);
    const auto list = nlohmann::json::parse(run.out);
    ASSERT_EQ(list.size(), files.size());
    std::size_t good = 0;
    for (std::size_t i = 0; i < files.size(); ++i) {
      if (!list[i]["ok"]) {
        const std::string error = list[i]["error"];
        EXPECT_NE(error.find(files[i]), std::string::npos) << error;
        continue;
      }
      ++good;
      EXPECT_GT(read_image(list[i]["output"].get<std::string>()).width(), 0);
    }
    EXPECT_EQ(results.file_count(), good) << "something was left half-written";
    EXPECT_EQ(static_cast<std::size_t>(std::ranges::count(run.err, '\n')), files.size() - good) << run.err;
    EXPECT_GE(good, kinds - 12);
  }

  std::vector<std::string> arguments{"info"};
  arguments.insert(arguments.end(), files.begin(), files.end());
  const ToolRun info = run_tool(arguments);
  EXPECT_EQ(info.status, 1);
  EXPECT_EQ(static_cast<std::size_t>(std::ranges::count(info.err + info.out, '\n')), files.size());
  for (std::size_t i = 0; i < files.size(); i += 9) {
    const ToolRun otf = run_tool({"otf", files[i], display(folder / "otf.npy")});
    EXPECT_TRUE(otf.status == 0 || (otf.status == 1 && std::ranges::count(otf.err, '\n') == 1)) << otf.err;
    EXPECT_EQ(std::filesystem::exists(folder / "otf.npy"), otf.status == 0);
    std::filesystem::remove(folder / "otf.npy");
  }
}

}  // namespace
}  // namespace kyv::host::test
