#!/usr/bin/env bash
# Installs the Debian 12 packages that building, testing and fuzzing MGImport8 need, when they are
# missing. Safe to run again: it installs nothing that is already there.
set -euo pipefail

packages=(
    # toolchain
    cmake ninja-build g++ pkg-config git
    # libraries
    qt6-base-dev libqt6sql6-sqlite libpugixml-dev
    # the node store writes through SQLite's own statements on Qt's connection; sqlite3 is the
    # node-store benchmark's baseline
    libsqlite3-dev sqlite3
    # workbooks and Access databases
    libzip-dev mdbtools-dev libxlsxwriter-dev
    # database servers: ODBC with FreeTDS for SQL Server, libpq and the PostgreSQL server for tests
    unixodbc-dev tdsodbc libqt6sql6-odbc libqt6sql6-psql libpq-dev postgresql-15
    # tests, fuzzing, formatting
    libgtest-dev libgmock-dev libbenchmark-dev clang libclang-rt-14-dev clang-format
    # the Access benchmark's baseline (mdb-export)
    mdbtools
    # the check of includes against the layers they link
    python3
    # the workbook fuzzer writes its zip containers with zlib's checksum
    zlib1g-dev
)

missing=()
for package in "${packages[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed"; then
        missing+=("$package")
    fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "Installing: ${missing[*]}"
sudo=()
[ "$(id -u)" -eq 0 ] || sudo=(sudo)
export DEBIAN_FRONTEND=noninteractive
"${sudo[@]}" apt-get update -qq
"${sudo[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
