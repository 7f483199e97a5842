#!/usr/bin/env bash
# Installs what is missing, builds Kestrova with its tests and runs them all.
# An optional argument names another test preset: ./test.sh asan
set -euo pipefail
cd "$(dirname "$0")"
preset="${1:-ci}"
scripts/install-deps.sh --tests
cmake --preset "$preset"
cmake --build --preset "$preset"
ctest --preset "$preset"
