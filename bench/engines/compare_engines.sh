#!/usr/bin/env bash
# Renders the demo recording with both players (studyloop-play --render, --engine queue
# and --engine graph) at the same settings and compares the two renderings with
# studyloop-spectral-diff: lengths, alignment, sample-level difference, and the
# log-magnitude spectra every 50 ms (mean, percentiles, maximum and where it is largest).
#
#   bench/engines/compare_engines.sh [BUILD_DIR] [studyloop-play options...]
#
# BUILD_DIR defaults to build/release; the options default to --rate 0.5.
set -euo pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
build=${1:-$root/build/release}
shift || true
options=("$@")
[ ${#options[@]} -gt 0 ] || options=(--rate 0.5)
demo=$build/resources/demo.wav
play=$build/tools/play/studyloop-play
diff=$build/tools/spectral_diff/studyloop-spectral-diff
for program in "$play" "$diff"; do
  [ -x "$program" ] || { echo "missing $program: build it first" >&2; exit 1; }
done
[ -f "$demo" ] || { echo "missing $demo: build the demo_recording target first" >&2; exit 1; }
out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT
for engine in queue graph; do
  start=$(date +%s.%N)
  "$play" "$demo" "${options[@]}" --engine "$engine" --render "$out/$engine.wav" 2>/dev/null |
    grep '^rendered' | sed "s/^/$engine: /"
  echo "$engine: $(echo "$(date +%s.%N) - $start" | bc) s to render"
done
"$diff" "$out/queue.wav" "$out/graph.wav"
