#!/usr/bin/env bash
# Installs what is missing, builds and runs every test; where clang is there, each fuzz target too, for
# a few seconds. Arguments: presets to test (default: release).
set -euo pipefail
cd "$(dirname "$0")/.."

for preset in "${@:-release}"; do
    scripts/build.sh "$preset"
    ctest --preset "$preset"
done
if command -v clang++ >/dev/null; then
    scripts/fuzz.sh
fi
