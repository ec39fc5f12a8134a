#!/usr/bin/env bash
# Prints the playback engine's figures through a PulseAudio null sink of its own: holes and
# CPU of studyloop-play at three rates, idle and with a core busy, then the delays, loop gap
# and playhead offset. About eight minutes.
# Usage: bench/playback/playback_bench.sh [BUILD_DIR] [SECONDS]   (default build/release, 60)
# STUDYLOOP_AUDIO_OUTPUT=rtaudio in the environment measures the RtAudio output instead.
set -euo pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
build=${1:-$root/build/release}
cd "$root"
# shellcheck source=../../scripts/services.sh
source scripts/services.sh
if [ ! -x "$build/bench/playback/studyloop-playback-bench" ]; then
    cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release >/dev/null
fi
cmake --build "$build" --target studyloop-playback-bench studyloop-play >/dev/null
# Played and recorded on a sound server of the benchmark's own, its null sink and monitor.
studyloop_private_sound
"$build/bench/playback/studyloop-playback-bench" all "$build/tools/play/studyloop-play" "${2:-60}"
