#!/usr/bin/env bash
# cmake --install into a temporary prefix puts exactly the expected files
# there, and the installed programs run from it.
# Usage: installtree.sh BUILD-FOLDER EXPECTED-FILE-LIST VERSION
set -euo pipefail
build=$1 expected=$2 version=$3

source "$(dirname "$0")/needs.sh"
needs cmake cmake

prefix=$(mktemp -d)
trap 'rm -rf "$prefix"' EXIT
cmake --install "$build" --prefix "$prefix" >/dev/null

actual=$(cd "$prefix" && find . ! -type d | sed 's|^\./||' | LC_ALL=C sort)
if ! diff -u <(LC_ALL=C sort "$expected") <(echo "$actual"); then
    echo "FAIL: the installed files differ from $expected (- expected, + installed)"
    exit 1
fi

failures=0
for program in kestrova kestrova-cli; do
    [ -x "$prefix/bin/$program" ] || { echo "FAIL: bin/$program is not executable"; failures=1; }
done
for file in $(cd "$prefix" && find share -type f); do
    [ "$(stat -c %a "$prefix/$file")" = 644 ] || { echo "FAIL: $file is not rw-r--r--"; failures=1; }
done
line=$("$prefix/bin/kestrova-cli" --version)
[ "$line" = "kestrova-cli $version" ] || { echo "FAIL: installed --version says '$line'"; failures=1; }

[ "$failures" -eq 0 ] || exit 1
echo "the install tree holds the $(wc -l <"$expected") expected files"
