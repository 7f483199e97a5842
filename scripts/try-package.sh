#!/usr/bin/env bash
# Proves that the Debian package works on this Debian system, without a
# container: unpacks it into a throwaway root, checks that apt could install
# it here, that every library its programs need is found on this system, and
# that both programs start from the throwaway root (kestrova-cli prints its
# version and draws a picture; the window runs on the offscreen platform).
#
#   scripts/try-package.sh [--system] [PACKAGE.deb]
#
# Without a package, scripts/package.sh makes one. --system (as root) also
# installs it with apt, runs it from /usr/bin and removes it again; without
# the recommended packages, which proves that Depends alone suffice.
set -euo pipefail
cd "$(dirname "$0")/.."

system=false
if [ "${1:-}" = --system ]; then
    system=true
    shift
fi
scripts/install-deps.sh dpkg-dev desktop-file-utils appstream bash-completion
deb=$(realpath "${1:-$(scripts/package.sh)}")
version=$(dpkg-deb --field "$deb" Version)
echo "== $(basename "$deb"): Depends: $(dpkg-deb --field "$deb" Depends)"

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
root="$scratch/root"
dpkg-deb --extract "$deb" "$root"
# Settings and run-time files of this run only.
export XDG_CONFIG_HOME="$scratch/config" XDG_RUNTIME_DIR="$scratch/runtime"
mkdir -m 700 "$XDG_RUNTIME_DIR"

echo "== apt could install it here"
apt-get install --simulate "$deb" | grep "^Inst kestrova "

echo "== every library is found on this system"
for program in kestrova kestrova-cli; do
    if ldd "$root/usr/bin/$program" | grep "not found"; then
        echo "FAIL: $program needs a library this system lacks" >&2
        exit 1
    fi
done
echo "ok"

# Runs the two programs at $1/usr/bin.
try_programs()
{
    local bin="$1/usr/bin"
    echo "== $bin/kestrova-cli"
    local line
    line=$("$bin/kestrova-cli" --version)
    echo "$line"
    [ "$line" = "kestrova-cli $version" ] || { echo "FAIL: not version $version" >&2; exit 1; }
    local icon="$1/usr/share/icons/hicolor/256x256/apps/example.kestrova.Kestrova.png"
    "$bin/kestrova-cli" pen --quiet "$icon" "$scratch/drawing.png"
    echo "drew $scratch/drawing.png from the package's own icon"

    echo "== $bin/kestrova on the offscreen platform"
    QT_QPA_PLATFORM=offscreen "$bin/kestrova" >"$scratch/window.log" 2>&1 &
    local window=$!
    sleep 3
    if ! kill -0 "$window" 2>/dev/null; then
        wait "$window" || true
        cat "$scratch/window.log" >&2
        echo "FAIL: the window ended by itself" >&2
        exit 1
    fi
    kill "$window"
    wait "$window" 2>/dev/null || true
    echo "the window was still running after 3 seconds"
}
try_programs "$root"

echo "== the desktop files and the completion, as packaged"
share="$root/usr/share"
desktop-file-validate "$share/applications/example.kestrova.Kestrova.desktop"
appstreamcli validate --no-net "$share/metainfo/example.kestrova.Kestrova.metainfo.xml"
tests/packaging/completion.sh "$share/bash-completion/completions/kestrova-cli" \
    "$root/usr/bin/kestrova-cli"

if $system; then
    echo "== apt install $deb"
    already=false
    dpkg-query -W kestrova >/dev/null 2>&1 && already=true
    apt-get install -y --no-install-recommends "$deb"
    try_programs /
    man -w kestrova-cli kestrova
    if ! $already; then
        apt-get remove -y kestrova
    fi
fi
echo "== $(basename "$deb") works here"
