"""kestrova.read and kestrova.write are the command line's reading and
writing: the same pixels, formats, limits, messages and atomic writes."""

import os
import resource
import signal
import subprocess
import warnings

import numpy
import pytest

import kestrova
from conftest import CLI, DATA, gradient_picture
import pngfiles

BAD = os.path.join(DATA, "..", "bad")


def catalogue():
    with open(os.path.join(BAD, "catalogue.txt"), encoding="utf-8") as lines:
        return [line.rstrip("\n").split("\t")[:2] for line in lines if line.strip()]


def cli_drawing(tmp_path, effect, source, options=()):
    target = tmp_path / "cli.png"
    result = subprocess.run([CLI, "--quiet", effect, *options, str(source), str(target)],
                            capture_output=True, text=True)
    return result, target


def read_quietly(path, **options):
    with warnings.catch_warnings():
        warnings.simplefilter("ignore", RuntimeWarning)
        return kestrova.read(path, **options)


@pytest.mark.parametrize("name, outcome", catalogue())
def test_every_odd_file_reads_as_the_command_line_reads_it(tmp_path, name, outcome):
    source = os.path.join(BAD, name)
    result, target = cli_drawing(tmp_path, "pen", source)
    try:
        picture = read_quietly(source)
    except OSError as error:
        assert outcome != "draws", error
        assert result.returncode == 1
        # The command line's message, after its own "kestrova-cli: ".
        assert str(error) in result.stderr
        if outcome == "too-large":
            assert "megapixels are drawn" in str(error)
        return
    assert outcome in ("draws", "either")
    assert picture.dtype == numpy.uint8 and picture.flags.c_contiguous
    try:
        drawing = kestrova.pen(picture)
    except ValueError:
        assert result.returncode == 1
        return
    if result.returncode != 0:
        # Drawn, but too large for a file.
        with pytest.raises(ValueError, match="a PNG file holds at most") as raised:
            kestrova.write(tmp_path / "python.png", drawing)
        assert str(raised.value).split(", and ")[1] in result.stderr
        return
    kestrova.write(tmp_path / "python.png", drawing)
    assert (tmp_path / "python.png").read_bytes() == target.read_bytes()


@pytest.mark.parametrize("name", [effect.name for effect in kestrova.effects()])
@pytest.mark.parametrize("kind", ["grey8.png", "rgb.jpg", "rgba.png", "grey.jpg", "rgb16.png",
                                  "indexed-alpha.png"])
def test_drawings_of_files_are_the_command_lines_files(tmp_path, name, kind):
    source = os.path.join(BAD, kind)
    result, target = cli_drawing(tmp_path, name, source)
    assert result.returncode == 0, result.stderr
    drawing = kestrova.draw(name, kestrova.read(source))
    assert numpy.array_equal(drawing, kestrova.read(target)) or drawing.ndim == 2
    for level in ("fast", "small"):
        result, target = cli_drawing(tmp_path, name, source, ["--png-level", level])
        kestrova.write(tmp_path / "python.png", drawing, png_level=level)
        assert (tmp_path / "python.png").read_bytes() == target.read_bytes(), level


def test_the_arrays_read_keep_the_files_kind():
    assert kestrova.read(os.path.join(BAD, "grey8.png")).ndim == 2
    assert kestrova.read(os.path.join(BAD, "rgb.jpg")).shape[2] == 3
    assert kestrova.read(os.path.join(BAD, "rgba.png")).shape[2] == 4
    photo = pngfiles.read_png(os.path.join(DATA, "input.png"))
    assert numpy.array_equal(kestrova.read(os.path.join(DATA, "input.png")), photo)


def test_jpeg_quality_and_transparency_as_the_command_line(tmp_path):
    source = os.path.join(DATA, "input.png")
    drawing = kestrova.pencil(kestrova.read(source))
    result, _ = cli_drawing(tmp_path, "pencil", source)
    for options, keywords, suffix in ((["--quality", "70"], {"quality": 70}, ".jpg"),
                                      (["--transparent"], {"transparent": True}, ".png")):
        target = tmp_path / f"cli{suffix}"
        subprocess.run([CLI, "--quiet", "pencil", *options, source, str(target)], check=True)
        kestrova.write(tmp_path / f"python{suffix}", drawing, **keywords)
        assert (tmp_path / f"python{suffix}").read_bytes() == target.read_bytes(), options


def test_auto_orient_turns_the_picture_upright(tmp_path):
    picture = gradient_picture(30, 50, 3)
    kestrova.write(tmp_path / "photo.jpg", picture)
    jpeg = (tmp_path / "photo.jpg").read_bytes()
    tiff = (b"MM\x00\x2a\x00\x00\x00\x08\x00\x01\x01\x12\x00\x03\x00\x00\x00\x01"
            b"\x00\x06\x00\x00\x00\x00\x00\x00")
    payload = b"Exif\x00\x00" + tiff
    segment = b"\xff\xe1" + (len(payload) + 2).to_bytes(2, "big") + payload
    (tmp_path / "side.jpg").write_bytes(jpeg[:2] + segment + jpeg[2:])
    stored = kestrova.read(tmp_path / "side.jpg")
    upright = kestrova.read(tmp_path / "side.jpg", auto_orient=True)
    assert stored.shape == (30, 50, 3)
    assert upright.shape == (50, 30, 3)
    assert numpy.array_equal(upright, numpy.rot90(stored, -1))


def test_bad_writes(tmp_path):
    drawing = kestrova.pen(gradient_picture(20, 30, 3))
    with pytest.raises(ValueError, match="cannot tell the format of '.*drawing.gif' from its "
                                         "suffix: use .png, .jpg, .jpeg"):
        kestrova.write(tmp_path / "drawing.gif", drawing)
    with pytest.raises(ValueError, match="cannot write '.*drawing.svg': an array is written as a "
                                         "picture, not as SVG, which kestrova-cli traces from an "
                                         "effect's regions; use .png, .jpg, .jpeg"):
        kestrova.write(tmp_path / "drawing.svg", drawing)
    assert not (tmp_path / "drawing.svg").exists()
    with pytest.raises(ValueError, match="png_level must be fast or small, not 'tiny'"):
        kestrova.write(tmp_path / "drawing.png", drawing, png_level="tiny")
    with pytest.raises(ValueError, match="quality must be a whole number from 0 to 100"):
        kestrova.write(tmp_path / "drawing.jpg", drawing, quality=101)
    with pytest.raises(ValueError, match="transparent writes PNG only"):
        kestrova.write(tmp_path / "drawing.jpg", drawing, transparent=True)
    with pytest.raises(ValueError, match="only the grey drawings of pen and pencil"):
        kestrova.write(tmp_path / "drawing.png", gradient_picture(20, 30, 3), transparent=True)
    with pytest.raises(OSError, match="cannot write '.*missing/drawing.png'"):
        kestrova.write(tmp_path / "missing" / "drawing.png", drawing)
    with pytest.raises(TypeError, match="uint8"):
        kestrova.write(tmp_path / "drawing.png", drawing.astype(numpy.uint16))
    assert sorted(os.listdir(tmp_path)) == []


def test_a_failed_write_leaves_the_earlier_file(tmp_path):
    target = tmp_path / "drawing.png"
    kestrova.write(target, kestrova.pen(gradient_picture(20, 30, 3)))
    earlier = target.read_bytes()
    big = gradient_picture(1200, 1600, 3)
    previous = signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
    limit = resource.getrlimit(resource.RLIMIT_FSIZE)
    resource.setrlimit(resource.RLIMIT_FSIZE, (100000, limit[1]))
    try:
        with pytest.raises(OSError, match="cannot write"):
            kestrova.write(target, big)
    finally:
        resource.setrlimit(resource.RLIMIT_FSIZE, limit)
        signal.signal(signal.SIGXFSZ, previous)
    assert target.read_bytes() == earlier
    assert os.listdir(tmp_path) == ["drawing.png"]


def test_a_missing_file():
    with pytest.raises(FileNotFoundError, match="cannot read '/nonexistent/photo.jpg'"):
        kestrova.read("/nonexistent/photo.jpg")


def test_what_qt_warns_of_while_reading_is_a_python_warning():
    with pytest.warns(RuntimeWarning, match="jpeg-cut-at-1137.jpg': .*premature end of data"):
        picture = kestrova.read(os.path.join(BAD, "jpeg-cut-at-1137.jpg"))
    assert picture.ndim == 3


def test_threads_of_reading_and_writing(tmp_path):
    source = os.path.join(DATA, "input.png")
    with pytest.raises(ValueError, match="threads must be a whole number from 1 to 1024"):
        kestrova.read(source, threads=0)
    picture = kestrova.read(source, threads=1)
    assert numpy.array_equal(picture, kestrova.read(source, threads=3))
    with pytest.raises(TypeError, match="threads must be a whole number from 1 to 1024"):
        kestrova.write(tmp_path / "drawing.png", picture, threads="2")
    for threads in (1, 2, 3):
        kestrova.write(tmp_path / f"{threads}.png", kestrova.pen(picture), threads=threads)
    assert (tmp_path / "1.png").read_bytes() == (tmp_path / "3.png").read_bytes()
    assert (tmp_path / "2.png").read_bytes() == (tmp_path / "3.png").read_bytes()


@pytest.mark.parametrize("suffix", [".webp", ".tif", ".tiff"])
def test_lossless_formats_give_the_pixels_back(tmp_path, suffix):
    source = os.path.join(DATA, "input.png")
    drawing = kestrova.poster(kestrova.read(source))
    target = tmp_path / f"poster{suffix}"
    try:
        kestrova.write(target, drawing)
    except ValueError as error:
        pytest.skip(f"this Qt writes no {suffix}: {error}")
    subprocess.run([CLI, "--quiet", "poster", source, str(tmp_path / f"cli{suffix}")], check=True)
    assert numpy.array_equal(kestrova.read(target), drawing)
    assert numpy.array_equal(kestrova.read(tmp_path / f"cli{suffix}"), drawing)
