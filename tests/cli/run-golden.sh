#!/usr/bin/env bash
# Runs one golden command-line test: the file names the command (#RUN:), its environment (#ENV:),
# its exit status (#STATUS:) and, after #OUTPUT:, its exact standard output. In the command, the
# environment and the expected output, %S stands for the folder of the test file and %LIB for the
# folder of libMGImport8.so (the library's own folder, where the shipped method files lie).
#
# usage: run-golden.sh TEST-FILE TOOL LIB-DIR
set -u
test_file=$1 tool=$2 lib_dir=$(cd "$3" && pwd -P)
src_dir=$(cd "$(dirname "$test_file")" && pwd -P)

subst() { sed -e "s|%S|$src_dir|g" -e "s|%LIB|$lib_dir|g"; }

run_line=$(sed -n 's/^#RUN: *//p' "$test_file" | head -n 1)
status_line=$(sed -n 's/^#STATUS: *//p' "$test_file" | head -n 1)
expected=$(sed -n '/^#OUTPUT:$/,$p' "$test_file" | tail -n +2)
[ -n "$run_line" ] || { echo "$test_file: no #RUN: line"; exit 2; }

env_args=()
while IFS= read -r line; do
    [ -n "$line" ] && env_args+=("$(printf '%s' "$line" | subst)")
done < <(sed -n 's/^#ENV: *//p' "$test_file")

# The command's first word is the tool; the rest are its arguments, split on blanks.
read -r -a words <<<"$(printf '%s' "$run_line" | subst)"
actual=$(env -u MGIMPORT8_METHODS_PATH "${env_args[@]}" "$tool" "${words[@]:1}" 2>/tmp/golden-stderr.$$)
status=$?
stderr=$(cat /tmp/golden-stderr.$$); rm -f /tmp/golden-stderr.$$
# Paths that differ between machines are put back into their placeholders.
actual=$(printf '%s\n' "$actual" | sed -e "s|$src_dir|%S|g" -e "s|$lib_dir|%LIB|g")

fail=0
if [ "$status" != "${status_line:-0}" ]; then
    echo "exit status $status, expected ${status_line:-0}"
    fail=1
fi
if [ "$actual" != "$expected" ]; then
    echo "standard output differs from the expected (--- expected, +++ actual):"
    diff -u <(printf '%s\n' "$expected") <(printf '%s\n' "$actual")
    fail=1
fi
if [ "$fail" != 0 ] && [ -n "$stderr" ]; then
    echo "standard error:"
    printf '%s\n' "$stderr"
fi
exit "$fail"
