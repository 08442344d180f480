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
    "       kyvmath-samples sheet FONT.ttf OUT.png TITLE COLUMNS (PICTURE LABEL)...\n"
    "\n"
    "draw   draws the sample pictures into the folder\n"
    "sheet  puts labelled pictures side by side\n";

void draw_samples(const Font& font, const std::filesystem::path& folder) {
  std::filesystem::create_directories(folder);
  const auto save = [&](const Canvas& canvas, host::PixelFormat format, const std::string& name) {
    host::write_image(folder / name, canvas.image(format));
    std::printf("drew %s  %dx%d  %s\n", (folder / name).string().c_str(), canvas.width(), canvas.height(),
                host::describe(format).c_str());
  };
  const Canvas large = scene(font, 2);
  save(large, {3, 8}, "scene-8.png");
  save(large, {3, 16}, "scene-16.tif");
  save(scene(font, 1), {3, 8}, "scene-small.png");
  save(zone_plate(256), {1, 16}, "zone-plate-16.tif");
  save(badge(96), {4, 8}, "badge.png");
  save(star(64), {3, 16}, "star-psf.tif");
  save(star_field(480, 360), {3, 16}, "star-field.tif");
}

int run(const std::vector<std::string>& arguments) {
  if (arguments.size() == 3 && arguments[0] == "draw") {
    draw_samples(Font(arguments[1]), arguments[2]);
    return 0;
  }
  if (arguments.size() >= 7 && arguments.size() % 2 == 1 && arguments[0] == "sheet") {
    std::vector<Entry> entries;
    for (std::size_t i = 5; i < arguments.size(); i += 2) {
      entries.push_back({host::read_image(arguments[i]), arguments[i + 1]});
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
