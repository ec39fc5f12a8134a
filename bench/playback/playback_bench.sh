#!/usr/bin/env bash
# Prints the playback engine's figures: CPU per second played, then through a PulseAudio
# null sink (started if none runs) the delays, loop gap, playhead offset and underruns.
# Usage: bench/playback/playback_bench.sh [BUILD_DIR]   (default build/release)
set -euo pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
build=${1:-$root/build/release}
cd "$root"
# shellcheck source=../../scripts/services.sh
source scripts/services.sh
if [ ! -x "$build/bench/playback/studyloop-playback-bench" ]; then
    cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release >/dev/null
    cmake --build "$build" --target studyloop-playback-bench
fi
# The recording side reads the server's default source: the null sink's monitor.
pactl set-default-source null.monitor
"$build/bench/playback/studyloop-playback-bench" all
