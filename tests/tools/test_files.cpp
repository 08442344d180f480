#include "test_files.h"

#include <atomic>
#include <cstring>
#include <fstream>
#include <iterator>
#include <random>

#include "platform.h"

namespace kyv::host::test {

ScratchFolder::ScratchFolder() {
  static std::atomic<int> number{0};
  path_ = std::filesystem::temp_directory_path() /
          ("kyvmath-test-" + std::to_string(platform::process_id()) + "-" + std::to_string(number++));
  std::filesystem::create_directories(path_);
}

ScratchFolder::~ScratchFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::size_t ScratchFolder::file_count() const {
  const std::filesystem::directory_iterator files(path_);
  return static_cast<std::size_t>(std::distance(begin(files), end(files)));
}

std::string text_of(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

void write_bytes(const std::filesystem::path& file, const std::string& bytes) {
  std::ofstream(file, std::ios::binary) << bytes;
}

Image textured(int width, int height, PixelFormat format) {
  std::mt19937 random(1);
  Image image(width, height, format);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      for (int c = 0; c < format.channels; ++c) {
        const double slope = static_cast<double>(c % 2 == 0 ? x : y) / (width + height);
        const double noise = static_cast<double>(random() % 1024) / 1024;
        image.set_sample(x, y, c, static_cast<int>((0.6 * slope + 0.4 * noise) * format.max_sample()));
      }
    }
  }
  return image;
}

bool same_pixels(const Image& a, const Image& b) {
  return a.width() == b.width() && a.height() == b.height() && a.format() == b.format() &&
         std::memcmp(a.row(0), b.row(0), a.bytes()) == 0;
}

}  // namespace kyv::host::test
