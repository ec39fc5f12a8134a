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
status=0
ctest --preset "$preset" --timeout 600 -j "$(nproc)" "$@" || status=$?
# A failed test's own output is buried among the others': print it again at the end, where
# a log cut to its last lines still shows why.
if [ "$status" -ne 0 ]; then
    temporary=build/$preset/Testing/Temporary
    while IFS=: read -r _ name; do
        echo "== the end of what $name printed"
        awk -v test="$name" '
            /^[0-9]+\/[0-9]+ Test: / { on = (substr($0, index($0, ": ") + 2) == test) }
            on && /^<end of output>/ { on = 0 }
            on' "$temporary/LastTest.log" | tail -25
    done <"$temporary/LastTestsFailed.log" 2>/dev/null || true
fi
exit "$status"
