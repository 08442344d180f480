#pragma once

#include <filesystem>
#include <string>

#include "image.h"

namespace kyv::host::test {

// Wine 8 writes no 16-bit grey TIFF files.
#ifdef _WIN32
inline constexpr bool kWritesDeepGrey = false;
#else
inline constexpr bool kWritesDeepGrey = true;
#endif

// A new folder that goes with everything in it.
class ScratchFolder {
 public:
  ScratchFolder();
  ~ScratchFolder();
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  std::filesystem::path operator/(const std::string& name) const { return path_ / name; }
  const std::filesystem::path& path() const { return path_; }
  std::size_t file_count() const;

 private:
  std::filesystem::path path_;
};

std::string text_of(const std::filesystem::path& file);
void write_bytes(const std::filesystem::path& file, const std::string& bytes);

// Noise over a slope, different in every channel; the same on every run.
Image textured(int width, int height, PixelFormat format);

bool same_pixels(const Image& a, const Image& b);

}  // namespace kyv::host::test
