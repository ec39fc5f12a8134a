#!/usr/bin/env bash
# Builds Study Loop and opens it on the bundled demo recording.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"
scripts/install-deps.sh
# shellcheck source=services.sh
source scripts/services.sh
cmake --preset release >/dev/null
cmake --build --preset release
build=build/release
demo=$build/resources/demo.wav
if [ -x "$build/app/studyloop" ]; then
    exec "$build/app/studyloop" "$demo" "$@"
fi
exec "$build/tools/inspect/studyloop-inspect" "$demo" "$@"
