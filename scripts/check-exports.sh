#!/usr/bin/env bash
# Fails when libMGImport8.so exports anything but the classes its public headers export: their
# members, meta-objects, vtables and type information. Internal classes reach the command-line
# tool, the benchmarks and the tests through the static layers, never through the library.
#
# usage: scripts/check-exports.sh LIBRARY [PUBLIC-HEADER-FOLDER]
set -euo pipefail
library=$1
headers=${2:-$(dirname "$0")/../include/MGImport8}

classes=$(grep -ho 'class MGIMPORT8_EXPORT [A-Za-z_0-9]*' "$headers"/*.h | awk '{print $3}' |
          sort -u | paste -sd '|')
[ -n "$classes" ] || { echo "check-exports: no exported classes in $headers"; exit 2; }
public="^(typeinfo for |typeinfo name for |vtable for )?MGImport8::($classes)(::|$|\\()"

exported=$(nm -D --defined-only "$library" | awk '{ $1 = ""; $2 = ""; sub(/^  /, ""); print }' |
           c++filt)
[ -n "$exported" ] || { echo "check-exports: $library exports nothing"; exit 1; }
# A class's private part (its d-pointer's struct) is exported with it unless it is hidden.
stray=$( (printf '%s\n' "$exported" | grep -Ev "$public"; printf '%s\n' "$exported" |
          grep -E '::Private(::|$)') || true)
if [ -n "$stray" ]; then
    echo "check-exports: $library exports more than its public API:"
    printf '%s\n' "$stray" | head -n 50
    exit 1
fi
echo "check-exports: $(printf '%s\n' "$exported" | wc -l) symbols, all of the public classes"
