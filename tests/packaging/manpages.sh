#!/usr/bin/env bash
# The manual pages render without a warning, and the one of kestrova-cli
# describes every option its --help lists.
# Usage: manpages.sh KESTROVA-CLI PAGE...  (kestrova-cli.1 among the pages)
set -euo pipefail
cli=$1
shift

source "$(dirname "$0")/needs.sh"
needs man man-db

failures=0
for page in "$@"; do
    warnings=$(LC_ALL=C.UTF-8 MANWIDTH=80 man --warnings -E UTF-8 -l "$page" 2>&1 >/dev/null)
    if [ -n "$warnings" ]; then
        echo "FAIL: $page renders with warnings:"
        echo "$warnings"
        failures=$((failures + 1))
    fi
    case $page in
    *kestrova-cli.1*) cli_page=$page ;;
    esac
done

# Every long option of the help, general or of an effect, in the rendered page.
text=$(LC_ALL=C.UTF-8 MANWIDTH=200 man -E UTF-8 -l "${cli_page:?no kestrova-cli page given}" 2>/dev/null)
options=$("$cli" --help | grep -oE '(^|[ ,])--[a-z][a-z-]*' | tr -d ' ,' | sort -u)
for option in $options; do
    [ "$option" = --help-all ] && continue # Qt's own, for developers
    if ! grep -qe "$option\b" <<<"$text"; then
        echo "FAIL: the manual page of kestrova-cli does not describe $option"
        failures=$((failures + 1))
    fi
done

# The suffixes -r takes from folders: the page names those the help names,
# in the same order.
suffixes()
{
    tr -s ' \n' ' ' | grep -oE '([a-z0-9]+, )+[a-z0-9]+;' | head -n 1 || true
}
help_suffixes=$("$cli" --help |
    awk '/^  -r, --recursive/ { on = 1 } on && /^  -/ && !/--recursive/ { exit } on' | suffixes)
page_suffixes=$(zcat -f "$cli_page" |
    awk 'index($0, "-recursive") { on = 1; next } on && /^\.TP/ { exit } on' | suffixes)
if [ -z "$help_suffixes" ] || [ "$help_suffixes" != "$page_suffixes" ]; then
    echo "FAIL: -r takes '$help_suffixes' by the help, '$page_suffixes' by the manual page"
    failures=$((failures + 1))
fi

[ "$failures" -eq 0 ] || exit 1
echo "the manual pages render cleanly and describe every option"
