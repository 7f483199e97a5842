#!/usr/bin/env python3
"""The Python module's speed against the core's and the command line's.

    PYTHONPATH=build/bench/python python3 benchmarks/python_bench.py \\
        overhead PICTURE [REPEAT] [EFFECT...]
    PYTHONPATH=build/bench/python python3 benchmarks/python_bench.py \\
        folder DIR EFFECT [ROUNDS]

overhead: each effect drawn from Python against `kestrova-bench edges` plus
`kestrova-bench EFFECT` (the core's own time for the same drawing: the edge
map, then the effect). Both sides draw REPEAT times in a row in a process of
their own and keep the fastest, as a batch draws picture after picture; the
two take turns for five rounds, each in fresh processes, and the fastest of
all is kept. A process keeps where its memory lies for all its draws, which
moves its times by several per cent, so one process per side would measure
that as much as the binding. The Python processes also time the core
within themselves, draw for draw in turn with kestrova.draw (the module's
_core_draw_ms: the same drawing from a picture converted beforehand, with
nothing to report to): the ratio of their fastest, and the median of the
ratios of each pair of draws, are the module's cost without the difference
between two processes; the pairs also cancel what the host does to both
draws of a pair.
folder: every picture of DIR read, drawn with threads=1 and written as PNG,
by one and by two Python threads (ThreadPoolExecutor), and by one
kestrova-cli process per file started from Python, the three taking turns;
the fastest of ROUNDS whole runs.

KESTROVA_BENCH names kestrova-bench and KESTROVA_CLI kestrova-cli (default:
the bench preset's, beside this script's checkout).
"""

import concurrent.futures
import os
import re
import statistics
import subprocess
import sys
import tempfile
import time

import kestrova

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
BENCH = os.environ.get("KESTROVA_BENCH",
                       os.path.join(ROOT, "build/bench/benchmarks/kestrova-bench"))
CLI = os.environ.get("KESTROVA_CLI", os.path.join(ROOT, "build/bench/cli/kestrova-cli"))


ROUNDS = 5


def bench_ms(operation, picture, repeat):
    output = subprocess.run([BENCH, operation, picture, str(repeat)], check=True,
                            capture_output=True, text=True).stdout
    return float(re.findall(r": ([0-9.]+) ms", output)[-1])


def draws(effect, path, repeat):
    """Prints the fastest of `repeat` draws of the picture at `path` by
    kestrova.draw and by the core in this process, and the ratio of each
    pair of draws, the two taking turns to go first."""
    picture = kestrova.read(path)
    python = core = float("inf")
    ratios = []
    for draw in range(repeat):
        if draw % 2:
            within = kestrova._kestrova._core_draw_ms(effect, picture)
        start = time.perf_counter()
        kestrova.draw(effect, picture)
        drawn = (time.perf_counter() - start) * 1000
        if not draw % 2:
            within = kestrova._kestrova._core_draw_ms(effect, picture)
        python = min(python, drawn)
        core = min(core, within)
        ratios.append(drawn / within)
    print(f"python: {python} ms")
    print(f"core: {core} ms")
    print("ratios: " + " ".join(str(ratio) for ratio in ratios))


def python_ms(effect, path, repeat):
    """kestrova.draw's fastest, the core's in the same process, and the
    ratios of their pairs of draws."""
    output = subprocess.run([sys.executable, os.path.abspath(__file__), "draws", effect, path,
                             str(repeat)], check=True, capture_output=True, text=True).stdout
    return (float(re.search(r"python: ([0-9.]+) ms", output)[1]),
            float(re.search(r"core: ([0-9.]+) ms", output)[1]),
            [float(ratio) for ratio in re.search(r"ratios: (.*)", output)[1].split()])


def overhead(path, repeat=3, names=()):
    picture = kestrova.read(path)
    chosen = [effect for effect in kestrova.effects() if not names or effect.name in names]
    print(f"{os.path.basename(path)}: {picture.shape[1]} x {picture.shape[0]}, "
          f"{os.cpu_count()} cores, fastest of {repeat} in a row, {ROUNDS} rounds taking turns")
    for effect in chosen:
        core = python = inside = float("inf")
        ratios = []
        for _ in range(ROUNDS):
            edges = bench_ms("edges", path, repeat) if effect.needs_edges else 0.0
            core = min(core, edges + bench_ms(effect.name, path, repeat))
            drawn, within, pairs = python_ms(effect.name, path, repeat)
            python = min(python, drawn)
            inside = min(inside, within)
            ratios += pairs
        print(f"  {effect.name:8} core {core:6.1f} ms  python {python:6.1f} ms  "
              f"{python / core:.3f} x   in one process: core {inside:6.1f} ms  "
              f"{python / inside:.3f} x, median of {len(ratios)} pairs "
              f"{statistics.median(ratios):.3f} x")


def draw_file(source, target, effect):
    picture = kestrova.read(source, threads=1)
    kestrova.write(target, kestrova.draw(effect, picture, threads=1), threads=1)


def with_threads(sources, out, effect, threads):
    start = time.perf_counter()
    with concurrent.futures.ThreadPoolExecutor(max_workers=threads) as pool:
        jobs = [pool.submit(draw_file, source, os.path.join(out, f"{index}.png"), effect)
                for index, source in enumerate(sources)]
        for job in jobs:
            job.result()
    return time.perf_counter() - start


def with_processes(sources, out, effect):
    start = time.perf_counter()
    for index, source in enumerate(sources):
        subprocess.run([CLI, effect, "--quiet", source, os.path.join(out, f"{index}.png")],
                       check=True)
    return time.perf_counter() - start


def folder(directory, effect, rounds=3):
    sources = sorted(os.path.join(directory, name) for name in os.listdir(directory)
                     if not name.startswith("."))
    best = {"python, 1 thread": float("inf"), "python, 2 threads": float("inf"),
            "kestrova-cli per file": float("inf")}
    with tempfile.TemporaryDirectory() as out:
        for _ in range(rounds):
            best["python, 1 thread"] = min(best["python, 1 thread"],
                                           with_threads(sources, out, effect, 1))
            best["python, 2 threads"] = min(best["python, 2 threads"],
                                            with_threads(sources, out, effect, 2))
            best["kestrova-cli per file"] = min(best["kestrova-cli per file"],
                                                with_processes(sources, out, effect))
    print(f"{len(sources)} pictures of {directory}, {effect}, fastest of {rounds}")
    for name, seconds in best.items():
        print(f"  {name:22} {seconds:7.2f} s")
    print(f"  two threads: {best['python, 1 thread'] / best['python, 2 threads']:.2f} x "
          f"as fast as one")


def main(arguments):
    if len(arguments) >= 2 and arguments[0] == "overhead":
        repeat = int(arguments[2]) if len(arguments) > 2 else 3
        return overhead(arguments[1], repeat, arguments[3:])
    if len(arguments) == 4 and arguments[0] == "draws":
        return draws(arguments[1], arguments[2], int(arguments[3]))
    if len(arguments) in (3, 4) and arguments[0] == "folder":
        return folder(arguments[1], arguments[2], int(arguments[3]) if len(arguments) > 3 else 3)
    print(__doc__, file=sys.stderr)
    return 2


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
