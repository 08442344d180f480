#pragma once

#include <array>
#include <filesystem>
#include <string>
#include <vector>

#include "image.h"

namespace kyv::samples {

using Colour = std::array<double, 4>;  // red, green, blue, alpha; 0 to 1

// A picture of RGBA values that is drawn on in real numbers and stored in 8 or 16 bits.
class Canvas {
 public:
  Canvas(int width, int height, Colour background);

  int width() const { return width_; }
  int height() const { return height_; }
  Colour& at(int x, int y) {
    return pixels_[static_cast<std::size_t>(y) * static_cast<std::size_t>(width_) +
                   static_cast<std::size_t>(x)];
  }
  const Colour& at(int x, int y) const { return const_cast<Canvas*>(this)->at(x, y); }

  // Mixes the colour in with this weight, 0 to 1; positions outside are skipped.
  void mix(int x, int y, const Colour& colour, double weight);
  void fill_rectangle(int x, int y, int width, int height, const Colour& colour);
  // An anti-aliased disk.
  void fill_disk(double x, double y, double radius, const Colour& colour);
  // An anti-aliased straight stroke with round ends.
  void stroke(double x0, double y0, double x1, double y1, double thickness, const Colour& colour);
  // Copies a picture, its samples as they are, with the top left corner at (x, y).
  void paste(const host::Image& image, int x, int y);

  // Rounds to nearest. One channel takes the green values, three drop alpha.
  host::Image image(host::PixelFormat format) const;

 private:
  int width_;
  int height_;
  std::vector<Colour> pixels_;
};

// Text in an outline font of the system.
class Font {
 public:
  // Throws host::Error when no file is there or it is no font.
  explicit Font(const std::filesystem::path& file);

  // (x, y) is the left end of the base line; size is the height from ascent to descent in pixels.
  void draw(Canvas& canvas, double x, double y, double size, const std::string& ascii,
            const Colour& colour) const;
  double width(double size, const std::string& ascii) const;

 private:
  std::vector<unsigned char> data_;
};

}  // namespace kyv::samples
