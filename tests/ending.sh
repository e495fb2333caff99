#!/usr/bin/env bash
# ending.sh SIMULATOR PACKAGE: a KLayout that is connected and then asked to end by a signal has saved
# where the microscope is. With the window or the menu it ends by the same way.
set -euo pipefail
simulator=$1 package=$2 home=
log=$(mktemp)
"$simulator" --port 0 --verbose >"$log" &
trap 'kill $(jobs -p) 2>/dev/null || true; rm -rf "$log" $home' EXIT
until port=$(sed -n 's/^serving control port \([0-9]*\).*/\1/p' "$log") && [ "$port" ]; do sleep 0.1; done

scans() { grep -c ScScanXY "$log" || true; } # the panel starts them once it is connected
for signal in TERM INT; do
    home=$(mktemp -d)
    mkdir "$home/salt"
    ln -s "$package" "$home/salt/sem-background"
    cp "$(dirname "$0")/../scripts/klayoutrc" "$home"
    before=$(scans)
    env KLAYOUT_HOME="$home" KLAYOUT_PATH= XDG_CONFIG_HOME="$home/config" QT_QPA_PLATFORM=offscreen \
        LD_PRELOAD="${SEM_PRELOAD:-}" \
        SEM_MICROSCOPE="127.0.0.1:$port" klayout "$(dirname "$0")/../examples/sample-chip.gds" \
        -rm "$(dirname "$0")/../scripts/live-image.py" >/dev/null 2>&1 &
    klayout=$!
    until [ "$(scans)" -gt "$before" ]; do sleep 0.1; done
    kill -$signal $klayout
    result=0
    wait $klayout || result=$?
    [ $result = $((128 + $(kill -l $signal))) ] || { echo "SIG$signal ended it with $result"; exit 1; }
    grep -rq "^port=$port$" "$home/config" || { echo "nothing saved on SIG$signal"; exit 1; }
    rm -rf "$home"
done
