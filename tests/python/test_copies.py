"""Pictures are read where they are and drawings handed over, not copied;
a thousand drawings leave the process no larger."""

import os

import numpy
import pytest

import kestrova
from conftest import gradient_picture

hooks = kestrova._kestrova


@pytest.mark.parametrize("channels", [1, 3, 4])
def test_a_contiguous_picture_is_read_in_place(channels):
    picture = gradient_picture(20, 30, channels)
    assert numpy.shares_memory(hooks._picture_buffer(picture), picture)
    rows = numpy.zeros((20, 40) + picture.shape[2:], numpy.uint8)[:, 5:35]
    assert numpy.shares_memory(hooks._picture_buffer(rows), rows)


def test_other_layouts_are_read_from_a_copy():
    picture = gradient_picture(20, 30, 3)
    fortran = numpy.asfortranarray(picture)
    assert not numpy.shares_memory(hooks._picture_buffer(fortran), fortran)
    strided = picture[::2, ::2]
    assert not numpy.shares_memory(hooks._picture_buffer(strided), strided)


@pytest.mark.parametrize("name", [effect.name for effect in kestrova.effects()])
def test_the_drawing_is_handed_over(name):
    drawing = kestrova.draw(name, gradient_picture(20, 30, 3))
    address = drawing.__array_interface__["data"][0]
    assert address != 0
    assert hooks._drawing_address(drawing) == address
    assert not drawing.flags.owndata
    assert hooks._drawing_address(numpy.zeros(3, numpy.uint8)) == 0


def resident_kilobytes():
    with open("/proc/self/status") as status:
        for line in status:
            if line.startswith("VmRSS:"):
                return int(line.split()[1])
    raise AssertionError("no VmRSS")


@pytest.mark.skipif(os.environ.get("KESTROVA_SANITIZED") == "1",
                    reason="AddressSanitizer keeps freed memory in quarantine")
def test_a_thousand_drawings_keep_the_memory_flat():
    picture = gradient_picture(120, 160, 3)
    seen = []

    def loop(count):
        for _ in range(count):
            kestrova.pencil(picture, progress=seen.append)
            del seen[:]
            try:
                kestrova.pen(picture, progress=lambda value: 1 / 0)
            except ZeroDivisionError:
                pass

    loop(100)
    before = resident_kilobytes()
    loop(1000)
    after = resident_kilobytes()
    # A leak of one 160 x 120 drawing a call would be over 19 MB.
    assert after - before < 4096, (before, after)
