#!/usr/bin/env bash
# Builds the libFuzzer targets with clang in build-fuzz/ and runs each for a bounded time from its
# seed corpus. New inputs go to a scratch folder, never into fuzz/corpus/.
# usage: scripts/fuzz.sh [SECONDS-PER-TARGET]   (default 30)
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
seconds=${1:-30}
build="$root/build-fuzz"
"$root/scripts/deps.sh"
CC=clang CXX=clang++ cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DMGIMPORT8_FUZZ=ON -DMGIMPORT8_BUILD_TESTS=OFF >/dev/null
targets=(registry methods textsource filefilter delimiterdetect import)
targets+=(access)
# Extra seed folders and options, read in place (never written to).
declare -A extra=([access]="${MGIMPORT8_CORPUS_DIR:-$root/../shared/corpus}/access -max_len=4194304")
targets+=(ssrp)
targets+=(connectionstring)
targets+=(workbook xls)
targets+=(dictionary structurefile)
targets+=(inventorylocation)
# The .xls reader starts from the shared workbooks, read in place.
extra[xls]="${MGIMPORT8_CORPUS_DIR:-$root/../shared/corpus}/spreadsheets/calamine ${MGIMPORT8_CORPUS_DIR:-$root/../shared/corpus}/spreadsheets/xlrd -max_len=1048576"
cmake --build "$build" --parallel "$(nproc)" --target "${targets[@]/%/_fuzz}"

export ASAN_OPTIONS="detect_leaks=1:abort_on_error=1"
export LSAN_OPTIONS="suppressions=$root/tests/lsan.supp:print_suppressions=0"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
# Each run's whole report stays in build-fuzz/logs, and a failing input is kept in
# build-fuzz/findings, so that a finding can be replayed after the scratch folder is gone.
mkdir -p "$build/logs" "$build/findings"
for target in "${targets[@]}"; do
    mkdir -p "$scratch/$target"
    echo "fuzzing $target for ${seconds}s"
    log="$build/logs/$target.log"
    (cd "$scratch" && "$build/fuzz/${target}_fuzz" "$scratch/$target" "$root/fuzz/corpus/$target" ${extra[$target]:-} \
        -max_total_time="$seconds" -rss_limit_mb=2048 -timeout=10 -print_final_stats=1 >"$log" 2>&1 || true)
    grep -E 'stat::number_of_executed_units|ERROR|SUMMARY|Done' "$log" || true
    # libFuzzer exits non-zero and leaves a crash-* or leak-* file when it finds something.
    if compgen -G "$scratch/crash-*" >/dev/null || compgen -G "$scratch/leak-*" >/dev/null \
        || compgen -G "$scratch/timeout-*" >/dev/null || compgen -G "$scratch/oom-*" >/dev/null; then
        echo "fuzzer $target found a failing input (kept in $build/findings):"
        cp "$scratch"/crash-* "$scratch"/leak-* "$scratch"/timeout-* "$scratch"/oom-* \
            "$build/findings/" 2>/dev/null || true
        ls "$build/findings"
        grep -E -A40 'ERROR: |Direct leak|Indirect leak' "$log" | head -80
        exit 1
    fi
done
echo "fuzzing passed"
