#!/usr/bin/env bash
# Builds and runs the workbook benchmark: one worksheet of a 100,000-row by 10-column workbook
# read into the grid in .xlsx, .xls and .ods, against ssconvert (gnumeric) and xlsx2csv converting
# the same sheet to CSV in the same run. The baselines are needed only here, not by the build or
# the tests, so they are not in scripts/deps.sh.
# usage: scripts/bench-workbook.sh [extra Google Benchmark options]
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build="$root/build"
missing=()
command -v ssconvert >/dev/null || missing+=(gnumeric)
command -v xlsx2csv >/dev/null || missing+=(xlsx2csv)
if [ ${#missing[@]} -gt 0 ]; then
    echo "installing the baselines: ${missing[*]}"
    sudo=; [ "$(id -u)" = 0 ] || sudo=sudo
    $sudo apt-get install -y "${missing[@]}"
fi
cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DMGIMPORT8_BUILD_BENCH=ON >/dev/null
ninja -C "$build" bench_workbook
# The workbooks are generated once into the temporary folder and reused; delete them to start over.
"$build/bench/bench_workbook" --benchmark_counters_tabular=true "$@"
