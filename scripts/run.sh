#!/usr/bin/env bash
# Starts the microscope simulator and the layout viewer on the sample chip with the live image on;
# both end when the window closes. Without a display it writes screenshot.png instead. Arguments go to
# the viewer.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/build.sh release
programs=build/release/bin
design=examples/sample-chip.gds

log=$(mktemp)
"$programs/microscope-simulator" --design "$design" --port 0 >"$log" &
simulator=$!
trap 'kill "$simulator" 2>/dev/null || true; rm -f "$log"' EXIT
until port=$(sed -n 's/^serving control port \([0-9]*\).*/\1/p' "$log") && [ -n "$port" ]; do
    kill -0 "$simulator" 2>/dev/null || { echo "the simulator did not start" >&2; exit 1; }
    sleep 0.1
done

viewer=("$programs/layout-viewer" "$design" --connect "127.0.0.1:$port" --display live)
if [ -n "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ]; then
    "${viewer[@]}" "$@"
else
    QT_QPA_PLATFORM=offscreen "${viewer[@]}" --zoom-to-image --screenshot screenshot.png \
        --after "${RUN_SECONDS:-8}" "$@"
    echo "no display: the window is in screenshot.png"
fi
