#pragma once

#include <cstdint>
#include <string>
#include <vector>

// Small PNG and TIFF files, byte by byte, of the kinds that our own writer never makes.
namespace kyv::host::test {

struct PngSpec {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  int depth = 8;
  int colour_type = 0;            // 0 grey, 2 RGB, 3 palette, 4 grey and alpha, 6 RGBA
  bool interlaced = false;        // Adam7; whole bytes per pixel only
  std::string rows = {};          // packed rows without filter bytes
  std::string palette = {};       // PLTE contents
  std::string transparency = {};  // tRNS contents
};
std::string make_png(const PngSpec& spec);

struct TiffSpec {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  std::uint16_t samples = 1;
  std::uint16_t bits = 8;
  std::uint16_t photometric = 1;    // 0 white is zero, 1 black is zero, 2 RGB, 3 palette, 5 CMYK
  std::uint16_t planar = 1;         // 2: one plane after the other
  std::uint16_t sample_format = 1;  // 3: floating point
  std::uint16_t extra_sample = 0;   // 0: no such tag; 1 premultiplied alpha, 2 plain alpha
  std::uint32_t tile = 0;           // side of the tiles; 0: one strip per plane
  std::vector<std::uint16_t> palette = {};
  std::string data = {};  // strips or tiles, one after the other, uncompressed, little-endian
};
std::string make_tiff(const TiffSpec& spec);

}  // namespace kyv::host::test
