#!/usr/bin/env bash
# Builds the release preset and the Debian package from it, and prints the
# package's path: build/release/kestrova_<version>_<architecture>.deb.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh dpkg-dev >&2 # dpkg-shlibdeps computes Depends
cmake --preset release >&2
cmake --build --preset release >&2
(cd build/release && cpack -G DEB >&2)
version=$(sed -n 's/^CMAKE_PROJECT_VERSION:STATIC=//p' build/release/CMakeCache.txt)
realpath "build/release/kestrova_${version}_$(dpkg --print-architecture).deb"
