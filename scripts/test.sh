#!/usr/bin/env bash
# Installs what is missing, builds and runs every test.
# usage: scripts/test.sh [--sanitize]   (--sanitize: AddressSanitizer + UndefinedBehaviorSanitizer)
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/deps.sh"
"$root/scripts/build.sh" "$@"

build="$root/build"
if [ "${1:-}" = "--sanitize" ]; then
    build="$root/build-sanitize"
    export ASAN_OPTIONS="detect_leaks=1:abort_on_error=1:strict_string_checks=1:detect_stack_use_after_return=1"
    export LSAN_OPTIONS="suppressions=$root/tests/lsan.supp:print_suppressions=0"
    export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
fi
ctest --test-dir "$build" --output-on-failure --parallel "$(nproc)" --timeout 600
