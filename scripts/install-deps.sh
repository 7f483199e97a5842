#!/usr/bin/env bash
# Installs the Debian packages Kestrova needs to build, test and run, when
# any is missing. Nothing but Debian packages is downloaded.
#   scripts/install-deps.sh [--tests] [PACKAGE...]
# --tests adds the programs the tests run; other arguments are more packages.
set -euo pipefail

packages=(
    cmake ninja-build g++ pkg-config
    qt6-base-dev qt6-base-dev-tools libgl-dev
    qt6-image-formats-plugins   # TIFF and other readers for the open dialog
    libdeflate-dev zlib1g-dev   # the drawing writer's compression
    libpng-dev                  # the writer's test reads its files with libpng too
    python3-dev pybind11-dev    # the Python module (import kestrova)
)
test_packages=(
    desktop-file-utils  # desktop-file-validate
    appstream           # appstreamcli validate
    dpkg-dev            # dpkg-shlibdeps, which cpack -G DEB runs for Depends
    file                # cpack -G DEB asks file which installed files are programs
    binutils            # strip and readelf for the package's programs
    bash-completion     # the completion test loads it as an interactive bash would
    man-db              # man --warnings renders the manual pages
    parallel            # GNU parallel shares a batch among "machines" in a test
    pngcheck            # checks every PNG file the writer's tests write
    python3-pil         # PIL reads them back
    python3             # the include-graph check (tests/layering.py)
    qt6-svg-dev         # Qt's SVG renderer draws back the SVG the tests write
    librsvg2-bin        # rsvg-convert draws them too
    libxml2-utils       # xmllint checks them
    python3-numpy       # the Python module's arrays
    python3-pytest      # runs the Python module's tests
)
for argument in "$@"; do
    if [ "$argument" = --tests ]; then
        packages+=("${test_packages[@]}")
    else
        packages+=("$argument")
    fi
done

missing=()
for package in "${packages[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed"; then
        missing+=("$package")
    fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "Installing: ${missing[*]}"
sudo=""
[ "$(id -u)" -eq 0 ] || sudo="sudo"
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -qq
$sudo apt-get install -y -qq "${missing[@]}"
