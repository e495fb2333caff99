#!/usr/bin/env bash
# Installs what is missing and builds the preset given (default: release) into build/<preset>.
set -euo pipefail
cd "$(dirname "$0")/.."
preset=${1:-release}

scripts/install-packages.sh
cmake --preset "$preset" >/dev/null
cmake --build --preset "$preset"
