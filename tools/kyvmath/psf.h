#pragma once

#include <optional>

#include "geometry.h"
#include "planes.h"

// Point-spread functions. A PSF that is made or read has its centre at element (width/2, height/2), rounded
// down, and a sum of 1 in every plane.
namespace kyv::host::psf {

// Each is integrated over the pixels (Gaussian: exactly; disk and Airy pattern: by subsampling). Without a
// size the PSF is square, odd-sided and large enough to hold all but a thousandth or so of its energy.

// exp(-r^2 / (2 sigma^2)); sigma in pixels, above 0.
ComplexPlanes gaussian(double sigma, std::optional<Size> size);
// A defocused lens: uniform within the radius in pixels, above 0.
ComplexPlanes disk(double radius, std::optional<Size> size);
// A straight movement: length in pixels, above 0; angle in degrees, counter-clockwise from the x axis as
// seen.
ComplexPlanes motion(double length, double angle, std::optional<Size> size);
// A perfect circular lens: (2 J1(v)/v)^2 with v = 3.8317 r/radius; radius of the first dark ring in pixels.
ComplexPlanes airy(double radius, std::optional<Size> size);

// Scales every plane to a sum of 1. Throws Error when a plane sums to 0 or less.
void normalise(ComplexPlanes& psf);

}  // namespace kyv::host::psf
