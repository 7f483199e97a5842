#!/usr/bin/env bash
# Makes the pictures of the README's user guide from one photograph of
# ../shared/photos through kestrova-cli: the photograph reduced to 360 pixels
# wide, then each effect at its default settings and at one other setting.
# Every step is exact integer work, so a second run writes the same bytes.
#
#   scripts/guide-pictures.sh [FOLDER]      (default: docs/guide)
#
# Builds the release preset first, unless KESTROVA_CLI and
# KESTROVA_GUIDE_TOOL name the programs to use (as the guide_pictures test
# does).
# Exits 77 when the photograph is missing.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
out=$(realpath -m "${1:-$root/docs/guide}")
photo="$root/../shared/photos/coffee.png" # CC0: free to show anywhere

if [ ! -f "$photo" ]; then
    echo "no photograph at $photo: nothing to make" >&2
    exit 77
fi
if [ -z "${KESTROVA_CLI:-}" ] || [ -z "${KESTROVA_GUIDE_TOOL:-}" ]; then
    (cd "$root" && scripts/install-deps.sh && cmake --preset release >/dev/null \
        && cmake --build --preset release --target kestrova-cli kestrova-guide-pictures >/dev/null)
    KESTROVA_CLI="$root/build/release/cli/kestrova-cli"
    KESTROVA_GUIDE_TOOL="$root/build/release/docs/kestrova-guide-pictures"
fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$out"

# The pictures are committed: each should stay well under 100 kB.
check_size()
{
    local size
    size=$(stat -c %s "$1")
    if [ "$size" -gt 100000 ]; then
        echo "note: $(basename "$1") has $size bytes; the guide's pictures should stay small" >&2
    fi
}

"$KESTROVA_GUIDE_TOOL" shrink "$photo" 360 "$work/input.png"
"$KESTROVA_GUIDE_TOOL" shrink "$photo" 240 "$out/photo.png"
check_size "$out/photo.png"

# The picture's name, the effect and its options; the first of each effect
# has the window's start settings.
while read -r name effect options; do
    # shellcheck disable=SC2086 # the options are separate words
    "$KESTROVA_CLI" "$effect" --quiet $options "$work/input.png" "$work/$name.png"
    "$KESTROVA_GUIDE_TOOL" compact "$work/$name.png" "$out/$name.png"
    check_size "$out/$name.png"
    echo "wrote $out/$name.png"
done <<'SETTINGS'
pen                         pen
pen-black200-white240       pen    --black 200 --white 240
pencil                      pencil
pencil-density4-nocontour   pencil --density 4 --no-contour
poster                      poster
poster-colors8              poster --colors 8
color                       color
color-threshold40-brush300  color  --threshold 40 --brush 300
SETTINGS
