#!/usr/bin/env bash
# Installs the built library into a temporary prefix, then builds and runs the outside host above
# against it twice: through find_package(MGImport8) and through pkg-config.
# usage: run-package-test.sh BUILD-DIR [EXTRA-LINK-FLAGS]
set -euo pipefail
build=$1 link_flags=${2:-}
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cmake --install "$build" --prefix "$work/prefix" >/dev/null
cmake -S "$here" -B "$work/host" -G Ninja -DCMAKE_PREFIX_PATH="$work/prefix" \
      -DCMAKE_EXE_LINKER_FLAGS="$link_flags" >/dev/null
cmake --build "$work/host" >/dev/null
"$work/host/packagehost" >"$work/out.txt"

cat >"$work/expected.txt" <<'EOT'
Title=Import Wizard
Description=This Import Wizard will assist you in importing Nodes. You can import Nodes from a text file, Excel spreadsheet, Trellisview database, Quellscan discovery database, or other databases.
ForeColorSel=16711680
BackColorSel=16763080
RequiredColumns=IP
Columns=Name,IP
IPColumn=IP
ImportOptions=
options=1 Overwrite existing nodes on
missing=nullptr
EOT
diff -u "$work/expected.txt" "$work/out.txt"

# The method files are installed beside the library, where the catalogue looks for them.
libdir=$(dirname "$(find "$work/prefix" -name 'libMGImport8.so' | head -n 1)")
test -f "$libdir/MGImport8.ImportMethods"
"$work/prefix/bin/mgimport8" methods --json | grep -q '"Name": "Text File"'

# pkg-config gives a working compile and link line too.
export PKG_CONFIG_PATH="$libdir/pkgconfig"
# shellcheck disable=SC2046
g++ -std=c++20 -fPIC "$here/pkgconfig_host.cpp" -o "$work/pchost" \
    $(pkg-config --cflags --libs MGImport8) $link_flags \
    -Wl,-rpath,"$libdir"
"$work/pchost"
echo "package test passed"
