import multiprocessing.reduction
import pickle

import numpy
import pytest

import kyvmath
import probe


def test_numbers_and_texts_are_those_of_the_c_interface(c_lines):
    assert list(probe.lines()) == c_lines


@pytest.mark.parametrize("dtype", [numpy.uint8, numpy.uint16])
@pytest.mark.parametrize("channels", [(), (1,), (3,), (4,)])
def test_crops_are_read_and_written_in_place(picture, dtype, channels):
    large = picture((60, 80) + channels, dtype)
    crop = large[3:40:2, 5:70]
    atlas = numpy.full((50, 64) + channels, 77, dtype)
    out = atlas[4:34, 10:50]

    assert kyvmath.resize(crop, (40, 30), out=out) is out
    numpy.testing.assert_array_equal(out, kyvmath.resize(crop.copy(), (40, 30)))
    out[...] = 77
    assert (atlas == 77).all(), "written beside the destination"


def test_odd_addresses_and_steps(picture):
    rows, columns, step = 9, 11, 41
    buffer = numpy.zeros(1 + rows * step, numpy.uint8)
    odd = numpy.ndarray((rows, columns), numpy.uint16, buffer, 1, (step, 2))
    odd[...] = picture((rows, columns), numpy.uint16)
    numpy.testing.assert_array_equal(kyvmath.resize(odd, (5, 4)), kyvmath.resize(odd.copy(), (5, 4)))


def test_strides_along_single_elements_do_not_matter(picture):
    column = numpy.lib.stride_tricks.as_strided(picture((20,)), (20, 1, 1), (1, 999, -5))
    assert kyvmath.resize(column, (1, 20)).shape == (20, 1, 1)
    row = numpy.lib.stride_tricks.as_strided(picture((20,)), (1, 20), (-999, 1))
    numpy.testing.assert_array_equal(kyvmath.resize(row, (20, 1)), row)


def test_region_equals_crop(picture):
    whole = picture((60, 80, 3))
    numpy.testing.assert_array_equal(kyvmath.resize(whole, (20, 15), region=(8, 12, 40, 30)),
                                     kyvmath.resize(whole[12:42, 8:48], (20, 15)))


grey = numpy.zeros((8, 10), numpy.uint8)
colour = numpy.zeros((8, 10, 3), numpy.uint16)


@pytest.mark.parametrize("source, size, options, text", [
    (grey.astype(float), (4, 4), {}, "uint8 or uint16"),
    (grey.astype(">u2"), (4, 4), {}, "byte order"),
    (grey[0], (4, 4), {}, r"\(8?10?,"),
    (numpy.zeros((8, 10, 2), numpy.uint8), (4, 4), {}, "1, 3 or 4"),
    (grey[:, ::2], (4, 4), {}, "side by side"),
    (colour[:, :, ::-1], (4, 4), {}, "side by side"),
    (numpy.asfortranarray(colour), (4, 4), {}, "side by side"),
    (grey[::-1], (4, 4), {}, "downwards"),
    (numpy.broadcast_to(grey[0], (8, 10)), (4, 4), {}, "overlap"),
    (grey, (4, 0), {}, "a size is zero"),
    (grey[:0], (4, 4), {}, "a size is zero"),
    (grey, (4, -1), {}, "rejected"),
    (grey, (4, 2**31), {}, "32 bits"),
    (grey, (4, 4, 4), {}, "width, height"),
    (grey, (4, 4), {"region": (1, 1, 10, 1)}, "rejected"),
    (grey, (4, 4), {"region": (2**40, 1, 1, 1)}, "32 bits"),
    (grey, (4, 4), {"mode": 3}, "Mode"),
    (grey, (11, 4), {"mode": kyvmath.Mode.SUPER}, "rejected"),
    (grey, (4, 4), {"out": numpy.zeros((4, 5), numpy.uint8)}, "out must be"),
    (grey, (4, 4), {"out": numpy.zeros((4, 4), numpy.uint16)}, "out must be"),
    (grey, (4, 4), {"out": numpy.zeros((4, 8), numpy.uint8)[:, ::2]}, "of out"),
    (grey, (4, 4), {"out": numpy.frombuffer(bytes(16), numpy.uint8).reshape(4, 4)}, "read-only"),
    (grey, (4, 4), {"out": grey[4:8, 6:10]}, "overlaps"),
])
def test_what_the_library_does_not_take_is_a_value_error(source, size, options, text):
    before = options["out"].copy() if "out" in options else None
    with pytest.raises(ValueError, match=text):
        kyvmath.resize(source, size, **options)
    if before is not None:
        numpy.testing.assert_array_equal(options["out"], before)


def test_two_halves_of_one_buffer(picture):
    atlas = picture((16, 32))
    kyvmath.resize(atlas[:, :16], (16, 16), out=atlas[:, 16:])
    numpy.testing.assert_array_equal(atlas[:, :16], atlas[:, 16:])


def test_errors_carry_the_status_and_travel_between_processes():
    with pytest.raises(kyvmath.KyvMathError) as caught:
        kyvmath.resize(grey, (11, 4), mode=kyvmath.Mode.SUPER)
    there = pickle.loads(multiprocessing.reduction.ForkingPickler.dumps(caught.value))
    assert there.status is kyvmath.Status.RESIZE_FAILED
    assert type(there) is type(caught.value) and str(there) == str(caught.value)
