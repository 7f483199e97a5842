"""Every bad input raises the exception its kind calls for, in the command
line's words; none crashes the interpreter."""

import os
import resource

import numpy
import pytest

import kestrova
from conftest import gradient_picture

picture = gradient_picture(20, 30, 3)


@pytest.mark.parametrize("bad, words", [
    (picture.astype(numpy.float32), "the picture's values must be uint8, not float32"),
    (picture.astype(numpy.int8), "the picture's values must be uint8, not int8"),
    (picture.tolist(), "the picture must be a NumPy array of uint8, not list"),
    (None, "the picture must be a NumPy array of uint8, not NoneType"),
])
def test_wrong_types(bad, words):
    with pytest.raises(TypeError) as raised:
        kestrova.pen(bad)
    assert str(raised.value) == words


@pytest.mark.parametrize("shape", [(5,), (4, 5, 2), (4, 5, 5), (2, 4, 5, 3), ()])
def test_wrong_shapes(shape):
    with pytest.raises(ValueError, match="the picture must be H x W"):
        kestrova.pen(numpy.zeros(shape, numpy.uint8))


@pytest.mark.parametrize("shape", [(0, 5), (5, 0), (0, 0, 3), (3, 0, 4)])
def test_empty_pictures(shape):
    with pytest.raises(ValueError, match="the picture is empty"):
        kestrova.pencil(numpy.zeros(shape, numpy.uint8))


def test_a_picture_over_the_limit():
    huge = numpy.lib.stride_tricks.as_strided(numpy.zeros(1, numpy.uint8),
                                              shape=(20000, 20000), strides=(0, 0))
    with pytest.raises(ValueError, match="pictures of up to 256 megapixels are drawn"):
        kestrova.pen(huge)


def test_settings_out_of_range():
    with pytest.raises(ValueError) as raised:
        kestrova.pencil(picture, density=11)
    assert str(raised.value) == "density must be a whole number from 1 to 10, not 11"
    with pytest.raises(ValueError):
        kestrova.pencil(picture, contour_black=-1)
    with pytest.raises(ValueError):
        kestrova.pencil(picture, contour_black=2 ** 70)
    with pytest.raises(TypeError) as raised:
        kestrova.pencil(picture, density=2.0)
    assert str(raised.value) == "density must be a whole number from 1 to 10, not 2.0"
    with pytest.raises(TypeError):
        kestrova.pencil(picture, density=True)


def test_unknown_names():
    with pytest.raises(ValueError) as raised:
        kestrova.draw("charcoal", picture)
    names = ", ".join(effect.name for effect in kestrova.effects())
    assert str(raised.value) == f"unknown effect 'charcoal' (choose {names})"
    with pytest.raises(TypeError, match="the pen effect has no setting 'density'"):
        kestrova.pen(picture, density=3)
    with pytest.raises(ValueError, match="the pen effect has no contour layer"):
        kestrova.pen(picture, contours=False)


def test_threads():
    for bad, kind in ((0, ValueError), (-2, ValueError), (1025, ValueError), (2 ** 70, ValueError),
                      (1.5, TypeError), ("2", TypeError)):
        with pytest.raises(kind, match="threads must be a whole number from 1 to 1024"):
            kestrova.pen(picture, threads=bad)
    assert numpy.array_equal(kestrova.pen(picture, threads=1024), kestrova.pen(picture))


def test_an_effect_that_makes_no_picture_says_why():
    with pytest.raises(ValueError, match="no two regions merge"):
        kestrova.color(picture, threshold=0)


def virtual_bytes():
    with open("/proc/self/status") as status:
        for line in status:
            if line.startswith("VmSize:"):
                return int(line.split()[1]) * 1024
    raise AssertionError("no VmSize")


@pytest.mark.skipif(os.environ.get("KESTROVA_SANITIZED") == "1",
                    reason="the sanitizers reserve their shadow memory beyond any limit")
def test_memory_running_out():
    # A picture within the limit (225 megapixels, from one byte) whose
    # working copy alone takes 900 MB more than the process may.
    big = numpy.lib.stride_tricks.as_strided(numpy.zeros(1, numpy.uint8),
                                             shape=(15000, 15000), strides=(0, 0))
    limit = resource.getrlimit(resource.RLIMIT_AS)
    resource.setrlimit(resource.RLIMIT_AS, (virtual_bytes() + (512 << 20), limit[1]))
    try:
        with pytest.raises(MemoryError):
            kestrova.pen(big)
    finally:
        resource.setrlimit(resource.RLIMIT_AS, limit)
    assert kestrova.pen(picture).shape == picture.shape[:2]
