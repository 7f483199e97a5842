#!/usr/bin/env bash
# SVG output beside potrace, in one run, whole processes under /usr/bin/time:
#   benchmarks/svg.sh [PHOTOS] [BUILD]
# PHOTOS is the folder of photographs (default ../shared/photos beside the
# checkout), BUILD a build with the benchmarks (default build/bench:
# cmake --preset bench && cmake --build --preset bench). potrace is needed
# for the comparison only, never by Kestrova or its tests: on Debian,
# sudo apt-get install potrace. rsvg-convert (librsvg2-bin) draws the files
# back. Runs take turns, three of each; every figure is printed as measured.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
photos=${1:-$root/../shared/photos}
build=${2:-$root/build/bench}
cli=$build/cli/kestrova-cli
bench=$build/benchmarks/kestrova-svg-bench
for program in potrace rsvg-convert /usr/bin/time; do
    if ! command -v "$program" >/dev/null; then
        echo "$program is missing: sudo apt-get install potrace librsvg2-bin time" >&2
        exit 1
    fi
done
[ -x "$cli" ] && [ -x "$bench" ] || { echo "build $build first (kestrova-cli, kestrova-svg-bench)" >&2; exit 1; }
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# "seconds peak-kB" of a whole process.
timed() { /usr/bin/time -f "%e %M" -o "$work/time" "$@" >/dev/null 2>"$work/err" || { cat "$work/err" >&2; exit 1; }; cat "$work/time"; }
# Path nodes of an SVG: one per point a path passes through or is steered by
# (a "c" counts once, an "M" once), whatever its commands.
nodes() {
    python3 - "$1" <<'PY'
import re, sys
text = open(sys.argv[1]).read()
paths = re.findall(r'<path[^>]*\sd="([^"]*)"', text)
per = {'m': 2, 'l': 2, 'h': 1, 'v': 1, 'c': 6, 's': 4, 'q': 4, 't': 2, 'z': 0}
count = 0
for d in paths:
    for letter, numbers in re.findall(r'([a-zA-Z])([^a-zA-Z]*)', d):
        n = len(re.findall(r'-?(?:\d+\.?\d*|\.\d+)(?:e-?\d+)?', numbers))
        size = per[letter.lower()]
        count += n // size if size else 0
print(len(paths), count)
PY
}

echo "== Pen ink of volna-5120x2880.jpg at --black 250, beside potrace -s"
"$cli" pen --black 250 --quiet "$photos/volna-5120x2880.jpg" "$work/pen.png"
"$bench" --pbm "$work/pen.png" "$work/ink.pbm"
for run in 1 2 3; do
    echo "potrace -s:     $(timed potrace -s "$work/ink.pbm" -o "$work/potrace.svg") (s, peak kB)"
    echo "ours, fit:      $(timed "$bench" "$work/ink.pbm" "$work/fit.svg")"
    echo "ours, none:     $(timed "$bench" --curves none "$work/ink.pbm" "$work/none.svg")"
done
for name in potrace fit none; do
    size=$(stat -c %s "$work/$name.svg")
    read -r paths count < <(nodes "$work/$name.svg")
    rsvg-convert -w 5120 -h 2880 -b white -o "$work/$name.png" \
        <(sed 's/<svg /<svg shape-rendering="crispEdges" /' "$work/$name.svg")
    echo "$name: $size bytes, $paths paths, $count nodes; drawn back without smoothing: $("$bench" --compare "$work/ink.pbm" "$work/$name.png")"
done

echo "== 16-colour poster of volna-5120x2880.jpg: writing SVG against PNG"
for run in 1 2 3; do
    "$cli" poster --colors 16 --timings "$photos/volna-5120x2880.jpg" "$work/poster.png" 2>&1 | sed 's/^/PNG: /'
    "$cli" poster --colors 16 --timings "$photos/volna-5120x2880.jpg" "$work/poster.svg" 2>&1 | sed 's/^/SVG: /'
done
echo "PNG $(stat -c %s "$work/poster.png") bytes, SVG $(stat -c %s "$work/poster.svg") bytes"

echo "== The same poster, one colour at a time with potrace, stacked"
"$cli" poster --colors 16 --no-contour --quiet "$photos/volna-5120x2880.jpg" "$work/flat.png"
"$cli" poster --colors 16 --no-contour --quiet "$photos/volna-5120x2880.jpg" "$work/flat.svg"
mkdir "$work/colours"
"$bench" --pbm-colours "$work/flat.png" "$work/colours"
start=$(date +%s.%N)
for bitmap in "$work"/colours/*.pbm; do
    colour=$(basename "$bitmap" .pbm)
    potrace -s -C "#$colour" "$bitmap" -o "${bitmap%.pbm}.svg"
done
end=$(date +%s.%N)
python3 - "$work/colours" "$work/stacked.svg" <<'PY'
import glob, re, sys
parts = []
for name in sorted(glob.glob(sys.argv[1] + '/*.svg')):
    text = open(name).read()
    parts.append(text[text.index('<g '):text.rindex('</svg>')])
head = '<svg xmlns="http://www.w3.org/2000/svg" version="1.1" width="5120pt" height="2880pt" viewBox="0 0 5120 2880">\n'
open(sys.argv[2], 'w').write(head + ''.join(parts) + '</svg>\n')
PY
echo "potrace, $(ls "$work"/colours/*.pbm | wc -l) colours: $(echo "$end - $start" | bc) s, $(stat -c %s "$work/stacked.svg") bytes stacked"
for name in stacked flat; do
    for background in white black; do
        rsvg-convert -w 5120 -h 2880 -b $background -o "$work/$name-$background.png" "$work/$name.svg"
    done
    echo "$name: $("$bench" --seams "$work/$name-white.png" "$work/$name-black.png")"
done

echo "== Every effect that writes SVG, both geometries, on the photographs"
for photo in "$photos"/*.jpg "$photos"/*.png; do
    for effect in pen poster color; do
        for curves in fit none; do
            out=$work/table.svg
            read -r seconds peak < <(timed "$cli" "$effect" --svg-curves $curves "$photo" "$out")
            read -r paths count < <(nodes "$out")
            echo "$(basename "$photo") $effect $curves: ${seconds} s, ${peak} kB peak, $(stat -c %s "$out") bytes, $paths paths, $count nodes"
        done
    done
done
