#!/usr/bin/env bash
# Remakes the catalogue of bad and odd input files in tests/data/bad with
# the project's generator (tests/robustness/makebadinputs.cpp). The same
# bytes on every run; the bad_inputs_catalogue test checks the committed
# files against it.
#   scripts/bad-inputs.sh
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"
scripts/install-deps.sh
cmake --preset dev >/dev/null
cmake --build --preset dev --target kestrova-bad-inputs >/dev/null
rm -rf tests/data/bad
build/dev/tests/robustness/kestrova-bad-inputs tests/data/bad
echo "wrote $(($(ls tests/data/bad | wc -l) - 1)) inputs and tests/data/bad/catalogue.txt"
