#!/usr/bin/env bash
# Prints the application window's figures against references measured in the same run:
# launch to a window showing the demo recording (reference: studyloop-inspect on the same
# file), the open flow of a 60-minute FLAC and the loading sheet's repaints, and Space to
# the first sound on the null sink (a sound server of its own).
# Usage: bench/app/app_bench.sh [BUILD_DIR]   (default build/release)
set -euo pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
build=${1:-$root/build/release}
cd "$root"
# shellcheck source=../../scripts/services.sh
source scripts/services.sh
if [ ! -x "$build/bench/app/studyloop-app-bench" ] || [ ! -x "$build/app/studyloop" ]; then
    cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release >/dev/null
fi
cmake --build "$build" --target studyloop studyloop-inspect studyloop-app-bench demo_recording >/dev/null
demo=$build/resources/demo.wav
long=$build/bench/app/sixty-minutes.flac
if [ ! -f "$long" ]; then
    # An hour of the demo's music, end to end.
    ffmpeg -nostdin -loglevel error -y -stream_loop 98 -i "$demo" -t 3600 -c:a flac "$long"
fi

# Launch: from starting the program to its window titled with the file (set when the load
# has ended), polled every 10 ms; three runs each, the median.
export STUDYLOOP_INSTANCE_NAME=studyloop-bench-$$
# A busy X server turns a new client away now and then; Qt tries each platform listed.
export QT_QPA_PLATFORM="xcb;xcb;xcb;xcb"
median() { sort -n | sed -n 2p; }
launch=$(for run in 1 2 3; do
    start=$(date +%s%N)
    "$build/app/studyloop" "$demo" >/dev/null 2>&1 &
    app=$!
    until xdotool search --onlyvisible --name '^demo.wav$' >/dev/null 2>&1; do sleep 0.01; done
    echo $(( ($(date +%s%N) - start) / 1000000 ))
    kill $app; wait $app 2>/dev/null || true
done | median)
inspect=$(for run in 1 2 3; do
    start=$(date +%s%N)
    "$build/tools/inspect/studyloop-inspect" "$demo" >/dev/null 2>&1
    echo $(( ($(date +%s%N) - start) / 1000000 ))
done | median)
printf '%-44s %9.1f ms  %-16s reference (%s) %8.1f ms  ratio %5.2f\n' \
    "launch to a window showing the demo" "$launch" "" "studyloop-inspect" "$inspect" \
    "$(awk -v a="$launch" -v b="$inspect" 'BEGIN { printf "%.2f", a / b }')"

# Played and recorded on a sound server of the benchmark's own, its null sink and monitor.
studyloop_private_sound
"$build/bench/app/studyloop-app-bench" "$demo" "$long" 2>/dev/null
