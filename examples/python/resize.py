#!/usr/bin/env python3
"""KyvMath through ctypes: python3 resize.py [path of libKyvMath.so or KyvMath.dll]. NumPy is used when there."""

import array
import ctypes
import math
import sys

try:
    import numpy
except ImportError:
    numpy = None

SUPER, LANCZOS = 8, 16


def load(path):
    """The library with its argument types. In a 32-bit Windows process the working functions are __stdcall and
    the life-cycle pair is __cdecl; everywhere else the two loaders do the same."""
    working = ctypes.WinDLL(path) if sys.platform == "win32" else ctypes.CDLL(path)
    lifecycle = ctypes.CDLL(path)
    working.KyvMathResize.argtypes = [ctypes.c_uint, ctypes.c_int, ctypes.c_int] + \
        2 * [ctypes.c_void_p, ctypes.c_int, ctypes.c_int, ctypes.c_int]
    working.KyvMathConvertOtfFromPsf_D.argtypes = 4 * [ctypes.c_void_p] + 3 * [ctypes.c_int]
    return lifecycle, working


def check(status):
    if status != 0:
        raise RuntimeError(f"KyvMath status {status}")


def address(values):
    return values.ctypes.data if numpy is not None and isinstance(values, numpy.ndarray) else values.buffer_info()[0]


def shrink_with_numpy(library, picture, width, height):
    """picture: uint8 or uint16, shape (rows, columns, channels), contiguous along a row."""
    result = numpy.empty((height, width, picture.shape[2]), picture.dtype)
    check(library.KyvMathResize(LANCZOS, picture.shape[2], 8 * picture.itemsize,
                                address(picture), picture.shape[1], picture.shape[0], picture.strides[0],
                                address(result), width, height, result.strides[0]))
    return result


def shrink_grey(library, picture, columns, rows, width, height):
    result = array.array("B", bytes(width * height))
    check(library.KyvMathResize(SUPER, 1, 8, address(picture), columns, rows, columns,
                                address(result), width, height, width))
    return result


def modulation(library, sigma, size=64):
    """|OTF| of a Gaussian of that standard deviation, from zero frequency to the Nyquist frequency."""
    squares = [min(k, size - k) ** 2 for k in range(size)]
    psf = array.array("d", [math.exp(-(dx + dy) / (2 * sigma * sigma)) for dy in squares for dx in squares])
    real, imag, zero = (array.array("d", bytes(8 * size * size)) for _ in range(3))
    check(library.KyvMathConvertOtfFromPsf_D(address(psf), address(zero), address(real), address(imag),
                                             size, size, 1))
    return [math.hypot(real[k], imag[k]) / real[0] for k in range(size // 2 + 1)]


def main():
    default = "KyvMath.dll" if sys.platform == "win32" else "libKyvMath.so.1"
    lifecycle, library = load(sys.argv[1] if len(sys.argv) > 1 else default)
    lifecycle.KyvMathInitialize()
    ramp = array.array("B", [x for _ in range(64) for x in range(256)])
    print("grey ramp, 256 to 8 columns:", list(shrink_grey(library, ramp, 256, 64, 8, 2))[:8])
    if numpy is not None:
        picture = numpy.linspace(0, 65535, 90 * 120 * 3).astype(numpy.uint16).reshape(90, 120, 3)
        print("RGB of 16 bits, mean before and after:", picture.mean().round(), "and",
              shrink_with_numpy(library, picture, 40, 30).mean().round())
    print("half of the contrast is left at", next(k for k, m in enumerate(modulation(library, 2.0)) if m < 0.5) / 64,
          "cycles per pixel")
    lifecycle.KyvMathTerminate()


if __name__ == "__main__":
    main()
