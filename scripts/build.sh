#!/usr/bin/env bash
# Configures and builds MGImport8 into build/ (or build-sanitize/ with --sanitize).
# usage: scripts/build.sh [--sanitize]
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build="$root/build"
options=(-DCMAKE_BUILD_TYPE=RelWithDebInfo)
if [ "${1:-}" = "--sanitize" ]; then
    build="$root/build-sanitize"
    options=(-DCMAKE_BUILD_TYPE=Debug -DMGIMPORT8_SANITIZE=ON)
fi
cmake -S "$root" -B "$build" -G Ninja "${options[@]}" >/dev/null
cmake --build "$build" --parallel "$(nproc)"
