#!/usr/bin/env bash
# Prints how fast Export Loop writes WAV, FLAC and MP3 at rates 0.5, 1 and 2 (pitch 0 and
# +700 cents), as a multiple of real time, against Rubber Band alone in the same run.
# Usage: bench/export/export_bench.sh [BUILD_DIR]   (default build/release)
set -euo pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
build=${1:-$root/build/release}
if [ ! -d "$build" ]; then
    cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release >/dev/null
fi
cmake --build "$build" --target studyloop-export-bench studyloop-make-demo >/dev/null
demo="$build/resources/demo.wav"
[ -f "$demo" ] || cmake --build "$build" >/dev/null
"$build/bench/export/studyloop-export-bench" "$demo" "$(mktemp -d)"
