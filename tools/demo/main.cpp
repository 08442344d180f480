#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "contact_sheet.h"
#include "error.h"
#include "image_io.h"
#include "scenes.h"

namespace kyv::samples {
namespace {

constexpr const char* kUsage =
    "usage: kyvmath-samples draw FONT.ttf FOLDER\n"
    "       kyvmath-samples view PICTURE OUT.png [TIMES]\n"
    "       kyvmath-samples sheet FONT.ttf OUT.png TITLE COLUMNS (PICTURE LABEL)...\n"
    "\n"
    "draw   draws the sample pictures into the folder\n"
    "view   makes a copy in 8 bits for a page, every pixel repeated TIMES each way\n"
    "sheet  puts labelled pictures side by side; a PICTURE of - leaves its place empty\n";

void draw_samples(const Font& font, const std::filesystem::path& folder) {
  std::filesystem::create_directories(folder);
  const auto save = [&](const Canvas& canvas, host::PixelFormat format, const std::string& name) {
    host::write_image(folder / name, canvas.image(format));
    std::printf("drew %s  %dx%d  %s\n", (folder / name).string().c_str(), canvas.width(), canvas.height(),
                host::describe(format).c_str());
  };
  save(test_chart(font, 2), {3, 8}, "chart.png");
  save(badge(48), {4, 8}, "badge.png");
  save(star(64), {1, 16}, "star-psf.tif");
  save(star_field(480, 360), {3, 8}, "star-field.png");
}

host::Image view(const host::Image& picture, int times) {
  const host::PixelFormat format{picture.format().channels, 8};
  const int max = picture.format().max_sample();
  host::Image result(picture.width() * times, picture.height() * times, format);
  result.metadata.icc_profile = picture.metadata.icc_profile;
  for (int y = 0; y < result.height(); ++y) {
    for (int x = 0; x < result.width(); ++x) {
      for (int c = 0; c < format.channels; ++c) {
        result.set_sample(x, y, c, (picture.sample(x / times, y / times, c) * 255 + max / 2) / max);
      }
    }
  }
  return result;
}

int run(const std::vector<std::string>& arguments) {
  if (arguments.size() == 3 && arguments[0] == "draw") {
    draw_samples(Font(arguments[1]), arguments[2]);
    return 0;
  }
  if ((arguments.size() == 3 || arguments.size() == 4) && arguments[0] == "view") {
    const int times = arguments.size() == 4 ? std::clamp(std::stoi(arguments[3]), 1, 64) : 1;
    host::write_image(arguments[2], view(host::read_image(arguments[1]), times));
    return 0;
  }
  if (arguments.size() >= 7 && arguments.size() % 2 == 1 && arguments[0] == "sheet") {
    std::vector<Entry> entries;
    for (std::size_t i = 5; i < arguments.size(); i += 2) {
      const bool is_empty = arguments[i] == "-";
      entries.push_back({is_empty ? host::Image() : host::read_image(arguments[i]), arguments[i + 1]});
    }
    const Canvas sheet = contact_sheet(Font(arguments[1]), arguments[3], std::stoi(arguments[4]), entries);
    host::write_image(arguments[2], sheet.image({3, 8}));
    return 0;
  }
  std::fputs(kUsage, stderr);
  return 2;
}

}  // namespace
}  // namespace kyv::samples

int main(int argc, char** argv) {
  try {
    return kyv::samples::run({argv + 1, argv + argc});
  } catch (const std::exception& error) {
    std::fprintf(stderr, "kyvmath-samples: %s\n", error.what());
    return 1;
  }
}
