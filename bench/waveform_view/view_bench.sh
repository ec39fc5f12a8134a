#!/usr/bin/env bash
# Frame time of the waveform view at 1280 x 300 for a 60-minute file (fully zoomed out and
# at the deepest zoom) and the rebuild after a zoom step, each as a ratio against a
# reference measured in the same run. Needs about 1.5 GB of memory while it makes the
# peak data. Runs under Xvfb when there is no display.
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
# shellcheck source=../../scripts/services.sh
source scripts/services.sh
exec "$binary" "$runs"
