#!/usr/bin/env bash
# Builds Study Loop and opens it on the bundled demo recording (or on the file given).
# Installs what is missing and starts a display and a sound server when there are none.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"
scripts/install-deps.sh
# shellcheck source=services.sh
source scripts/services.sh
cmake --preset release >/dev/null
cmake --build --preset release
build=build/release
exec "$build/app/studyloop" "${1:-$build/resources/demo.wav}"
