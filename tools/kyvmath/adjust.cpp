#include "adjust.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstring>
#include <utility>

#include "error.h"

namespace kyv::host {
namespace {

using Table = std::vector<std::uint16_t>;

// IEC 61966-2-1, both ways, from [0, 1] to [0, 1].
double linear_from_srgb(double v) { return v <= 0.04045 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4); }
double srgb_from_linear(double v) {
  return v <= 0.0031308 ? 12.92 * v : 1.055 * std::pow(v, 1 / 2.4) - 0.055;
}

Table table_for(int from_max, int to_max, Curve curve) {
  Table table(static_cast<std::size_t>(from_max) + 1);
  for (std::size_t i = 0; i < table.size(); ++i) {
    double value = static_cast<double>(i) / from_max;
    if (curve == Curve::kToLinear) value = linear_from_srgb(value);
    if (curve == Curve::kFromLinear) value = srgb_from_linear(value);
    table[i] = static_cast<std::uint16_t>(std::lround(value * to_max));
  }
  return table;
}

template <typename From, typename To>
void map_samples(const Image& from, const Table& colour, const Table& alpha, Image& to) {
  const bool has_alpha = from.format().channels == 4;
  for (int y = 0; y < from.height(); ++y) {
    const auto* source = reinterpret_cast<const From*>(from.row(y));
    auto* destination = reinterpret_cast<To*>(to.row(y));
    for (std::size_t i = 0; i < from.samples_per_row(); ++i) {
      const Table& table = has_alpha && i % 4 == 3 ? alpha : colour;
      destination[i] = static_cast<To>(table[source[i]]);
    }
  }
}

int hex_digit(char c) {
  int value = -1;
  std::from_chars(&c, &c + 1, value, 16);
  return value;
}

// The channels of the colour as samples of this format.
std::array<int, 4> samples_of(Colour colour, PixelFormat format) {
  const int unit = format.max_sample() / 255;
  if (format.channels == 1) {
    const double luma = 0.299 * colour.red + 0.587 * colour.green + 0.114 * colour.blue;
    return {static_cast<int>(std::lround(luma)) * unit};
  }
  return {colour.red * unit, colour.green * unit, colour.blue * unit, colour.alpha * unit};
}

}  // namespace

Colour parse_colour(const std::string& text, const std::string& option) {
  for (const auto& [name, colour] : std::initializer_list<std::pair<const char*, Colour>>{
           {"white", {}}, {"black", {0, 0, 0}}, {"grey", {128, 128, 128}}, {"transparent", {0, 0, 0, 0}}}) {
    if (text == name) return colour;
  }
  const std::size_t digits = text.size() == 4 ? 1 : 2;
  std::array<int, 4> channels{0, 0, 0, 255};
  bool sound = text.starts_with('#') && (text.size() == 4 || text.size() == 7 || text.size() == 9);
  for (std::size_t i = 1, c = 0; sound && i < text.size(); i += digits, ++c) {
    const int high = hex_digit(text[i]);
    const int low = hex_digit(text[i + digits - 1]);
    sound = high >= 0 && low >= 0;
    channels[c] = 16 * high + low;
  }
  if (!sound) {
    throw UsageError(option + ": '" + text +
                     "' is not a colour; write white, black, grey, transparent or #rrggbb, as in #ff8000");
  }
  return {channels[0], channels[1], channels[2], channels[3]};
}

Image upright(Image image) {
  const int orientation = std::exchange(image.metadata.orientation, 1);
  if (orientation <= 1 || orientation > 8) return image;
  const bool transposed = orientation >= 5;
  const bool from_right = orientation == 2 || orientation == 3 || orientation == 7 || orientation == 8;
  const bool from_bottom = orientation == 3 || orientation == 4 || orientation == 6 || orientation == 7;

  const int width = image.width();
  const int height = image.height();
  Image result(transposed ? height : width, transposed ? width : height, image.format());
  result.metadata = std::move(image.metadata);
  if (transposed) std::swap(result.metadata.dpi_x, result.metadata.dpi_y);
  const std::size_t bytes = image.format().pixel_bytes();
  for (int y = 0; y < result.height(); ++y) {
    for (int x = 0; x < result.width(); ++x) {
      int source_x = transposed ? y : x;
      int source_y = transposed ? x : y;
      if (from_right) source_x = width - 1 - source_x;
      if (from_bottom) source_y = height - 1 - source_y;
      std::memcpy(result.row(y) + static_cast<std::size_t>(x) * bytes,
                  image.row(source_y) + static_cast<std::size_t>(source_x) * bytes, bytes);
    }
  }
  return result;
}

Image converted(const Image& image, int bits, Curve curve) {
  Image result(image.width(), image.height(), {image.format().channels, bits});
  result.metadata = image.metadata;
  const int from_max = image.format().max_sample();
  const int to_max = result.format().max_sample();
  const Table colour = table_for(from_max, to_max, curve);
  const Table alpha = table_for(from_max, to_max, Curve::kNone);
  if (image.format().bits == 8) {
    bits == 8 ? map_samples<std::uint8_t, std::uint8_t>(image, colour, alpha, result)
              : map_samples<std::uint8_t, std::uint16_t>(image, colour, alpha, result);
  } else {
    bits == 8 ? map_samples<std::uint16_t, std::uint8_t>(image, colour, alpha, result)
              : map_samples<std::uint16_t, std::uint16_t>(image, colour, alpha, result);
  }
  return result;
}

Image flattened(Image image, Colour background) {
  if (image.format().channels != 4) return image;
  if (!image.metadata.premultiplied) premultiply(image);
  Image result(image.width(), image.height(), {3, image.format().bits});
  result.metadata = std::move(image.metadata);
  result.metadata.premultiplied = false;
  const int max = image.format().max_sample();
  const auto under = samples_of(background, result.format());
  for (int y = 0; y < image.height(); ++y) {
    for (int x = 0; x < image.width(); ++x) {
      const int alpha = image.sample(x, y, 3);
      for (int c = 0; c < 3; ++c) {
        const auto shown =
            (static_cast<std::int64_t>(under[static_cast<std::size_t>(c)]) * (max - alpha) + max / 2) / max;
        result.set_sample(x, y, c, std::min(max, image.sample(x, y, c) + static_cast<int>(shown)));
      }
    }
  }
  return result;
}

Image on_canvas(const Image& image, int width, int height, int x, int y, Colour background) {
  Image result(width, height, image.format());
  result.metadata = image.metadata;
  const auto samples = samples_of(background, image.format());
  for (int column = 0; column < width; ++column) {
    for (int c = 0; c < image.format().channels; ++c) {
      result.set_sample(column, 0, c, samples[static_cast<std::size_t>(c)]);
    }
  }
  for (int row = 1; row < height; ++row) std::memcpy(result.row(row), result.row(0), result.step());
  const std::size_t offset = static_cast<std::size_t>(x) * image.format().pixel_bytes();
  for (int row = 0; row < image.height(); ++row) {
    std::memcpy(result.row(y + row) + offset, image.row(row), image.step());
  }
  return result;
}

}  // namespace kyv::host
