#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "planes.h"

namespace kyv::host {

// The modulation transfer function over the spatial frequency: |OTF| / |OTF(0)|, averaged over rings of the
// width 1/max(width, height).
struct Mtf {
  std::vector<double> frequency;            // cycles per pixel, from 0 to 0.5
  std::vector<std::vector<double>> planes;  // one curve per plane
};

// The OTF has its origin at element (0, 0).
Mtf radial_mtf(const ComplexPlanes& otf);

// The lowest frequency at which the curve falls to `level`, interpolated; nothing when it never does.
std::optional<double> frequency_at(const std::vector<double>& frequency, const std::vector<double>& curve,
                                   double level);

// |OTF| on a logarithmic scale as an 8-bit picture, the origin in the middle: white is the largest value of
// the plane, black a hundred-thousandth of it or less.
Image magnitude_picture(const ComplexPlanes& otf);

// Draws the curves as an SVG file. Throws Error.
void write_mtf_plot(const std::filesystem::path& file, const Mtf& mtf, const std::string& title);

}  // namespace kyv::host
