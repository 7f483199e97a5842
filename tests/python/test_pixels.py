"""Every effect gives exactly the pixels of kestrova-cli and of the golden
pictures, whatever the layout of the array it is given."""

import numpy
import pytest

import kestrova
from conftest import golden, gradient_picture, options_of, run_cli

EFFECTS = [effect.name for effect in kestrova.effects()]


def spread_settings(effect):
    """Each setting at its least, middle and greatest value, one at a time."""
    for setting in effect.settings:
        middle = (setting.minimum + setting.maximum) // 2
        for value in sorted({setting.minimum, middle, setting.maximum}):
            yield {setting.keyword: value}


def assert_same(drawn, expected):
    assert drawn.dtype == numpy.uint8
    assert drawn.shape == expected.shape
    assert numpy.array_equal(drawn, expected)


def as_channels(picture, channels):
    """A golden picture (saved by Qt, with three or four channels) with
    `channels`, when its pixels allow it."""
    if picture.ndim == 3 and picture.shape[2] == 4 and channels < 4:
        assert (picture[:, :, 3] == 255).all()
        picture = picture[:, :, :3]
    if picture.ndim == 3 and channels == 1:
        assert (picture == picture[:, :, :1]).all()
        picture = picture[:, :, 0]
    return numpy.ascontiguousarray(picture)


@pytest.mark.parametrize("name", EFFECTS)
def test_defaults_give_the_golden_picture(photo, name):
    drawing = kestrova.draw(name, photo)
    channels = 1 if drawing.ndim == 2 else drawing.shape[2]
    assert_same(drawing, as_channels(golden(name), channels))
    assert_same(getattr(kestrova, name)(photo), drawing)


@pytest.mark.parametrize("name", EFFECTS)
def test_settings_over_their_ranges_match_the_command_line(tmp_path, photo, name):
    effect = next(effect for effect in kestrova.effects() if effect.name == name)
    cases = [({}, False)] if effect.contour_layer else []
    cases += [(settings, True) for settings in spread_settings(effect)]
    for settings, contours in cases:
        expected = run_cli(tmp_path, name, photo, options_of(settings, contours))
        if expected is None:
            with pytest.raises(ValueError):
                kestrova.draw(name, photo, contours=contours, **settings)
            continue
        extra = {} if effect.contour_layer is False else {"contours": contours}
        assert_same(getattr(kestrova, name)(photo, **extra, **settings), expected)


def layouts(picture):
    """The same pixels in arrays of other strides."""
    height, width = picture.shape[:2]
    wide = numpy.zeros((height + 3, width + 5) + picture.shape[2:], numpy.uint8)
    wide[2:2 + height, 3:3 + width] = picture
    spaced = numpy.zeros((height * 2, width * 2) + picture.shape[2:], numpy.uint8)
    spaced[::2, ::2] = picture
    yield "slice", wide[2:2 + height, 3:3 + width]
    yield "strided", spaced[::2, ::2]
    yield "fortran", numpy.asfortranarray(picture)
    yield "reversed", numpy.ascontiguousarray(picture[::-1])[::-1]
    if picture.ndim == 3:
        planes = numpy.ascontiguousarray(numpy.moveaxis(picture, 2, 0))
        yield "planar", numpy.moveaxis(planes, 0, 2)


@pytest.mark.parametrize("channels", [1, 3, 4])
@pytest.mark.parametrize("name", EFFECTS)
def test_every_layout_matches_the_command_line(tmp_path, name, channels):
    picture = gradient_picture(37, 53, channels)
    expected = run_cli(tmp_path, name, picture)
    assert expected is not None
    assert_same(kestrova.draw(name, picture), expected)
    for layout, view in layouts(picture):
        assert numpy.array_equal(view, picture), layout
        assert_same(kestrova.draw(name, view), expected)


@pytest.mark.parametrize("name", EFFECTS)
def test_the_result_has_the_png_writers_channels(photo, name):
    effect = next(effect for effect in kestrova.effects() if effect.name == name)
    drawing = kestrova.draw(name, photo)
    if effect.grey_drawing:
        assert drawing.shape == photo.shape[:2]
    else:
        assert drawing.shape in (photo.shape[:2] + (3,), photo.shape[:2] + (4,))
    assert drawing.flags.c_contiguous and drawing.flags.writeable
