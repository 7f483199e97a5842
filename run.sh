#!/usr/bin/env bash
# Installs what is missing, builds Kestrova and starts it.
set -euo pipefail
cd "$(dirname "$0")"
scripts/install-deps.sh
cmake --preset release
cmake --build --preset release
exec build/release/app/kestrova "$@"
