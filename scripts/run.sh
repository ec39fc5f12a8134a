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
# Only the program (its images are drawn on the way) and the demo recording: the tests and
# tools are left to scripts/test.sh, so a first run does not wait for them to compile.
cmake --build --preset release --target studyloop demo_recording
build=build/release
exec "$build/app/studyloop" "${1:-$build/resources/demo.wav}"
