# The document's program against the library: every sample must be the same.
import array
import ctypes
import os
import random

library = ctypes.CDLL(os.environ["KYVMATH_LIBRARY"])


def library_resize(mode, source, region, width, height, largest):
    kind = "B" if largest == 255 else "H"
    columns, rows = len(source[0]), len(source)
    pixels = array.array(kind, [sample for line in source for sample in line])
    result = array.array(kind, bytes(width * height * pixels.itemsize))
    status = library.KyvMathResizeWithRegion(
        mode, 1, 8 * pixels.itemsize, ctypes.c_void_p(pixels.buffer_info()[0]), columns, rows,
        columns * pixels.itemsize, *region, ctypes.c_void_p(result.buffer_info()[0]), width, height,
        width * pixels.itemsize)
    assert status == 0, f"status {status}"
    return [list(result[y * width:(y + 1) * width]) for y in range(height)]


def random_picture(rng, columns, rows, largest):
    if rng.random() < 0.3:  # hard edges drive the negative lobes into saturation
        return [[rng.choice((0, largest)) for _ in range(columns)] for _ in range(rows)]
    return [[rng.randint(0, largest) for _ in range(columns)] for _ in range(rows)]


def random_request(rng):
    columns, rows = rng.randint(1, 24), rng.randint(1, 24)
    x, y = rng.randrange(columns), rng.randrange(rows)
    region = rng.choice(((0, 0, columns, rows), (x, y, rng.randint(1, columns - x), rng.randint(1, rows - y))))
    mode = rng.choice((NEAREST, LINEAR, CUBIC, SUPER, LANCZOS))
    limits = region[2:] if mode == SUPER else (40, 40)
    return mode, columns, rows, region, rng.randint(1, limits[0]), rng.randint(1, limits[1])


def check(rng, mode, columns, rows, region, width, height):
    largest = rng.choice((255, 65535))
    picture = random_picture(rng, columns, rows, largest)
    request = (mode, picture, region, width, height, largest)
    assert resize(*request) == library_resize(*request), \
        f"differs: mode {mode}, {columns} x {rows}, region {region}, to {width} x {height}, up to {largest}"


def check_resizes():
    rng = random.Random(20)
    for _ in range(250):
        check(rng, *random_request(rng))
    for mode in (LINEAR, CUBIC, SUPER, LANCZOS):  # more than one block of 128 taps, and more than ten
        check(rng, mode, 1500, 7, (0, 0, 1500, 7), 3, 2)
        check(rng, mode, 9, 700, (1, 2, 8, 690), 3, 2)
    for mode in (NEAREST, LINEAR, CUBIC, LANCZOS):  # an end that is rounded short of the destination's
        check(rng, mode, 3075, 8, (3069, 0, 6, 8), 3073, 1)


def check_conversions():
    rng = random.Random(21)
    for width, height in ((1, 1), (4, 4), (4, 2), (3, 5), (7, 6)):
        for backward, name in ((False, "KyvMathConvertOtfFromPsf_D"), (True, "KyvMathConvertPsfFromOtf_D")):
            count = width * height
            stack = [[complex(rng.uniform(-1, 1), rng.uniform(-1, 1)) for _ in range(count)] for _ in range(2)]
            flat = [value for plane in stack for value in plane]
            real, imag = array.array("d", [v.real for v in flat]), array.array("d", [v.imag for v in flat])
            arrays = [ctypes.c_void_p(a.buffer_info()[0]) for a in (real, imag, real, imag)]
            assert getattr(library, name)(*arrays, width, height, 2) == 0
            expected = [value for plane in convert(stack, width, height, backward) for value in plane]
            worst = max(abs(complex(r, i) - e) for r, i, e in zip(real, imag, expected))
            assert worst < 1e-13, f"{name} {width} x {height}: off by {worst}"


library.KyvMathInitialize()
check_resizes()
check_conversions()
library.KyvMathTerminate()
