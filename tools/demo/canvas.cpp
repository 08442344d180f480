#include "canvas.h"

#include <algorithm>
#include <cmath>

namespace kyv::samples {

Canvas::Canvas(int width, int height, Colour background)
    : width_(width),
      height_(height),
      pixels_(static_cast<std::size_t>(width) * static_cast<std::size_t>(height), background) {}

void Canvas::mix(int x, int y, const Colour& colour, double weight) {
  if (x < 0 || y < 0 || x >= width_ || y >= height_) return;
  Colour& pixel = at(x, y);
  const double share = std::clamp(weight, 0.0, 1.0) * colour[3];
  for (std::size_t c = 0; c < 3; ++c) pixel[c] += share * (colour[c] - pixel[c]);
  pixel[3] += share * (1 - pixel[3]);
}

void Canvas::fill_rectangle(int x, int y, int width, int height, const Colour& colour) {
  for (int row = y; row < y + height; ++row) {
    for (int column = x; column < x + width; ++column) mix(column, row, colour, 1);
  }
}

void Canvas::fill_disk(double x, double y, double radius, const Colour& colour) {
  stroke(x, y, x, y, 2 * radius, colour);
}

void Canvas::stroke(double x0, double y0, double x1, double y1, double thickness, const Colour& colour) {
  const double half = thickness / 2;
  const double dx = x1 - x0;
  const double dy = y1 - y0;
  const double length_squared = dx * dx + dy * dy;
  const int top = static_cast<int>(std::floor(std::min(y0, y1) - half - 1));
  const int bottom = static_cast<int>(std::ceil(std::max(y0, y1) + half + 1));
  const int left = static_cast<int>(std::floor(std::min(x0, x1) - half - 1));
  const int right = static_cast<int>(std::ceil(std::max(x0, x1) + half + 1));
  for (int y = top; y <= bottom; ++y) {
    for (int x = left; x <= right; ++x) {
      const double px = x + 0.5 - x0;
      const double py = y + 0.5 - y0;
      const double along =
          length_squared > 0 ? std::clamp((px * dx + py * dy) / length_squared, 0.0, 1.0) : 0;
      mix(x, y, colour, half + 0.5 - std::hypot(px - along * dx, py - along * dy));
    }
  }
}

void Canvas::paste(const host::Image& image, int x, int y) {
  const double largest = image.format().max_sample();
  for (int row = 0; row < image.height() && y + row < height_; ++row) {
    for (int column = 0; column < image.width() && x + column < width_; ++column) {
      Colour& pixel = at(x + column, y + row);
      for (int c = 0; c < 3; ++c) {
        const int channel = image.format().channels == 1 ? 0 : c;
        pixel[static_cast<std::size_t>(c)] = image.sample(column, row, channel) / largest;
      }
      pixel[3] = 1;
    }
  }
}

host::Image Canvas::image(host::PixelFormat format) const {
  host::Image result(width_, height_, format);
  for (int y = 0; y < height_; ++y) {
    for (int x = 0; x < width_; ++x) {
      for (int c = 0; c < format.channels; ++c) {
        const double value = at(x, y)[format.channels == 1 ? 1 : static_cast<std::size_t>(c)];
        result.set_sample(x, y, c,
                          static_cast<int>(std::lround(std::clamp(value, 0.0, 1.0) * format.max_sample())));
      }
    }
  }
  return result;
}

}  // namespace kyv::samples
