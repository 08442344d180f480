#include "psf.h"

#include <cmath>
#include <numbers>
#include <numeric>

#include "error.h"

namespace kyv::host::psf {
namespace {

constexpr double kFirstZeroOfJ1 = 3.8317059702075125;

ComplexPlanes empty(std::optional<Size> size, double reach) {
  const int side = 2 * static_cast<int>(std::ceil(reach)) + 1;
  const Size chosen = size.value_or(Size{side, side});
  return {chosen.width, chosen.height, 1};
}

// Fills the plane with the mean of density(x, y), x and y from the centre in pixels, over n x n points of
// each pixel.
template <typename Density>
void integrate(ComplexPlanes& psf, int n, Density density) {
  for (int y = 0; y < psf.height; ++y) {
    for (int x = 0; x < psf.width; ++x) {
      double sum = 0;
      for (int j = 0; j < n; ++j) {
        for (int i = 0; i < n; ++i) {
          sum += density(x - psf.width / 2 + (i + 0.5) / n - 0.5, y - psf.height / 2 + (j + 0.5) / n - 0.5);
        }
      }
      psf.real[psf.index(x, y, 0)] = sum;
    }
  }
  normalise(psf);
}

}  // namespace

void normalise(ComplexPlanes& psf) {
  for (int p = 0; p < psf.planes; ++p) {
    const auto first = psf.real.begin() + static_cast<std::ptrdiff_t>(psf.index(0, 0, p));
    const auto last = first + static_cast<std::ptrdiff_t>(psf.plane_size());
    const double sum = std::accumulate(first, last, 0.0);
    if (!(sum > 0) || !std::isfinite(sum))
      throw Error("the point-spread function sums to nothing: it is black");
    for (auto it = first; it != last; ++it) *it /= sum;
  }
}

ComplexPlanes gaussian(double sigma, std::optional<Size> size) {
  ComplexPlanes psf = empty(size, 4 * sigma);
  const auto weight = [sigma](int offset) {
    const double unit = 1 / (sigma * std::numbers::sqrt2);
    return std::erf((offset + 0.5) * unit) - std::erf((offset - 0.5) * unit);
  };
  for (int y = 0; y < psf.height; ++y) {
    const double row = weight(y - psf.height / 2);
    for (int x = 0; x < psf.width; ++x) psf.real[psf.index(x, y, 0)] = row * weight(x - psf.width / 2);
  }
  normalise(psf);
  return psf;
}

ComplexPlanes disk(double radius, std::optional<Size> size) {
  constexpr int kPointsPerSide = 16;
  ComplexPlanes psf = empty(size, radius + 0.5);
  integrate(psf, kPointsPerSide,
            [=](double x, double y) { return x * x + y * y <= radius * radius ? 1.0 : 0.0; });
  return psf;
}

ComplexPlanes motion(double length, double angle, std::optional<Size> size) {
  constexpr int kPointsPerPixel = 64;
  ComplexPlanes psf = empty(size, length / 2 + 1);
  const double radians = angle * std::numbers::pi / 180;
  const int points = static_cast<int>(std::ceil(length * kPointsPerPixel));
  // Each point of the path is shared among the four pixels around it in proportion to its nearness.
  for (int i = 0; i < points; ++i) {
    const double along = ((i + 0.5) / points - 0.5) * length;
    const double px = psf.width / 2 + along * std::cos(radians);
    const double py = psf.height / 2 - along * std::sin(radians);
    const int x0 = static_cast<int>(std::floor(px));
    const int y0 = static_cast<int>(std::floor(py));
    for (const int y : {y0, y0 + 1}) {
      for (const int x : {x0, x0 + 1}) {
        if (x < 0 || y < 0 || x >= psf.width || y >= psf.height) continue;
        psf.real[psf.index(x, y, 0)] += (1 - std::abs(px - x)) * (1 - std::abs(py - y));
      }
    }
  }
  normalise(psf);
  return psf;
}

ComplexPlanes airy(double radius, std::optional<Size> size) {
  constexpr int kPointsPerSide = 4;
  ComplexPlanes psf = empty(size, 8 * radius);
  integrate(psf, kPointsPerSide, [=](double x, double y) {
    const double v = kFirstZeroOfJ1 * std::hypot(x, y) / radius;
    if (v < 1e-6) return 1.0;
    const double amplitude = 2 * std::cyl_bessel_j(1.0, v) / v;
    return amplitude * amplitude;
  });
  return psf;
}

}  // namespace kyv::host::psf
