#include "image.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "error.h"

namespace kyv::host {
namespace {

// Replaces the colour of every RGBA pixel by change(colour, alpha).
template <typename Sample, typename Change>
void change_colour(Image& image, Change change) {
  for (int y = 0; y < image.height(); ++y) {
    auto* p = reinterpret_cast<Sample*>(image.row(y));
    for (int x = 0; x < image.width(); ++x, p += 4) {
      for (int c = 0; c < 3; ++c) p[c] = static_cast<Sample>(change(unsigned{p[c]}, unsigned{p[3]}));
    }
  }
}

template <typename Change>
void change_colour(Image& image, Change change) {
  image.format().bits == 8 ? change_colour<std::uint8_t>(image, change)
                           : change_colour<std::uint16_t>(image, change);
}

}  // namespace

std::string describe(PixelFormat format) {
  const char* colour = format.channels == 1 ? "grey" : format.channels == 3 ? "RGB" : "RGBA";
  return std::to_string(format.bits) + "-bit " + colour;
}

Image::Image(int width, int height, PixelFormat format) : width_(width), height_(height), format_(format) {
  const std::string size = std::to_string(width) + "x" + std::to_string(height) + " pixels";
  const auto pixel_bytes = static_cast<std::int64_t>(format.pixel_bytes());
  if (width <= 0 || height <= 0) throw Error("a picture of " + size + " has no pixels");
  if (width * pixel_bytes > std::numeric_limits<std::int32_t>::max()) {
    throw Error(size + " are too many: a row may hold 2 GiB at most");
  }
  const std::uint64_t total =
      static_cast<std::uint64_t>(width * pixel_bytes) * static_cast<std::uint64_t>(height);
  if (total <= std::numeric_limits<std::size_t>::max() / 2) {
    data_.reset(static_cast<std::uint8_t*>(std::malloc(static_cast<std::size_t>(total))));
  }
  if (!data_) {
    throw Error("not enough memory for " + size + " (" + std::to_string((total >> 20) + 1) +
                " MiB); fewer --jobs or the 64-bit program may help");
  }
}

int Image::sample(int x, int y, int channel) const {
  const std::size_t i = static_cast<std::size_t>(x) * static_cast<std::size_t>(format_.channels) +
                        static_cast<std::size_t>(channel);
  return format_.bits == 8 ? row(y)[i] : row16(y)[i];
}

void Image::set_sample(int x, int y, int channel, int value) {
  const std::size_t i = static_cast<std::size_t>(x) * static_cast<std::size_t>(format_.channels) +
                        static_cast<std::size_t>(channel);
  if (format_.bits == 8) {
    row(y)[i] = static_cast<std::uint8_t>(value);
  } else {
    row16(y)[i] = static_cast<std::uint16_t>(value);
  }
}

Image Image::copy() const {
  Image result(width_, height_, format_);
  std::memcpy(result.data_.get(), data_.get(), bytes());
  result.metadata = metadata;
  return result;
}

void premultiply(Image& image) {
  const auto max = static_cast<unsigned>(image.format().max_sample());
  change_colour(image, [max](unsigned colour, unsigned alpha) { return (colour * alpha + max / 2) / max; });
}

void unpremultiply(Image& image) {
  const auto max = static_cast<unsigned>(image.format().max_sample());
  change_colour(image, [max](unsigned colour, unsigned alpha) {
    return alpha == 0 ? 0 : std::min((colour * max + alpha / 2) / alpha, max);
  });
}

}  // namespace kyv::host
