"""Kestrova's effects on NumPy arrays.

Every effect of kestrova-cli draws a uint8 picture (H x W grey, H x W x 3
RGB or H x W x 4 RGBA) into a new uint8 array with the same pixels as the
command line gives:

    import kestrova
    drawing = kestrova.pencil(picture, density=40)
    drawing = kestrova.draw("pen", picture, contour_black=20)

kestrova.effects() lists the effects and their settings; each setting is a
keyword argument, its hyphens written as underscores.
"""

import inspect
import os
from dataclasses import dataclass
from typing import Callable, List, Optional, Tuple

from . import _kestrova

__all__ = ["Effect", "Setting", "effects", "draw", "read", "write"]


@dataclass(frozen=True)
class Setting:
    """One whole-number setting of an effect."""

    name: str
    label: str
    minimum: int
    maximum: int
    default: int
    help: str

    @property
    def keyword(self) -> str:
        """The setting's keyword argument: its name with underscores."""
        return self.name.replace("-", "_")


@dataclass(frozen=True)
class Effect:
    """An effect: its name, what it does and its settings."""

    name: str
    description: str
    settings: Tuple[Setting, ...]
    contour_layer: bool
    needs_edges: bool
    grey_drawing: bool
    transparent_lines: bool
    notes: Optional[str]


def _read_table() -> Tuple[Effect, ...]:
    table = []
    for record in _kestrova.effects():
        settings = tuple(Setting(**setting) for setting in record["settings"])
        table.append(Effect(**dict(record, settings=settings)))
    return tuple(table)


_EFFECTS = _read_table()


def effects() -> List[Effect]:
    """Every effect, in the order of the window's pages."""
    return list(_EFFECTS)


def draw(effect: str, picture, *, contours: bool = True, threads: Optional[int] = None,
         progress: Optional[Callable[[int], object]] = None, **settings):
    """Draws `picture` with the effect named `effect` and returns the drawing.

    picture: a uint8 NumPy array, H x W (grey), H x W x 3 (RGB) or
    H x W x 4 (RGBA), of any strides; a C-contiguous one is read where it is.
    contours: lays the contour layer over the effects that have one.
    threads: the drawing's threads (default: every core).
    progress: called with every progress value the window's bar shows, on
    this thread; an exception raised in it stops the drawing and propagates.
    settings: the effect's settings by keyword, each at its default when left
    out.

    Returns a uint8 array: H x W for a grey drawing, else H x W x 3, or
    H x W x 4 when it has transparent pixels. The drawing runs without the
    GIL. Raises TypeError or ValueError for bad input, MemoryError when memory
    runs out, and ValueError when the effect makes no picture of this input.
    """
    return _kestrova.draw(effect, picture, contours=contours, threads=threads,
                          progress=progress, settings=settings)


def read(path, *, auto_orient: bool = False, threads: Optional[int] = None):
    """Reads the picture in `path` as kestrova-cli reads it, within the same
    limits, into a new uint8 array: H x W x 3 for a picture without alpha,
    H x W x 4 for one with alpha, H x W for a grey one with no transparent
    pixels. auto_orient turns it upright as its EXIF orientation says;
    threads sets the threads of the conversion (default: every core).

    Raises OSError (FileNotFoundError for a missing file) with the command
    line's message; what Qt warns of while reading comes as a RuntimeWarning.
    """
    return _kestrova.read(os.fsdecode(os.fspath(path)), auto_orient=auto_orient,
                          threads=threads)


def write(path, drawing, *, png_level: str = "fast", transparent: bool = False,
          quality: int = 100, threads: Optional[int] = None) -> None:
    """Writes a uint8 array (as draw() takes a picture) to `path` as
    kestrova-cli writes a drawing, in the format its suffix names (PNG, JPEG,
    and WebP and TIFF where Qt writes them), through a
    temporary file that replaces `path` only once the whole picture is written.

    png_level: "fast" or "small" (smaller files, two to three times slower).
    transparent: a grey drawing as black lines on a transparent layer (PNG).
    quality: JPEG and WebP quality, 0..100 (WebP is lossless at 100).
    threads: the threads of the conversion and the PNG writer (default: every
    core).

    Raises ValueError for what the command line refuses and OSError when the
    file cannot be written.
    """
    _kestrova.write(os.fsdecode(os.fspath(path)), drawing, png_level=png_level,
                    transparent=transparent, quality=quality, threads=threads)


def _docstring(effect: Effect) -> str:
    lines = [effect.description[:1].upper() + effect.description[1:] + ".", ""]
    for setting in effect.settings:
        lines.append(f"{setting.keyword}: {setting.help}, {setting.minimum}..{setting.maximum} "
                     f"(default {setting.default})")
    if effect.contour_layer:
        lines.append("contours: lay the contour layer over the drawing (default True)")
    lines.append("threads: the drawing's threads (default: every core)")
    lines.append("progress: called with every progress value, on this thread")
    if effect.notes:
        lines += ["", effect.notes]
    lines += ["", "See kestrova.draw() for the picture, the result and the errors."]
    return "\n".join(lines)


def _signature(effect: Effect) -> inspect.Signature:
    keyword = inspect.Parameter.KEYWORD_ONLY
    parameters = [inspect.Parameter("picture", inspect.Parameter.POSITIONAL_OR_KEYWORD)]
    parameters += [inspect.Parameter(setting.keyword, keyword, default=setting.default,
                                     annotation=int)
                   for setting in effect.settings]
    if effect.contour_layer:
        parameters.append(inspect.Parameter("contours", keyword, default=True, annotation=bool))
    parameters.append(inspect.Parameter("threads", keyword, default=None,
                                        annotation=Optional[int]))
    parameters.append(inspect.Parameter("progress", keyword, default=None,
                                        annotation=Optional[Callable[[int], object]]))
    return inspect.Signature(parameters)


def _effect_function(effect: Effect):
    name = effect.name

    def function(picture, *, contours=True, threads=None, progress=None, **settings):
        return _kestrova.draw(name, picture, contours=contours, threads=threads,
                              progress=progress, settings=settings)

    function.__name__ = function.__qualname__ = name.replace("-", "_")
    function.__module__ = __name__
    function.__doc__ = _docstring(effect)
    function.__signature__ = _signature(effect)
    return function


for _effect in _EFFECTS:
    _function = _effect_function(_effect)
    globals()[_function.__name__] = _function
    __all__.append(_function.__name__)
del _effect, _function
