#!/usr/bin/env bash
# The menu entry and the AppStream metainfo pass their validators, and the
# newest CHANGELOG entry is the release the metainfo announces.
# Usage: desktopfiles.sh DESKTOP-FILE METAINFO CHANGELOG VERSION DATE
set -euo pipefail
desktop=$1 metainfo=$2 changelog=$3 version=$4 date=$5

source "$(dirname "$0")/needs.sh"
needs desktop-file-validate desktop-file-utils appstreamcli appstream

failures=0
fail()
{
    echo "FAIL: $*"
    failures=$((failures + 1))
}

echo "desktop-file-validate $desktop"
desktop-file-validate "$desktop" || fail "desktop-file-validate"
echo "appstreamcli validate --no-net $metainfo"
appstreamcli validate --no-net "$metainfo" || fail "appstreamcli validate"

# The program opens no file from its command line: no field codes, no types.
grep -q '^Exec=kestrova$' "$desktop" || fail "Exec is not plain 'kestrova'"
grep -q '^MimeType=' "$desktop" && fail "the entry claims MIME types"
id=$(basename "$desktop" .desktop)
grep -qx "Icon=$id" "$desktop" || fail "Icon is not the application id $id"
grep -qx 'Categories=Graphics;2DGraphics;RasterGraphics;' "$desktop" || fail "Categories"
grep -q "<id>$id</id>" "$metainfo" || fail "the metainfo id is not $id"
grep -q "<launchable type=\"desktop-id\">$id.desktop</launchable>" "$metainfo" \
    || fail "the metainfo does not launch $id.desktop"
grep -q "<release version=\"$version\" date=\"$date\">" "$metainfo" \
    || fail "the metainfo has no release $version of $date"
grep -q '<image>.*</image>' "$metainfo" || fail "the metainfo has no screenshot"

# What is not released yet gathers under "## Unreleased" above it.
newest=$(grep '^## ' "$changelog" | grep -v -m1 '^## Unreleased$')
[ "$newest" = "## $version ($date)" ] \
    || fail "the newest CHANGELOG entry is '$newest', not '## $version ($date)'"

[ "$failures" -eq 0 ] || exit 1
echo "the menu entry, the metainfo and the CHANGELOG agree on $id $version"
