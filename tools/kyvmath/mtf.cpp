#include "mtf.h"

#include <algorithm>
#include <cmath>

#include "error.h"

namespace kyv::host {
namespace {

// Frequency of transform element k of n, in cycles per sample: from -0.5 to 0.5.
double signed_frequency(int k, int n) { return static_cast<double>(2 * k > n ? k - n : k) / n; }

}  // namespace

Mtf radial_mtf(const ComplexPlanes& otf) {
  const int longest = std::max(otf.width, otf.height);
  const auto rings = static_cast<std::size_t>(longest / 2) + 1;
  Mtf mtf;
  for (std::size_t ring = 0; ring < rings; ++ring) {
    mtf.frequency.push_back(static_cast<double>(ring) / longest);
  }
  for (int p = 0; p < otf.planes; ++p) {
    std::vector<double> sum(rings, 0.0);
    std::vector<double> count(rings, 0.0);
    for (int y = 0; y < otf.height; ++y) {
      for (int x = 0; x < otf.width; ++x) {
        const double f = std::hypot(signed_frequency(x, otf.width), signed_frequency(y, otf.height));
        const auto ring = static_cast<std::size_t>(std::lround(f * longest));
        if (ring >= rings) continue;
        const std::size_t i = otf.index(x, y, p);
        sum[ring] += std::hypot(otf.real[i], otf.imag[i]);
        count[ring] += 1;
      }
    }
    const double origin = sum[0];
    if (!(origin > 0))
      throw Error("the transfer function is 0 at the origin: its curve cannot be normalised");
    for (std::size_t ring = 0; ring < rings; ++ring) {
      sum[ring] = count[ring] > 0 ? sum[ring] / count[ring] / origin : 0;
    }
    mtf.planes.push_back(std::move(sum));
  }
  return mtf;
}

std::optional<double> frequency_at(const std::vector<double>& frequency, const std::vector<double>& curve,
                                   double level) {
  for (std::size_t i = 1; i < curve.size(); ++i) {
    if (curve[i] > level) continue;
    const double part = (curve[i - 1] - level) / (curve[i - 1] - curve[i]);
    return frequency[i - 1] + part * (frequency[i] - frequency[i - 1]);
  }
  return std::nullopt;
}

Image magnitude_picture(const ComplexPlanes& otf) {
  constexpr double kDecades = 5;
  if (otf.planes != 1 && otf.planes != 3) {
    throw Error(std::to_string(otf.planes) + " planes do not make a picture; write .npy");
  }
  Image image(otf.width, otf.height, {otf.planes, 8});
  for (int p = 0; p < otf.planes; ++p) {
    double peak = 0;
    for (std::size_t i = otf.index(0, 0, p); i < otf.index(0, 0, p + 1); ++i) {
      peak = std::max(peak, std::hypot(otf.real[i], otf.imag[i]));
    }
    for (int y = 0; y < otf.height; ++y) {
      for (int x = 0; x < otf.width; ++x) {
        const std::size_t i = otf.index(x, y, p);
        const double magnitude = std::hypot(otf.real[i], otf.imag[i]);
        const double decades_down = magnitude > 0 ? std::log10(peak / magnitude) : kDecades;
        const double light = std::clamp(1 - decades_down / kDecades, 0.0, 1.0);
        image.set_sample((x + otf.width / 2) % otf.width, (y + otf.height / 2) % otf.height, p,
                         static_cast<int>(std::lround(light * 255)));
      }
    }
  }
  return image;
}

}  // namespace kyv::host
