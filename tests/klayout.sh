#!/usr/bin/env bash
# klayout.sh PACKAGE TESTS [arguments of KLayout]: starts KLayout with the package and a home of its
# own, and runs the tests in the library TESTS within it.
set -euo pipefail
package=$1 tests=$2
shift 2
home=$(mktemp -d)
trap 'rm -rf "$home"' EXIT
mkdir -p "$home/salt"
ln -s "$package" "$home/salt/sem-background"
cp "$(dirname "$0")/../scripts/klayoutrc" "$home"
export KLAYOUT_HOME=$home KLAYOUT_PATH= XDG_CONFIG_HOME=$home/config
export QT_QPA_PLATFORM=${QT_QPA_PLATFORM:-offscreen}
export SEM_TESTS=$tests LD_PRELOAD=${SEM_PRELOAD:-}
# It ignores SIGTERM.
timeout --signal=KILL "${SEM_LIMIT:-280}" klayout "$@" -rm "$(dirname "$0")/insideklayout.py"
