#!/usr/bin/env python3
"""KyvMath with NumPy: a thumbnail of a picture, written as thumbnail.ppm, and the modulation that a blur leaves."""

import numpy
import kyvmath


def rings(rows, columns):
    """Coloured rings, 8-bit RGB."""
    y, x = numpy.mgrid[:rows, :columns]
    distance = (x - columns / 2) ** 2 + (y - rows / 2) ** 2
    phases = distance[:, :, None] / [900, 1300, 1700]
    return (127.5 + 127.5 * numpy.cos(phases)).astype(numpy.uint8)


def gaussian(size, sigma):
    """A PSF that sums to 1, its centre at element (0, 0), wrapping around the borders."""
    k = numpy.fft.fftfreq(size, 1 / size)
    psf = numpy.exp(-(k[:, None] ** 2 + k ** 2) / (2 * sigma ** 2))
    return psf / psf.sum()


thumbnail = kyvmath.resize(rings(480, 640), (160, 120), mode=kyvmath.Mode.LANCZOS)
with open("thumbnail.ppm", "wb") as file:
    file.write(b"P6\n160 120\n255\n" + thumbnail.tobytes())

modulation = numpy.abs(kyvmath.otf(gaussian(64, 2.0)))[0, :33]
print("half of the contrast is left at", numpy.argmax(modulation < 0.5) / 64, "cycles per pixel")
