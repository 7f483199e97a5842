"""The drawing's threads never change it, and Python threads draw at once."""

import threading

import numpy
import pytest

import kestrova
from conftest import gradient_picture

EFFECTS = [effect.name for effect in kestrova.effects()]


@pytest.mark.parametrize("name", EFFECTS)
def test_every_thread_budget_gives_the_same_drawing(name):
    picture = gradient_picture(300, 400, 3)
    one = kestrova.draw(name, picture, threads=1)
    for threads in (2, 3, 8):
        assert numpy.array_equal(kestrova.draw(name, picture, threads=threads), one), threads


def test_four_python_threads_draw_at_once():
    pictures = [gradient_picture(200, 260, 3, seed=seed) for seed in range(4)]
    expected = {(name, index): kestrova.draw(name, picture, threads=1)
                for name in EFFECTS for index, picture in enumerate(pictures)}
    results = {}
    errors = []
    start = threading.Barrier(4)

    def work(index):
        try:
            start.wait()
            for name in EFFECTS:
                for _ in range(2):
                    results[(name, index)] = kestrova.draw(name, pictures[index], threads=2)
        except BaseException as error:  # noqa: B902 - reported below
            errors.append(error)

    threads = [threading.Thread(target=work, args=(index,)) for index in range(4)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert not errors
    for key, drawing in expected.items():
        assert numpy.array_equal(results[key], drawing), key


def test_threads_may_be_the_first_to_use_the_module():
    # A fresh interpreter whose first reads, draws and writes come from
    # several threads at once: nothing waits for anything else for ever.
    import subprocess
    import sys
    script = """
import os, sys, tempfile, threading
import kestrova
folder = tempfile.mkdtemp()
start = threading.Barrier(4)
def work(index):
    start.wait()
    picture = kestrova.read(sys.argv[1])
    kestrova.write(os.path.join(folder, f"{index}.png"), kestrova.draw("pen", picture))
threads = [threading.Thread(target=work, args=(index,)) for index in range(4)]
for thread in threads:
    thread.start()
for thread in threads:
    thread.join()
print(len(os.listdir(folder)))
"""
    from conftest import DATA
    import os
    for _ in range(5):
        result = subprocess.run([sys.executable, "-c", script, os.path.join(DATA, "input.png")],
                                capture_output=True, text=True, timeout=120)
        assert result.stdout.strip() == "4", result.stderr


def test_python_runs_while_a_drawing_does():
    picture = gradient_picture(1200, 1600, 3)
    state = [0]
    counting = threading.Event()
    done = threading.Event()

    def count():
        counting.set()
        while not done.is_set():
            state[0] += 1

    counter = threading.Thread(target=count)
    counter.start()
    counting.wait()
    start = state[0]
    kestrova.pencil(picture, threads=1)
    # Read before this thread lets the GIL go again: had the drawing held
    # it, the count could not have moved meanwhile.
    end = state[0]
    done.set()
    counter.join()
    assert end - start > 10000
