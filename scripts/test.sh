#!/usr/bin/env bash
# Builds Study Loop and runs every test: installs what is missing, starts Xvfb and a
# PulseAudio server with a null sink when there are none, builds with warnings as errors,
# and runs CTest. Extra arguments go to ctest (for example -R KTWaveform).
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"
scripts/install-deps.sh
# shellcheck source=services.sh
source scripts/services.sh
preset=${STUDYLOOP_PRESET:-ci}
cmake --preset "$preset" >/dev/null
cmake --build --preset "$preset"
ctest --preset "$preset" --timeout 600 -j "$(nproc)" "$@"
