#!/usr/bin/env bash
# Tries the README's two commands as a newcomer would: on a bare Debian 12
# root made by debootstrap, from a clean clone of the current commit, with
# nothing installed by hand. ./test.sh must pass there, then ./run.sh must
# build and start the window, which must stay up for a few seconds (on the
# offscreen platform). Prints one verdict line and exits non-zero on failure.
#
#   scripts/fresh-machine.sh [--keep]
#
# Runs as root (debootstrap, chroot and mount need it). The bare root is made
# once and kept as a pristine copy under $KESTROVA_FRESH_DIR (default
# /tmp/kestrova-fresh-machine), together with the packages that apt-get
# downloaded, so that a second run starts from a copy instead of the mirror.
# --keep leaves the used root in place for a look inside; it is removed
# otherwise. Uncommitted changes are not part of the check: commit first.
set -euo pipefail

keep=false
case "${1:-}" in
--keep) keep=true ;;
"") ;;
*)
    echo "usage: scripts/fresh-machine.sh [--keep]" >&2
    exit 2
    ;;
esac

here=$(cd "$(dirname "$0")/.." && pwd)
base=${KESTROVA_FRESH_DIR:-/tmp/kestrova-fresh-machine}
mirror=${KESTROVA_DEBIAN_MIRROR:-http://deb.debian.org/debian}
pristine=$base/pristine-bookworm
archives=$base/apt-archives
# How long the window must stay up, and how long the build before it may take.
stay_up=5
build_limit=1800

started=$(date +%s)
verdict()
{
    echo "fresh-machine: $1 ($(($(date +%s) - started)) s)"
}
die()
{
    verdict "FAIL: $*"
    exit 1
}

[ "$(id -u)" -eq 0 ] || die "run as root: debootstrap, chroot and mount need it"
if ! command -v debootstrap >/dev/null; then
    echo "Installing debootstrap"
    DEBIAN_FRONTEND=noninteractive apt-get update -qq
    DEBIAN_FRONTEND=noninteractive apt-get install -y -qq debootstrap >/dev/null
fi

mkdir -p "$base" "$archives/partial"
if [ ! -x "$pristine/bin/bash" ]; then
    echo "Making a bare Debian 12 root from $mirror (kept in $pristine)"
    rm -rf "$pristine.part"
    debootstrap --variant=minbase bookworm "$pristine.part" "$mirror" >"$base/debootstrap.log" 2>&1 \
        || { tail -20 "$base/debootstrap.log"; die "debootstrap failed (log: $base/debootstrap.log)"; }
    # debootstrap's own downloads are not wanted in the copies.
    rm -f "$pristine.part"/var/cache/apt/archives/*.deb
    mv "$pristine.part" "$pristine"
fi

root=$(mktemp -d "$base/root.XXXXXX")
mounts=()
cleanup()
{
    local i
    for ((i = ${#mounts[@]} - 1; i >= 0; i--)); do
        umount -R "${mounts[i]}" 2>/dev/null || umount -lR "${mounts[i]}" 2>/dev/null || true
    done
    if [ "$keep" = true ]; then
        echo "the root is kept in $root"
    elif ! findmnt -R "$root" >/dev/null 2>&1; then
        rm -rf "$root"
    else
        echo "something is still mounted below $root: left in place" >&2
    fi
}
trap cleanup EXIT
trap 'exit 130' INT TERM

cp -a "$pristine/." "$root/"
cp /etc/resolv.conf "$root/etc/resolv.conf"

# A clean clone of the current commit: what CI and a newcomer get.
commit=$(git -C "$here" rev-parse HEAD)
git -c advice.detachedHead=false clone -q --no-hardlinks "$here" "$root/root/kestrova"
git -C "$root/root/kestrova" checkout -q --detach "$commit"
rm -rf "$root/root/kestrova/.git"
[ -z "$(git -C "$here" status --porcelain --untracked-files=no)" ] \
    || echo "note: uncommitted changes in $here are not part of this check"

bind()
{
    mkdir -p "$root$2"
    mount "${@:3}" "$1" "$root$2"
    mounts+=("$root$2")
}
bind proc /proc -t proc
bind sysfs /sys -t sysfs
bind /dev /dev --rbind
mount --make-rslave "$root/dev"
bind "$archives" /var/cache/apt/archives --bind

# A login shell's environment, nothing of this machine's.
in_root()
{
    chroot "$root" /usr/bin/env -i HOME=/root LANG=C.UTF-8 TERM=dumb \
        PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin \
        /bin/bash -c "cd /root/kestrova && $1"
}

echo "./test.sh in a bare Debian 12 root ($commit)"
set +e
in_root "./test.sh" 2>&1 | tee "$base/test.log" | sed 's/^/  | /'
status=${PIPESTATUS[0]}
set -e
tests=$(grep -oE '[0-9]+% tests passed, [0-9]+ tests failed out of [0-9]+' "$base/test.log" | tail -1)
[ "$status" -eq 0 ] || die "./test.sh exited with $status${tests:+: $tests} (log: $base/test.log)"

echo "./run.sh in the same root, on the offscreen platform"
chroot "$root" /usr/bin/env -i HOME=/root LANG=C.UTF-8 TERM=dumb QT_QPA_PLATFORM=offscreen \
    PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin \
    /bin/bash -c 'cd /root/kestrova && exec ./run.sh' >"$base/run.log" 2>&1 </dev/null &
runner=$!
# run.sh ends in exec, so the same process becomes the window once built.
waited=0
while [ "$(cat /proc/$runner/comm 2>/dev/null)" != kestrova ]; do
    if ! kill -0 "$runner" 2>/dev/null; then
        wait "$runner" && status=0 || status=$?
        tail -20 "$base/run.log"
        die "./run.sh ended with $status before the window came up (log: $base/run.log)"
    fi
    [ "$waited" -lt "$build_limit" ] || { kill "$runner"; die "./run.sh built for over $build_limit s"; }
    sleep 1
    waited=$((waited + 1))
done
sleep "$stay_up"
if ! kill -0 "$runner" 2>/dev/null; then
    wait "$runner" && status=0 || status=$?
    tail -20 "$base/run.log"
    die "the window exited with $status within $stay_up s of starting (log: $base/run.log)"
fi
kill "$runner"
wait "$runner" 2>/dev/null || true

verdict "PASS: ./test.sh (${tests:-no test count}) and ./run.sh (window up for $stay_up s) on a bare Debian 12 root"
