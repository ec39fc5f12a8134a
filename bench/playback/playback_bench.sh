#!/usr/bin/env bash
# Prints the playback engine's figures through a PulseAudio null sink (started if none
# runs): holes and CPU of studyloop-play at three rates, idle and with a core busy, then the
# delays, loop gap and playhead offset. About eight minutes.
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
# The recording side reads the server's default source: the null sink's monitor.
pactl set-default-source null.monitor
"$build/bench/playback/studyloop-playback-bench" all "$build/tools/play/studyloop-play" "${2:-60}"
