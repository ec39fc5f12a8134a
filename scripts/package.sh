#!/usr/bin/env bash
# Builds the release preset and packs it as a .deb with cpack; prints the package's
# absolute path, so that `sudo apt-get install "$(scripts/package.sh)"` works.
# Installs what is missing first (dpkg-dev's dpkg-shlibdeps finds the dependencies).
#
#   scripts/package.sh [BUILD_DIR]    default build/release
#
# Install the result with: sudo apt-get install ./build/release/studyloop_*.deb
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
cd "$root"
# Everything but the path goes to standard error.
scripts/install-deps.sh >&2
build=$(realpath -m "${1:-build/release}")

cmake --preset release -B "$build" >/dev/null
cmake --build "$build" >&2
# Only this package in the output: an older version's file would otherwise sit beside it.
rm -f "$build"/studyloop_*.deb
# The changelog entry cpack writes is dated at the last commit, so the same commit gives
# the same changelog.
epoch=${SOURCE_DATE_EPOCH:-$(git log -1 --format=%ct 2>/dev/null || date +%s)}
(cd "$build" && SOURCE_DATE_EPOCH=$epoch cpack >&2)
deb=("$build"/studyloop_*.deb)
[ -f "${deb[0]}" ] || { echo "cpack made no .deb in $build" >&2; exit 1; }
echo "${deb[0]}"
