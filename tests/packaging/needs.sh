#!/usr/bin/env bash
# Sourced by the packaging tests: needs PROGRAM PACKAGE [PROGRAM PACKAGE ...]
# fails the test at once with one line naming each missing program and the
# Debian package that provides it, before any tool can fail in its own words.
needs()
{
    local missing=0
    while [ $# -ge 2 ]; do
        if ! command -v "$1" >/dev/null; then
            echo "FAIL: $1 is missing: Debian's package $2 provides it (scripts/install-deps.sh --tests installs it)" >&2
            missing=1
        fi
        shift 2
    done
    [ "$missing" -eq 0 ] || exit 1
}
