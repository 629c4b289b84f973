#!/usr/bin/env bash
# The main job on a fresh machine: installs what is missing, builds, and lists the import method
# catalogue exactly as the Import Wizard loads it. Arguments go to `mgimport8 methods`.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/deps.sh"
"$root/scripts/build.sh" >/dev/null
exec "$root/build/bin/mgimport8" methods "$@"
