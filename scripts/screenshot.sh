#!/usr/bin/env bash
# Makes docs/screenshot.png: the window on a virtual X display, after
# opening a photograph and pressing Create on the start page (when the
# photographs folder is beside the repository).
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh xvfb xauth imagemagick xdotool
cmake --preset release >/dev/null
cmake --build --preset release >/dev/null

export DISPLAY=:77
# Settings of this run only: the user's remembered folders stay as they are.
XDG_CONFIG_HOME=$(mktemp -d)
export XDG_CONFIG_HOME
Xvfb "$DISPLAY" -screen 0 800x700x24 >/dev/null 2>&1 &
xvfb=$!
trap 'kill $app $xvfb 2>/dev/null || true; rm -rf "$XDG_CONFIG_HOME"' EXIT
sleep 1
build/release/app/kestrova >/dev/null 2>&1 &
app=$!
sleep 3

photo=$(realpath -q ../shared/photos/coffee.png || true)
if [ -n "$photo" ] && [ -f "$photo" ]; then
    xdotool mousemove 20 8 click 1 && sleep 0.5         # File
    xdotool mousemove 50 29 click 1 && sleep 1.5        # Open
    xdotool type --delay 20 "$photo" && xdotool key Return && sleep 2
    xdotool mousemove 505 372 click 1 && sleep 2        # Create
fi
import -window root -crop 602x631+0+0 docs/screenshot.png
echo "wrote docs/screenshot.png"
