#pragma once

#include "library.h"
#include "planes.h"

namespace kyv::host {

// Filters made from a PSF (see psf.h: centred, sum 1) and applied to the colour channels in the frequency
// domain; alpha is copied. A PSF of one plane serves every channel, one of three planes red, green and blue.
// The picture is continued beyond its edges by mirroring, blended so that opposite edges meet.

// The picture as seen through the PSF: its convolution with it.
Image blur(const Library& library, const Image& image, const ComplexPlanes& psf, Precision precision);

// Undoes the blur by Wiener's filter conj(H) / (|H|^2 + n), scaled to keep the mean brightness. `snr` is the
// ratio of the powers of signal and noise, above 0; n, its inverse by frequency, grows with the square of the
// frequency as in photographs under white noise.
Image deblur(const Library& library, const Image& image, const ComplexPlanes& psf, double snr,
             Precision precision);

// The ratio of signal to noise power that a picture looks to have: its variance over that of its noise, which
// is told from the finest differences. At least 1.
double estimated_snr(const Image& image);

// The smallest n >= size without prime factors beyond 7: lengths that transform quickly.
int quick_length(int size);

}  // namespace kyv::host
