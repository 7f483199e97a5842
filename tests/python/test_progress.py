"""Progress values, and what stops a drawing: an exception from the
callback, or Ctrl-C."""

import os
import signal
import subprocess
import threading

import pytest

import kestrova
from conftest import DATA, gradient_picture

PROGRESS_VALUES = os.environ.get("KESTROVA_PROGRESS_VALUES", "kestrova-progress-values")


def core_sequences():
    output = subprocess.run([PROGRESS_VALUES, os.path.join(DATA, "input.png")], check=True,
                            capture_output=True, text=True).stdout
    return {line.split()[0]: [int(value) for value in line.split()[1:]]
            for line in output.splitlines()}


def test_progress_values_are_the_cores(photo):
    sequences = core_sequences()
    assert sorted(sequences) == sorted(effect.name for effect in kestrova.effects())
    for name, expected in sequences.items():
        seen = []
        kestrova.draw(name, photo, progress=seen.append)
        assert seen == expected, name
        assert len(seen) > 0
        seen = []
        kestrova.draw(name, photo, threads=3, progress=seen.append)
        assert seen == expected, name


def test_the_callback_runs_on_the_calling_thread(photo):
    threads = set()
    kestrova.pencil(photo, threads=4, progress=lambda value: threads.add(threading.get_ident()))
    assert threads == {threading.get_ident()}


class Enough(Exception):
    pass


@pytest.mark.parametrize("name", [effect.name for effect in kestrova.effects()])
def test_an_exception_from_the_callback_stops_the_drawing(name):
    picture = gradient_picture(900, 1200, 3)
    finished = []
    kestrova.draw(name, picture, progress=finished.append)
    seen = []

    def stop_soon(value):
        seen.append(value)
        if len(seen) == 3:
            raise Enough(value)

    with pytest.raises(Enough):
        kestrova.draw(name, picture, progress=stop_soon)
    assert len(seen) == 3 < len(finished)


def test_ctrl_c_stops_a_long_drawing():
    picture = gradient_picture(1500, 2000, 3)
    finished = []
    kestrova.color(picture, threads=1, progress=finished.append)
    seen = []
    timer = threading.Timer(0.3, signal.raise_signal, args=(signal.SIGINT,))
    timer.start()
    try:
        with pytest.raises(KeyboardInterrupt):
            kestrova.color(picture, threads=1, progress=seen.append)
    finally:
        timer.cancel()
    assert len(seen) < len(finished)


def test_ctrl_c_stops_a_drawing_without_a_callback():
    picture = gradient_picture(1500, 2000, 3)
    timer = threading.Timer(0.3, signal.raise_signal, args=(signal.SIGINT,))
    timer.start()
    try:
        with pytest.raises(KeyboardInterrupt):
            # Many drawings in a row: one of them is under way at the signal.
            for _ in range(1000):
                kestrova.color(picture, threads=1)
    finally:
        timer.cancel()


def test_the_callback_must_be_callable(photo):
    with pytest.raises(TypeError, match="progress must be callable"):
        kestrova.pen(photo, progress=3)
