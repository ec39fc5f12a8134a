#!/usr/bin/env bash
# Builds Study Loop and opens it on the bundled demo recording.
#
# Until the application window lands, this shows the pieces that exist: the file as the
# program reads it, the waveform view in a window, and the player looping the demo at
# half speed through the sound server. Close the window (or press Ctrl-C) to stop.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"
scripts/install-deps.sh
# shellcheck source=services.sh
source scripts/services.sh
cmake --preset release >/dev/null
cmake --build --preset release
build=build/release
demo=${1:-$build/resources/demo.wav}
if [ -x "$build/app/studyloop" ]; then
    exec "$build/app/studyloop" "$demo"
fi

"$build/tools/inspect/studyloop-inspect" "$demo"
"$build/tools/play/studyloop-play" "$demo" --rate 0.5 --loops 1000 >/dev/null &
player=$!
trap 'kill $player 2>/dev/null || true' EXIT
trap 'exit 130' INT TERM
"$build/tools/view/studyloop-view" "$demo"
