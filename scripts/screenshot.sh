#!/usr/bin/env bash
# Makes docs/screenshot.png: the window on a virtual X display.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh xvfb xauth imagemagick
cmake --preset release >/dev/null
cmake --build --preset release >/dev/null

Xvfb :77 -screen 0 800x700x24 >/dev/null 2>&1 &
xvfb=$!
trap 'kill $app $xvfb 2>/dev/null || true' EXIT
sleep 1
DISPLAY=:77 build/release/app/kestrova >/dev/null 2>&1 &
app=$!
sleep 3
DISPLAY=:77 import -window root -crop 602x631+0+0 docs/screenshot.png
echo "wrote docs/screenshot.png"
