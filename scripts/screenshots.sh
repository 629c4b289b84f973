#!/bin/sh
# Regenerates docs/screenshots/*.png: the wizard walked through a text import of
# examples/nodes.csv on the offscreen platform, one picture per panel.
# Usage: scripts/screenshots.sh [build-dir]   (default: build)
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-"$root/build"}
[ -f "$build/build.ninja" ] || cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo
cmake --build "$build" --target mgimport8-screenshots
QT_QPA_PLATFORM=offscreen "$build/bin/mgimport8-screenshots" "$root/docs/screenshots"
ls "$root/docs/screenshots"
