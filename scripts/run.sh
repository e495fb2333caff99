#!/usr/bin/env bash
# Starts the microscope simulator and KLayout with the package, on the sample chip with the live image
# on; both end with the window. Without a display it writes screenshot.png instead. KLayout has a home
# of its own in build/; arguments go to KLayout.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/build.sh release
build=$PWD/build/release
design=examples/sample-chip.gds

home=$build/klayout-home
mkdir -p "$home/salt"
ln -sfn "$build/klayout-package" "$home/salt/sem-background"
# Else the first thing to be seen is a tip that waits for an answer.
[ -f "$home/klayoutrc" ] || cp scripts/klayoutrc "$home/klayoutrc"
export KLAYOUT_HOME=$home KLAYOUT_PATH= XDG_CONFIG_HOME=$home/config

log=$(mktemp)
"$build/bin/microscope-simulator" --design "$design" --port 0 >"$log" &
simulator=$!
trap 'kill "$simulator" 2>/dev/null || true; rm -f "$log"' EXIT
until port=$(sed -n 's/^serving control port \([0-9]*\).*/\1/p' "$log") && [ -n "$port" ]; do
    kill -0 "$simulator" 2>/dev/null || { echo "the simulator did not start" >&2; exit 1; }
    sleep 0.1
done

export SEM_MICROSCOPE=127.0.0.1:$port
if [ -n "${DISPLAY:-}" ]; then
    klayout "$@" "$design" -rm scripts/live-image.py
else
    export QT_QPA_PLATFORM=offscreen SEM_SCREENSHOT=screenshot.png SEM_SECONDS=${RUN_SECONDS:-8}
    # KLayout ignores SIGTERM.
    timeout --signal=KILL $((SEM_SECONDS + 60)) klayout "$@" "$design" -rm scripts/live-image.py
    echo "no display: the window is in screenshot.png"
fi
