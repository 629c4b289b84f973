#!/usr/bin/env bash
# Runs one golden command-line test: the file names the commands (#RUN:, run in order), their
# environment (#ENV:), the last command's exit status (#STATUS:) and, after #OUTPUT:, the exact
# standard output of all of them. With #STDERR the standard error follows the standard output of
# each command. In commands, environment and expected output, %S stands for the folder of the test
# file, %LIB for the folder of libMGImport8.so (where the shipped method files lie) and %T for a
# fresh temporary folder.
#
# usage: run-golden.sh TEST-FILE TOOL LIB-DIR   (RECORD=1 rewrites the expected output)
set -u
test_file=$1 tool=$2 lib_dir=$(cd "$3" && pwd -P)
src_dir=$(cd "$(dirname "$test_file")" && pwd -P)
tmp_dir=$(mktemp -d)
trap 'rm -rf "$tmp_dir"' EXIT

# %CORPUS is the folder of third-party test files; a test naming it is skipped (status 77) when
# the folder is not there.
corpus_dir=${MGIMPORT8_CORPUS_DIR:-}
if grep -q '%CORPUS' "$test_file"; then
    [ -n "$corpus_dir" ] && [ -d "$corpus_dir" ] || { echo "skipped: no corpus folder"; exit 77; }
    corpus_dir=$(cd "$corpus_dir" && pwd -P)
fi

subst() { sed -e "s|%CORPUS|$corpus_dir|g" -e "s|%S|$src_dir|g" -e "s|%LIB|$lib_dir|g" -e "s|%T|$tmp_dir|g"; }

run_lines=$(sed -n 's/^#RUN: *//p' "$test_file")
with_stderr=$(grep -c '^#STDERR$' "$test_file")
status_line=$(sed -n 's/^#STATUS: *//p' "$test_file" | head -n 1)
expected=$(sed -n '/^#OUTPUT:$/,$p' "$test_file" | tail -n +2)
[ -n "$run_lines" ] || { echo "$test_file: no #RUN: line"; exit 2; }

env_args=()
while IFS= read -r line; do
    [ -n "$line" ] && env_args+=("$(printf '%s' "$line" | subst)")
done < <(sed -n 's/^#ENV: *//p' "$test_file")

actual=
stderr=
status=0
while IFS= read -r run_line; do
    # The command's first word is the tool; the rest are its arguments, split as a shell would
    # (quotes group words; the test files are ours).
    eval "words=($(printf '%s' "$run_line" | subst))"
    out=$(cd "$tmp_dir" && env -u MGIMPORT8_METHODS_PATH "${env_args[@]}" "$tool" "${words[@]:1}" \
          2>"$tmp_dir/.stderr")
    status=$?
    err=$(cat "$tmp_dir/.stderr")
    actual+=$out${out:+$'\n'}
    [ "$with_stderr" != 0 ] && actual+=$err${err:+$'\n'}
    stderr+=$err
done <<<"$run_lines"
# Paths that differ between machines are put back into their placeholders.
actual=$(printf '%s' "$actual" | sed -e "s|$tmp_dir|%T|g" -e "s|$src_dir|%S|g" -e "s|$lib_dir|%LIB|g")
[ -n "$corpus_dir" ] && actual=$(printf '%s' "$actual" | sed -e "s|$corpus_dir|%CORPUS|g")

if [ "${RECORD:-0}" = 1 ]; then
    # Writes what the commands printed as the new expected output.
    { sed -n '1,/^#OUTPUT:$/p' "$test_file"; printf '%s\n' "$actual"; } >"$tmp_dir/.recorded"
    cp "$tmp_dir/.recorded" "$test_file"
    sed -i "s/^#STATUS: .*/#STATUS: $status/" "$test_file"
    exit 0
fi

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
