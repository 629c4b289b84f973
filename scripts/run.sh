#!/usr/bin/env bash
# The main job on a fresh machine: installs what is missing, builds, and runs Node Inventory, the
# demo host. With a display it opens the window (its Import button starts the Import Wizard).
# Without one (or with --headless) it imports the bundled sample, examples/nodes.csv, into the same
# embedded node store through the headless wizard, then prints the summary and the inventory.
#   scripts/run.sh [--headless] [FILE]      FILE replaces the sample in the headless run
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/deps.sh"
"$root/scripts/build.sh" >/dev/null
bin="$root/build/bin"

headless=
if [ "${1:-}" = "--headless" ]; then
    headless=1
    shift
fi
if [ -z "$headless" ] && [ -n "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ]; then
    exec "$bin/node-inventory"
fi

file=${1:-"$root/examples/nodes.csv"}
store=$("$bin/node-inventory" --store-path)
echo "Importing $file into $store"
# Every row is ticked, so the rows the inventory refuses are listed with their reasons; nodes
# already in the inventory are kept as they are (Overwrite off).
summary=$(mktemp)
trap 'rm -f "$summary"' EXIT
status=0
"$bin/mgimport8" import --rows all --columns Name,IP,Description,Location,Contact \
    --map Name=Name --map Description=Description --map Location=Location --map Contact=Contact \
    --option Overwrite=no --into "$store" "$file" 2>"$summary" |
    sed -n -e 's/^{"Status": "\([^"]*\)".*"Name": "\([^"]*\)".*/  \2: \1/p' -e 't' \
        -e 's/^{"Status": "\([^"]*\)".*/  (no name): \1/p' |
    sed 's/^  : /  (blank row): /' || status=$?
cat "$summary"
echo
"$bin/node-inventory" --list
exit "$status"
