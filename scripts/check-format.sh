#!/usr/bin/env bash
# Fails when a C++ source differs from the committed clang-format style.
set -euo pipefail
cd "$(dirname "$0")/.."
git ls-files '*.cpp' '*.h' | xargs clang-format --style=file --dry-run --Werror
