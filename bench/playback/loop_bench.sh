#!/usr/bin/env bash
# Prints, for each turn of two bars of the demo recording looped by studyloop-play at 50 %
# and 100 %, the silence between passes and the opening drum hit's level against the same
# hit mid-pass, as the PulseAudio null sink's monitor heard them. About a minute.
# Usage: bench/playback/loop_bench.sh [BUILD_DIR]   (default build/release)
set -euo pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
build=${1:-$root/build/release}
cd "$root"
# shellcheck source=../../scripts/services.sh
source scripts/services.sh
if [ ! -f "$build/build.ninja" ]; then
    cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release >/dev/null
fi
cmake --build "$build" --target studyloop-loop-bench studyloop-play demo_recording >/dev/null
# Played and recorded on a sound server of the benchmark's own, its null sink and monitor.
studyloop_private_sound
"$build/bench/playback/studyloop-loop-bench" "$build/tools/play/studyloop-play" \
    "$build/resources/demo.wav"
