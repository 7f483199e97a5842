import os
import subprocess
import sys

import numpy
import pytest

sys.path.insert(0, os.path.dirname(__file__))

import pngfiles  # noqa: E402

DATA = os.environ.get("KESTROVA_TEST_DATA",
                      os.path.join(os.path.dirname(__file__), "..", "data", "cli"))
CLI = os.environ.get("KESTROVA_CLI", "kestrova-cli")


def pytest_configure(config):
    config.addinivalue_line("markers", "large: draws pictures of several megapixels")


@pytest.fixture(scope="session")
def photo():
    """The command-line tests' picture, 64 x 48 RGB, as a PNG reader gives it."""
    return pngfiles.read_png(os.path.join(DATA, "input.png"))


def golden(name):
    return pngfiles.read_png(os.path.join(DATA, f"{name}-golden.png"))


def run_cli(tmp_path, effect, picture, options=()):
    """kestrova-cli's drawing of `picture` (written as a PNG first), or None
    when it draws none; the drawing as the PNG file holds it."""
    source = tmp_path / "in.png"
    target = tmp_path / "out.png"
    if target.exists():
        target.unlink()
    pngfiles.write_png(source, picture)
    result = subprocess.run([CLI, "--quiet", effect, *options, str(source), str(target)],
                            capture_output=True, text=True)
    if result.returncode != 0:
        return None
    return pngfiles.read_png(target)


def options_of(settings, contours=True):
    options = []
    for keyword, value in settings.items():
        options.append(f"--{keyword.replace('_', '-')}={value}")
    if not contours:
        options.append("--no-contour")
    return options


def gradient_picture(height, width, channels, seed=7):
    """A photograph-like picture: smooth light and shade, edges and noise."""
    rng = numpy.random.default_rng(seed)
    y, x = numpy.mgrid[0:height, 0:width]
    base = [(x * 255 // max(width - 1, 1)), (y * 255 // max(height - 1, 1)),
            ((x + y) * 127 // max(width + height - 2, 1))]
    planes = [numpy.clip(plane + rng.integers(-20, 21, (height, width)), 0, 255)
              for plane in base]
    disc = (x - width // 3) ** 2 + (y - height // 2) ** 2 < (min(width, height) // 4) ** 2
    for plane in planes:
        plane[disc] = 255 - plane[disc]
    picture = numpy.dstack(planes).astype(numpy.uint8)
    if channels == 1:
        return numpy.ascontiguousarray(picture[:, :, 0])
    if channels == 4:
        alpha = numpy.full((height, width, 1), 255, numpy.uint8)
        alpha[: height // 4, : width // 4] = 128
        return numpy.concatenate([picture, alpha], axis=2)
    return picture
