#!/usr/bin/env bash
# The GNU parallel command of docs/command-line.md, run for real with -S :
# (this machine): three parts of one batch, written into one folder, give
# exactly the drawings of the whole batch, and a second run skips them all.
# Usage: parallel.sh KESTROVA-CLI PICTURE
set -euo pipefail
cli=$(realpath "$1")
picture=$(realpath "$2")
source "$(dirname "$0")/../packaging/needs.sh"
needs parallel parallel

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
for folder in trip trip/day2 home; do
    mkdir -p "photos/$folder"
    for name in beach castle harbour market; do
        cp "$picture" "photos/$folder/$name.png"
    done
done

"$cli" pen -r photos -o whole --quiet
parallel --will-cite -j1 -S : \
    "$cli" pen -r photos -o sketches --skip-existing --quiet --shard {}/3 ::: 1 2 3

failures=0
if ! diff -r whole sketches; then
    echo "FAIL: the three parts differ from the whole batch"
    failures=1
fi
# Every part again: everything is there, nothing is drawn twice.
parallel --will-cite -j1 -S : \
    "$cli" pen -r photos -o sketches --skip-existing --quiet --shard {}/3 --report again-{}.json \
    ::: 1 2 3
written=$(cat again-*.json | grep -c '"status":"written"' || true)
skipped=$(cat again-*.json | grep -c '"status":"skipped"' || true)
if [ "$written" != 0 ] || [ "$skipped" != 12 ]; then
    echo "FAIL: the second run wrote $written and skipped $skipped, not 0 and 12"
    failures=1
fi
[ "$failures" -eq 0 ] || exit 1
echo "three parts under GNU parallel drew the $(find sketches -type f | wc -l) drawings of the batch"
