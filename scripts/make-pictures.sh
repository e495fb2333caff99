#!/usr/bin/env bash
# make-pictures.sh [FOLDER]: makes the documentation's pictures anew from running programs, into FOLDER
# (default: docs). Those of the test within KLayout are all that it keeps; SEM_TEST_ARGUMENTS limits it
# to some of its functions, and their pictures.
set -euo pipefail
cd "$(dirname "$0")/.."
folder=$(realpath -m "${1:-docs}") top=$PWD
mkdir -p "$folder"

scripts/build.sh release
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
(cd "$work" && SEM_LIMIT=${SEM_LIMIT:-900} "$top/tests/klayout.sh" \
    "$top/build/release/klayout-package" "$top/build/release/tests/libtst_klayout.so")
env -u DISPLAY scripts/run.sh
mv screenshot.png "$work"

# Those of states are small: what counts in them is the panel and the line at the image.
shrink() {
    command -v convert >/dev/null || return 0
    convert "$1" -crop 1270x1000+0+0 +repage -resize 620 "$1"
}

for picture in "$work"/*.png; do
    colours=160
    case $(basename "$picture" .png) in
    one-pair | two-pairs | restored | disconnected | advice) shrink "$picture" && colours=20 ;;
    esac
    # A palette is a third of the size; what is drawn has few colours.
    if command -v pngquant >/dev/null; then
        pngquant --force --ext .png "$colours" "$picture"
    fi
    mv "$picture" "$folder"
    echo "$folder/$(basename "$picture")"
done
