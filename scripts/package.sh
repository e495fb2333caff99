#!/usr/bin/env bash
# Builds the Debian packages and the archive for KLayout's package manager into build/packages.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-packages.sh dpkg-dev file
eval "$(dpkg-buildflags --export=sh)"
cmake --preset packages >/dev/null
rm -f build/packages/*.deb build/packages/*.zip
cmake --build --preset packages
cmake --build --preset packages --target klayout-archive
(cd build/packages && cpack -G DEB)
ls build/packages/*.deb build/packages/*.zip
