#!/usr/bin/env bash
# cpack -G DEB makes kestrova_<version>_<arch>.deb; its control data names the
# computed dependencies and its files are the expected ones under /usr.
# Usage: debpackage.sh BUILD-FOLDER EXPECTED-FILE-LIST VERSION
set -euo pipefail
build=$1 expected=$2 version=$3

# cpack -G DEB runs file and dpkg-shlibdeps to compute Depends, and strip.
source "$(dirname "$0")/needs.sh"
needs cpack cmake dpkg-deb dpkg dpkg-shlibdeps dpkg-dev file file strip binutils readelf binutils

out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT
(cd "$build" && cpack -G DEB --config CPackConfig.cmake -B "$out" >"$out/cpack.log" 2>&1) \
    || { cat "$out/cpack.log"; exit 1; }

arch=$(dpkg --print-architecture)
deb="$out/kestrova_${version}_${arch}.deb"
[ -f "$deb" ] || { echo "FAIL: no $deb"; ls "$out"; exit 1; }
dpkg-deb --info "$deb"

failures=0
fail()
{
    echo "FAIL: $*"
    failures=$((failures + 1))
}
field()
{
    dpkg-deb --field "$deb" "$1"
}

[ "$(field Package)" = kestrova ] || fail "Package is '$(field Package)'"
[ "$(field Version)" = "$version" ] || fail "Version is '$(field Version)', not $version"
[ "$(field Architecture)" = "$arch" ] || fail "Architecture is '$(field Architecture)'"
[ "$(field Section)" = graphics ] || fail "Section is '$(field Section)'"
[ -n "$(field Maintainer)" ] || fail "no Maintainer"
[ -n "$(field Description)" ] || fail "no Description"

# dpkg-shlibdeps names each library package with the least version it needs.
depends=", $(field Depends),"
for library in libc6 libstdc++6 libqt6core6 libqt6gui6 libqt6widgets6 libdeflate0 zlib1g; do
    [[ $depends == *", $library (>= "* ]] || fail "Depends does not name $library with a version"
done
[[ $depends == *san* ]] && fail "Depends names a sanitizer runtime"

# The files, as dpkg-deb lists them: owned by root, under /usr.
listing=$(dpkg-deb --contents "$deb")
grep -v ' root/root ' <<<"$listing" && fail "files not owned by root"
files=$(awk '$1 !~ /^d/ { print $6 }' <<<"$listing" | sed 's|^\./usr/||' | LC_ALL=C sort)
if ! diff -u <(LC_ALL=C sort "$expected") <(echo "$files"); then
    fail "the package's files differ from $expected (- expected, + packaged)"
fi

# Installed programs are stripped: no debugging sections left.
root="$out/root"
dpkg-deb --extract "$deb" "$root"
for program in kestrova kestrova-cli; do
    if readelf -S "$root/usr/bin/$program" | grep -q '\.debug_'; then
        fail "usr/bin/$program is not stripped"
    fi
done

# The Python module, where the package has one: stripped, and Debian's
# Python 3 (not another python3 on the PATH) imports it from the package's
# tree and draws with it.
modules="$root/usr/lib/python3/dist-packages"
if [ -d "$modules/kestrova" ]; then
    for extension in "$modules"/kestrova/_kestrova*.so; do
        if readelf -S "$extension" | grep -q '\.debug_'; then
            fail "${extension#"$root"/} is not stripped"
        fi
    done
    if ! PYTHONPATH="$modules" PYTHONDONTWRITEBYTECODE=1 /usr/bin/python3 -c '
import kestrova, numpy
assert kestrova.__file__.startswith("'"$modules"'/kestrova/"), kestrova.__file__
picture = numpy.zeros((8, 9, 3), numpy.uint8)
assert kestrova.pen(picture).shape == (8, 9)
'; then
        fail "python3 cannot import and draw with the packaged module"
    fi
fi

[ "$failures" -eq 0 ] || exit 1
echo "$(basename "$deb"): Depends: $(field Depends)"
