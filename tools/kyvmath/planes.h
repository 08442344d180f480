#pragma once

#include <cstddef>
#include <vector>

#include "image.h"

namespace kyv::host {

// `planes` pictures of width x height complex values, row after row, real and imaginary parts apart: what the
// conversions take.
struct ComplexPlanes {
  int width = 0;
  int height = 0;
  int planes = 0;
  std::vector<double> real;
  std::vector<double> imag;

  ComplexPlanes() = default;
  // All zero. Throws Error when memory does not suffice.
  ComplexPlanes(int plane_width, int plane_height, int plane_count);

  std::size_t plane_size() const {
    return static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
  }
  std::size_t index(int x, int y, int plane) const {
    return static_cast<std::size_t>(plane) * plane_size() +
           static_cast<std::size_t>(y) * static_cast<std::size_t>(width) + static_cast<std::size_t>(x);
  }
};

// The colour channels as real planes, alpha left out; samples as they are.
ComplexPlanes planes_from(const Image& image);

// Real parts as a 16-bit picture, negative values as 0, the largest value of all planes as 65535. One plane
// becomes grey, three become RGB; throws Error for other counts.
Image image_from(const ComplexPlanes& planes);

// Moves every plane round its edges so that element (from_x, from_y) comes to (to_x, to_y).
void roll(ComplexPlanes& planes, int from_x, int from_y, int to_x, int to_y);

}  // namespace kyv::host
