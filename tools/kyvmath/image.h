#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

namespace kyv::host {

// The sample layouts that the library resamples: 1 (grey), 3 (RGB) or 4 (RGBA) interleaved channels of
// 8 or 16 bits, unsigned, in the machine's byte order.
struct PixelFormat {
  int channels = 1;
  int bits = 8;

  std::size_t pixel_bytes() const {
    return static_cast<std::size_t>(channels) * static_cast<std::size_t>(bits / 8);
  }
  int max_sample() const { return bits == 8 ? 255 : 65535; }
  bool operator==(const PixelFormat&) const = default;
};

// "16-bit RGB"
std::string describe(PixelFormat format);

// What a file says about its picture beyond the pixels.
struct Metadata {
  std::vector<std::uint8_t> icc_profile;
  std::vector<std::uint8_t> exif;  // from its TIFF header on
  std::string xmp;                 // the packet
  // How the picture is to be turned for looking at it: 1 (not at all) to 8, as EXIF and TIFF number them.
  int orientation = 1;
  double dpi_x = 0;  // pixels per inch; 0 when the file does not say
  double dpi_y = 0;
  bool premultiplied = false;  // colour is already multiplied by alpha
};

// A picture in memory: rows from top to bottom, without padding.
class Image {
 public:
  Image() = default;
  // The samples are not initialised. Throws Error when a row exceeds 2^31-1 bytes or memory does not suffice.
  Image(int width, int height, PixelFormat format);

  Image copy() const;

  int width() const { return width_; }
  int height() const { return height_; }
  PixelFormat format() const { return format_; }
  std::size_t step() const { return static_cast<std::size_t>(width_) * format_.pixel_bytes(); }
  std::size_t bytes() const { return step() * static_cast<std::size_t>(height_); }
  std::size_t samples_per_row() const {
    return static_cast<std::size_t>(width_) * static_cast<std::size_t>(format_.channels);
  }

  std::uint8_t* row(int y) { return data_.get() + static_cast<std::size_t>(y) * step(); }
  const std::uint8_t* row(int y) const { return data_.get() + static_cast<std::size_t>(y) * step(); }
  std::uint16_t* row16(int y) { return reinterpret_cast<std::uint16_t*>(row(y)); }
  const std::uint16_t* row16(int y) const { return reinterpret_cast<const std::uint16_t*>(row(y)); }

  int sample(int x, int y, int channel) const;
  void set_sample(int x, int y, int channel, int value);

  Metadata metadata;

 private:
  struct Free {
    void operator()(std::uint8_t* p) const { std::free(p); }
  };

  int width_ = 0;
  int height_ = 0;
  PixelFormat format_;
  std::unique_ptr<std::uint8_t[], Free> data_;
};

// Multiplies the colour of an RGBA picture by its alpha, and divides it out again. Both round to nearest;
// colour under a zero alpha becomes 0.
void premultiply(Image& image);
void unpremultiply(Image& image);

}  // namespace kyv::host
