"""The lines of probe.cpp, through the Python package."""

import numpy

import kyvmath
from kyvmath import _native

COLUMNS, ROWS = 61, 47


def hash_of(values):
    result = 2166136261
    for byte in values.tobytes():
        result = (result ^ byte) * 16777619 & 0xFFFFFFFF
    return f"{result:08x}"


def resize(mode, channels, sample, region, width, height):
    k = numpy.arange(COLUMNS * ROWS * channels, dtype=numpy.uint32)
    shape = (ROWS, COLUMNS) if channels == 1 else (ROWS, COLUMNS, channels)
    picture = (k * k * 7 + k * 31).astype(sample).reshape(shape)
    out = numpy.zeros((height, width) + shape[2:], sample)
    status = 0
    try:
        kyvmath.resize(picture, (width, height), mode=mode, region=region, out=out)
    except kyvmath.KyvMathError as error:
        status = error.status.value
    return (f"resize {mode.value} {channels} {8 * out.itemsize} {region[0]} {width} {height}: "
            f"{status} {hash_of(out)}")


def transforms(precision):
    k = numpy.arange(3 * 12 * 10)
    otf = kyvmath.otf((k * k % 101 / 64).reshape(3, 12, 10), precision=precision)
    psf = kyvmath.psf(otf, precision=precision)
    for name, planes in (("otf", otf), ("psf", psf)):
        yield f"{name} {precision.value}: 0 {hash_of(planes.real)} {hash_of(planes.imag)}"


def lines():
    for sample in (numpy.uint8, numpy.uint16):
        for mode in kyvmath.Mode:
            for channels in (1, 3, 4):
                yield resize(mode, channels, sample, (0, 0, COLUMNS, ROWS), 30, 20)
                yield resize(mode, channels, sample, (5, 7, 40, 30), 20, 15)
                yield resize(mode, channels, sample, (5, 7, 40, 30), 80, 45)
    for precision in kyvmath.Precision:
        yield from transforms(precision)
    for status in (2, 10, 12, 96):
        yield f"status {status}: {_native._error(status)}"
    yield f"status 7: {str(_native._error(7)).replace(' 7', '')}"


if __name__ == "__main__":
    print("\n".join(lines()))
