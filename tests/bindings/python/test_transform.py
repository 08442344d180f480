import numpy
import pytest

import kyvmath

# What docs/NUMERICS.md states for any size, and NumPy's own error beside the double one.
BOUNDS = {kyvmath.Precision.SINGLE: 6e-7, kyvmath.Precision.DOUBLE: 1.2e-15 + 1e-15}


def error(values, expected):
    return numpy.linalg.norm(values - expected) / numpy.linalg.norm(expected)


@pytest.mark.parametrize("precision", kyvmath.Precision)
@pytest.mark.parametrize("shape", [(1, 1), (1, 7), (5, 1), (12, 10), (64, 48), (33, 101), (3, 40, 30), (2, 2, 5, 9)])
def test_otf_is_fft2_and_psf_its_inverse(shape, precision):
    random = numpy.random.default_rng(5)
    for stack in (random.random(shape), random.random(shape) + 1j * random.random(shape),
                  random.integers(0, 255, shape, numpy.uint8), random.random(shape).astype(numpy.float32).T.T):
        otf = kyvmath.otf(stack, precision=precision)
        assert otf.shape == shape and otf.dtype == numpy.complex128
        assert error(otf, numpy.fft.fft2(stack)) < BOUNDS[precision]
        back = kyvmath.psf(otf, precision=precision)
        assert error(back, numpy.fft.ifft2(otf)) < BOUNDS[precision] + 6e-8


def test_strided_and_read_only_input_is_taken():
    psf = numpy.random.default_rng(5).random((20, 30))[::-2, 3::3]
    psf.flags.writeable = False
    before = psf.copy()
    numpy.testing.assert_array_equal(kyvmath.otf(psf), kyvmath.otf(before))
    numpy.testing.assert_array_equal(psf, before)


def test_a_stack_without_planes_is_empty():
    assert kyvmath.otf(numpy.zeros((0, 4, 5))).shape == (0, 4, 5)


@pytest.mark.parametrize("planes, text", [
    (numpy.zeros(5), "rows, columns"), (numpy.zeros((4, 0)), "1 to"), (numpy.array([["a"]]), "numbers"),
    (numpy.broadcast_to(numpy.uint8(1), (2**16, 2**15)), "1 to")])
def test_what_has_no_transform_is_a_value_error(planes, text):
    with pytest.raises(ValueError, match=text):
        kyvmath.otf(planes)
    with pytest.raises(ValueError, match=text):
        kyvmath.psf(planes)


def test_unknown_precision():
    with pytest.raises(ValueError, match="quadruple"):
        kyvmath.otf([[1.0]], precision="quadruple")
