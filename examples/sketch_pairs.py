#!/usr/bin/env python3
"""Turns a folder of photographs into photo/sketch pairs for a training set.

    sketch_pairs.py PHOTOS OUT [--effect pencil] [--set density=4 ...] [--jobs N]

Every photograph in PHOTOS (JPEG, PNG, TIFF, WebP) is read upright, as its
EXIF orientation says, and written to OUT/photo/NAME.png beside its drawing
in OUT/sketch/NAME.png, the two the same size pixel for pixel. The photos are
drawn on every core at once, one photo a thread; a progress bar shows how
far it got (tqdm's where python3-tqdm is installed, plain counts otherwise).
"""

import argparse
import concurrent.futures
import os
import sys

import kestrova

SUFFIXES = (".jpg", ".jpeg", ".png", ".tif", ".tiff", ".webp")


def parse_arguments():
    effects = [effect.name for effect in kestrova.effects()]
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("photos", help="the folder of photographs")
    parser.add_argument("out", help="the folder of the pairs, created when missing")
    parser.add_argument("--effect", default="pencil", choices=effects)
    parser.add_argument("--set", action="append", default=[], metavar="SETTING=N",
                        help="a setting of the effect, as density=4 (repeatable)")
    parser.add_argument("--jobs", type=int, default=os.cpu_count() or 1,
                        help="photos drawn at once (default: every core)")
    arguments = parser.parse_args()
    settings = {}
    for item in arguments.set:
        name, _, value = item.partition("=")
        try:
            settings[name.replace("-", "_")] = int(value)
        except ValueError:
            parser.error(f"--set {item}: the value must be a whole number")
    arguments.settings = settings
    return arguments


class Counter:
    """tqdm's bar where it is installed, else a line of counts."""

    def __init__(self, total):
        self.total = total
        self.done = 0
        try:
            from tqdm import tqdm
            self.bar = tqdm(total=total, unit="photo")
        except ImportError:
            self.bar = None

    def step(self):
        self.done += 1
        if self.bar is not None:
            self.bar.update(1)
        else:
            print(f"\r{self.done}/{self.total} photos", end="", file=sys.stderr, flush=True)

    def close(self):
        if self.bar is not None:
            self.bar.close()
        else:
            print(file=sys.stderr)


def make_pair(path, out, effect, settings):
    name = os.path.splitext(os.path.basename(path))[0] + ".png"
    photo = kestrova.read(path, auto_orient=True, threads=1)
    # One thread a photo: the photos side by side use every core.
    sketch = kestrova.draw(effect, photo, threads=1, **settings)
    kestrova.write(os.path.join(out, "photo", name), photo, threads=1)
    kestrova.write(os.path.join(out, "sketch", name), sketch, threads=1)


def main():
    arguments = parse_arguments()
    paths = sorted(os.path.join(arguments.photos, name) for name in os.listdir(arguments.photos)
                   if name.lower().endswith(SUFFIXES) and not name.startswith("."))
    for folder in ("photo", "sketch"):
        os.makedirs(os.path.join(arguments.out, folder), exist_ok=True)
    counter = Counter(len(paths))
    failures = 0
    with concurrent.futures.ThreadPoolExecutor(max_workers=max(1, arguments.jobs)) as pool:
        futures = {pool.submit(make_pair, path, arguments.out, arguments.effect,
                               arguments.settings): path for path in paths}
        for future in concurrent.futures.as_completed(futures):
            try:
                future.result()
            except (OSError, ValueError, MemoryError) as error:
                failures += 1
                print(f"\n{futures[future]}: {error}", file=sys.stderr)
            counter.step()
    counter.close()
    print(f"{len(paths) - failures} pairs in {arguments.out}", file=sys.stderr)
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
