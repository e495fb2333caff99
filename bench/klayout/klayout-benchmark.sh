#!/usr/bin/env bash
# klayout-benchmark.sh [RUNS]: measures the live image within KLayout, on the sample chip and on a
# layout of 200,000 shapes; offscreen, or on the display if DISPLAY is set.
set -euo pipefail
cd "$(dirname "$0")/../.."
build=$PWD/build/release
work=$build/klayout-benchmark
mkdir -p "$work/nothing"
rm -f "$work/simulator" "$work/relay" # of a run before
export SEM_SHAPES=$work/shapes.gds SEM_LIMIT=600
[ -z "${DISPLAY:-}" ] || export QT_QPA_PLATFORM=xcb
[ -f "$SEM_SHAPES" ] || KLAYOUT_HOME=$work QT_QPA_PLATFORM=offscreen \
    klayout -zz -r bench/klayout/make-shapes.py

"$build/bin/microscope-simulator" --port 0 --rows-per-message 8 >"$work/simulator" 2>&1 &
trap 'kill $(jobs -p) 2>/dev/null || true' EXIT
until port=$(sed -n 's/^serving control port \([0-9]*\).*/\1/p' "$work/simulator") && [ "$port" ]; do
    sleep 0.1
done
python3 bench/klayout/relay.py "$port" >"$work/relay" &
until relay=$(cat "$work/relay") && [ "$relay" ]; do sleep 0.1; done

for ((run = 1; run <= ${1:-1}; ++run)); do
    for layout in examples/sample-chip.gds "$SEM_SHAPES"; do
        echo "== $(basename "$layout"), ${QT_QPA_PLATFORM:-offscreen}, run $run"
        SEM_ALONE=$(tests/klayout.sh "$work/nothing" "$work/libklayoutbenchmark.so" "$layout")
        SEM_ALONE=$SEM_ALONE SEM_PORT=$relay tests/klayout.sh "$build/klayout-package" \
            "$work/libklayoutbenchmark.so" "$layout"
    done
done
