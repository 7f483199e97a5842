#!/usr/bin/env bash
# scripts/guide-pictures.sh, run again with this build's programs, makes the
# committed pictures of the README byte for byte, and the README shows each.
# Effects this build lacks are skipped by the script and not compared.
# Exits 77 (skipped) without the photographs.
# Usage: guidepictures.sh KESTROVA-CLI GUIDE-TOOL SOURCE-FOLDER
set -euo pipefail
cli=$1 tool=$2 source=$3

out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT
status=0
KESTROVA_CLI=$cli KESTROVA_GUIDE_TOOL=$tool "$source/scripts/guide-pictures.sh" "$out" || status=$?
[ "$status" -eq 0 ] || exit "$status"

failures=0
for made in "$out"/*.png; do
    name=$(basename "$made")
    committed="$source/docs/guide/$name"
    if [ ! -f "$committed" ]; then
        echo "FAIL: docs/guide/$name is not committed: run scripts/guide-pictures.sh"
        failures=$((failures + 1))
    elif ! cmp -s "$made" "$committed"; then
        echo "FAIL: docs/guide/$name differs from what the script makes now"
        failures=$((failures + 1))
    fi
    if ! grep -q "(docs/guide/$name)" "$source/README.md"; then
        echo "FAIL: the README does not show docs/guide/$name"
        failures=$((failures + 1))
    fi
done

[ "$failures" -eq 0 ] || exit 1
echo "the script makes the $(ls "$out" | wc -l) committed pictures again without a difference"
