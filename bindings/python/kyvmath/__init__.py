"""KyvMath for NumPy: resizing of pictures, and conversion between point-spread and optical transfer functions.

    small = kyvmath.resize(picture, (320, 240))
    transfer = kyvmath.otf(psf)

Pictures are arrays of uint8 or uint16, (rows, columns) or (rows, columns, channels) with 1, 3 or 4 channels.

Threads. Every function may run on any number of threads at once, on arrays that do not overlap where one of them
is written. The interpreter lock is released while the library works, so threads run side by side. The library
is started by the first call in a process and ended when the interpreter exits, after the last running call;
a process made by fork goes on with what it inherits.
"""

import enum
import operator
from importlib.metadata import PackageNotFoundError, version as _version
from typing import Any, Optional, Sequence, Tuple

import numpy
from numpy.typing import ArrayLike, NDArray

from ._native import KyvMathError, Status, convert, resize_with_region

__all__ = ["KyvMathError", "Mode", "Precision", "Status", "otf", "psf", "resize"]

try:
    __version__ = _version("kyvmath")
except PackageNotFoundError:  # used as it lies in a folder
    __version__ = "unknown"

_INT_MAX = 2**31 - 1


class Mode(enum.IntEnum):
    """How a pixel is computed from those around its place in the source. All but NEAREST filter on reduction."""

    NEAREST = 1  #: the nearest source pixel
    LINEAR = 2  #: weights fall off linearly, over 2 pixels
    CUBIC = 4  #: cubic interpolation (Lagrange), over 4 pixels
    SUPER = 8  #: super-sampling: the mean of the covered area; never enlarges
    LANCZOS = 16  #: windowed sine, 3 lobes, over 6 pixels


class Precision(enum.Enum):
    """The precision that a transform works in. SINGLE has a relative error of about 1e-7 and is faster."""

    SINGLE = "single"
    DOUBLE = "double"


def _integers(name: str, values: Sequence[int], names: str) -> Tuple[int, ...]:
    """As many integers as there are words in `names`, each within the library's 32 bits."""
    result = tuple(operator.index(value) for value in values)
    if len(result) != len(names.split()):
        raise ValueError(f"{name} must be ({', '.join(names.split())}), not {result}")
    if any(not -_INT_MAX <= value <= _INT_MAX for value in result):
        raise ValueError(f"{name} {result} does not fit 32 bits")
    return result


def _layout(name: str, picture: NDArray[Any]) -> Tuple[int, int, int, int]:
    """(columns, rows, channels, step) of an array as the library reads it in place. The stride along an axis of
    one element says nothing and is not looked at."""
    if picture.dtype not in (numpy.uint8, numpy.uint16):
        raise ValueError(f"{name} must be uint8 or uint16 in the byte order of the machine, not {picture.dtype!r}")
    if picture.ndim not in (2, 3) or picture.ndim == 3 and picture.shape[2] not in (1, 3, 4):
        raise ValueError(f"{name} must be (rows, columns) or (rows, columns, 1, 3 or 4), not {picture.shape}")
    rows, columns = picture.shape[:2]
    channels = picture.shape[2] if picture.ndim == 3 else 1
    pixel = channels * picture.itemsize
    packed = (None, pixel, picture.itemsize)
    for axis in range(1, picture.ndim):
        if picture.shape[axis] > 1 and picture.strides[axis] != packed[axis]:
            raise ValueError(f"the pixels of a row of {name} must lie side by side; numpy.ascontiguousarray copies "
                             f"them together (shape {picture.shape}, strides {picture.strides})")
    step = picture.strides[0] if rows > 1 else columns * pixel
    if step < columns * pixel:
        raise ValueError(f"the rows of {name} must follow each other without overlap and downwards: the step between "
                         f"two is {step} bytes, a row has {columns * pixel}; resize the picture the other way up "
                         "or copy it with numpy.ascontiguousarray")
    if max(step, columns, rows) > _INT_MAX:
        raise ValueError(f"{name} is too large: {picture.shape}, {step} bytes from row to row")
    return columns, rows, channels, step


def resize(array: ArrayLike, size: Tuple[int, int], *, mode: Mode = Mode.LANCZOS,
           region: Optional[Tuple[int, int, int, int]] = None, out: Optional[NDArray[Any]] = None) -> NDArray[Any]:
    """Resizes a picture, or the `region` (x, y, width, height) of it, to `size` = (width, height) in pixels.

    `array` is uint8 or uint16, (rows, columns) or (rows, columns, channels) with 1, 3 or 4 channels that are all
    treated alike. It is read in place: rows may lie any distance apart (a crop of a larger array is fine), the
    pixels of a row side by side. No pixel outside `region` is read.

    The result has the type and the number of axes of `array`. It is a new array, or `out`: of that shape and
    type, with such strides, not overlapping `array`.

    Raises ValueError for what the library does not take: other types, shapes and strides, a region that is not
    inside the picture, an empty size, Mode.SUPER asked to enlarge. `out` is then as it was.
    """
    picture = numpy.asarray(array)
    columns, rows, channels, step = _layout("array", picture)
    width, height = _integers("size", size, "width height")
    box = _integers("region", (0, 0, columns, rows) if region is None else region, "x y width height")
    shape = (height, width) + picture.shape[2:]
    if out is None:
        # Where the library is to refuse the size, there is nothing to allocate for it.
        out = numpy.empty(shape if width > 0 and height > 0 else (1,) * picture.ndim, picture.dtype)
    elif not isinstance(out, numpy.ndarray) or out.shape != shape or out.dtype != picture.dtype:
        raise ValueError(f"out must be an array of {shape} and {picture.dtype!r}")
    elif not out.flags.writeable:
        raise ValueError("out is read-only")
    out_step = _layout("out", out)[3]
    if numpy.shares_memory(picture, out):
        raise ValueError("out overlaps array")
    resize_with_region(Mode(mode), channels, 8 * picture.itemsize, picture.ctypes.data, columns, rows, step, *box,
                       out.ctypes.data, width, height, out_step)
    return out


def _transform(name: str, planes: ArrayLike, forward: bool, precision: Precision) -> NDArray[numpy.complex128]:
    source = numpy.asarray(planes)
    if source.ndim < 2 or source.dtype.kind not in "biufc":
        raise ValueError(f"{name} must be an array of numbers, (..., rows, columns), "
                         f"not {source.shape} of {source.dtype!r}")
    rows, columns = source.shape[-2:]
    count = source.size // (rows * columns) if source.size else 0
    if rows * columns == 0 or max(rows * columns, count) > _INT_MAX:
        raise ValueError(f"{name} of {source.shape}: a plane has 1 to {_INT_MAX} values, a stack as many planes")
    parts = numpy.empty((2,) + source.shape)
    parts[0], parts[1] = source.real, source.imag
    real, imag = parts[0].ctypes.data, parts[1].ctypes.data
    # The library's planes are `width` runs of `height` values: the rows of a picture are the runs.
    convert(forward, Precision(precision) is Precision.DOUBLE, real, imag, real, imag, rows, columns, count)
    result = numpy.empty(source.shape, numpy.complex128)
    result.real, result.imag = parts
    return result


def otf(psf: ArrayLike, *, precision: Precision = Precision.DOUBLE) -> NDArray[numpy.complex128]:
    """The optical transfer function of a point-spread function: the two-dimensional discrete Fourier transform over
    the last two axes, equal to numpy.fft.fft2(psf) within the error of `precision`.

    `psf` is real or complex, (..., rows, columns), each plane with its origin at element (0, 0): give one that is
    centred through numpy.fft.ifftshift(psf, axes=(-2, -1)). Raises ValueError for anything else.
    """
    return _transform("psf", psf, True, precision)


def psf(otf: ArrayLike, *, precision: Precision = Precision.DOUBLE) -> NDArray[numpy.complex128]:
    """The point-spread function of an optical transfer function: the inverse of otf(), as numpy.fft.ifft2(otf).

    The scale 1 / (rows * columns) is rounded to single precision in both precisions, a relative error of up to
    6e-8 that all values share. The result is complex: of the transfer function of a real PSF take `.real`. Raises
    ValueError as otf() does.
    """
    return _transform("otf", otf, False, precision)
