#!/usr/bin/env bash
# The waveform view's latency from a mouse move (or a playhead step) to its pixels on the
# screen, in the application window at 1280 x 300 of waveform for a 60-minute file, fully
# zoomed out and at the deepest zoom, against a plain raster window's repaint; and the
# rebuild after a zoom step against a pass over the peak samples. Needs about 1.5 GB of
# memory while it makes the peak data.
#
# It runs on an Xvfb of its own that keeps its screen in a file (-fbdir), which the
# benchmark reads to see when the pixels change, and moves the pointer through XTEST.
#
#   bench/waveform_view/view_bench.sh [BUILD_DIR] [RUNS]     (default build/release, 41)
set -euo pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
build=${1:-build/release}
runs=${2:-41}
cd "$root"
binary="$build/bench/waveform_view/studyloop-waveform-view-bench"
if [ ! -x "$binary" ]; then
    echo "$binary is missing: build the release preset first" >&2
    exit 1
fi
screen_dir=$(mktemp -d)
xvfb=""
cleanup() {
    [ -n "$xvfb" ] && kill "$xvfb" 2>/dev/null && wait "$xvfb" 2>/dev/null
    rm -rf "$screen_dir"
}
trap cleanup EXIT
for number in $(seq 140 160); do
    [ -e "/tmp/.X$number-lock" ] && continue
    Xvfb ":$number" -screen 0 1600x1200x24 -fbdir "$screen_dir" +extension GLX -nolisten tcp \
        >/dev/null 2>&1 &
    xvfb=$!
    for _ in $(seq 50); do
        DISPLAY=":$number" xdpyinfo >/dev/null 2>&1 && break
        sleep 0.1
    done
    if DISPLAY=":$number" xdpyinfo >/dev/null 2>&1; then
        export DISPLAY=":$number"
        break
    fi
    kill "$xvfb" 2>/dev/null || true
    xvfb=""
done
if [ -z "$xvfb" ]; then
    echo "could not start an Xvfb of its own" >&2
    exit 1
fi
"$binary" "$runs" "$screen_dir/Xvfb_screen0"
