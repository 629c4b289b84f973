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
# The Database dialog, halfway through building the monitoring database on a throwaway cluster.
if cmake --build "$build" --target node-inventory-database-screenshot; then
    QT_QPA_PLATFORM=offscreen "$build/bin/node-inventory-database-screenshot" \
        "$build/lib" "$root/docs/screenshots/database-dialog.png"
fi
