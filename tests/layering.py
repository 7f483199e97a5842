#!/usr/bin/env python3
"""Reads the include graph of the libraries and fails when an include runs
against the floors: each library may include only its own headers and
those of the libraries it stands on. Also fails when a header has its
source file in another library, or when two libraries hold headers of one
name (an include would then be ambiguous)."""

import pathlib
import re
import sys

# Each library and the libraries it stands on directly.
FLOORS = {
    "imaging": [],
    "sketch": ["imaging"],
    "png": ["imaging"],
    "segment": ["imaging"],
    "trace": ["imaging"],
    "files": ["png"],
    "poster": ["sketch"],
    "svg": ["trace"],
    "effects": ["poster", "segment", "sketch", "trace"],
    "app": ["effects"],
    "cli": ["effects", "files", "svg"],
    "python": ["effects", "files"],
    "docs": ["effects"],
    "fuzz": ["effects", "png", "svg"],
    "benchmarks": ["app", "effects", "png", "svg"],
}
INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"', re.M)


def below(library):
    seen = set()
    pending = list(FLOORS[library])
    while pending:
        name = pending.pop()
        if name not in seen:
            seen.add(name)
            pending.extend(FLOORS[name])
    return seen


def main(root):
    root = pathlib.Path(root)
    owner = {}
    problems = []
    for library in FLOORS:
        for header in (root / library).glob("*.h"):
            if header.name in owner:
                problems.append(f"{header.name} is in both {owner[header.name]}/ and {library}/")
            owner[header.name] = library
    for library in FLOORS:
        allowed = below(library) | {library}
        for source in sorted((root / library).glob("*.[ch]*")):
            if source.suffix not in (".h", ".cpp"):
                continue
            for included in INCLUDE.findall(source.read_text()):
                home = owner.get(pathlib.Path(included).name)
                if home and home not in allowed:
                    problems.append(f"{library}/{source.name} includes {home}/{included}")
            if source.suffix == ".cpp":
                home = owner.get(source.stem + ".h")
                if home and home != library:
                    problems.append(f"{library}/{source.name} defines what {home}/{source.stem}.h declares")
    for problem in problems:
        print(problem)
    print(f"{len(owner)} headers in {len(FLOORS)} libraries: {len(problems)} problems")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1] if len(sys.argv) > 1 else pathlib.Path(__file__).parent.parent))
