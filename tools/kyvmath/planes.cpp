#include "planes.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <string>

#include "error.h"

namespace kyv::host {
namespace {

void roll_plane(double* plane, std::vector<double>& scratch, int width, int height, int shift_x,
                int shift_y) {
  const auto row = [width](auto* base, int y) { return base + static_cast<std::ptrdiff_t>(y) * width; };
  for (int y = 0; y < height; ++y) {
    const double* source = row(plane, y);
    double* destination = row(scratch.data(), (y + shift_y) % height);
    std::copy(source, source + width - shift_x, destination + shift_x);
    std::copy(source + width - shift_x, source + width, destination);
  }
  std::copy(scratch.begin(), scratch.end(), plane);
}

int positive_remainder(int value, int modulus) { return (value % modulus + modulus) % modulus; }

}  // namespace

ComplexPlanes::ComplexPlanes(int plane_width, int plane_height, int plane_count)
    : width(plane_width), height(plane_height), planes(plane_count) {
  const std::size_t count = plane_size() * static_cast<std::size_t>(planes);
  try {
    real.resize(count);
    imag.resize(count);
  } catch (const std::exception&) {
    throw Error("not enough memory for " + std::to_string(planes) + " complex planes of " +
                std::to_string(width) + "x" + std::to_string(height) + " values (" +
                std::to_string((count * 16 >> 20) + 1) + " MiB)");
  }
}

ComplexPlanes planes_from(const Image& image) {
  const int channels = std::min(image.format().channels, 3);
  ComplexPlanes planes(image.width(), image.height(), channels);
  for (int c = 0; c < channels; ++c) {
    for (int y = 0; y < image.height(); ++y) {
      double* row = &planes.real[planes.index(0, y, c)];
      for (int x = 0; x < image.width(); ++x) row[x] = image.sample(x, y, c);
    }
  }
  return planes;
}

Image image_from(const ComplexPlanes& planes) {
  if (planes.planes != 1 && planes.planes != 3) {
    throw Error(std::to_string(planes.planes) + " planes do not make a picture; write .npy");
  }
  const double peak = *std::ranges::max_element(planes.real);
  const double scale = peak > 0 ? 65535 / peak : 0;
  Image image(planes.width, planes.height, {planes.planes, 16});
  for (int c = 0; c < planes.planes; ++c) {
    for (int y = 0; y < planes.height; ++y) {
      const double* row = &planes.real[planes.index(0, y, c)];
      for (int x = 0; x < planes.width; ++x) {
        image.set_sample(x, y, c, static_cast<int>(std::lround(std::max(row[x], 0.0) * scale)));
      }
    }
  }
  return image;
}

void roll(ComplexPlanes& planes, int from_x, int from_y, int to_x, int to_y) {
  const int shift_x = positive_remainder(to_x - from_x, planes.width);
  const int shift_y = positive_remainder(to_y - from_y, planes.height);
  std::vector<double> scratch(planes.plane_size());
  for (int p = 0; p < planes.planes; ++p) {
    for (auto* part : {&planes.real, &planes.imag}) {
      roll_plane(part->data() + planes.index(0, 0, p), scratch, planes.width, planes.height, shift_x,
                 shift_y);
    }
  }
}

}  // namespace kyv::host
