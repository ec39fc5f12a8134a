#!/usr/bin/env bash
# Fuzzes the audio-file layer for SECONDS (default 60) with libFuzzer, AddressSanitizer and
# UndefinedBehaviorSanitizer, one worker:
#   tests/fuzz/run_fuzz.sh [SECONDS]
# Installs what is missing (scripts/install-deps.sh), builds the fuzz target with clang in
# its own build folder, makes the seed corpus from the test fixtures, replays the saved
# regression inputs, then fuzzes. Prints executions per second, coverage and any fault;
# exits 1 when a fault is found (its input is kept in the build folder's artifacts/).
#
# An input that takes more than 2 s or asks for more than 200 MB at once is a fault, as is a
# crash, a leak, a sanitizer report or a broken invariant of the target (FuzzAudioFile.cpp).
#
# Environment:
#   STUDYLOOP_FUZZ_BUILD_DIR   build folder (default build/fuzz); the corpus grows there
#   STUDYLOOP_FUZZ_NO_INSTALL  1: install nothing; without clang's libFuzzer, skip (exit 77)
set -euo pipefail
seconds=${1:-60}
root=$(cd "$(dirname "$0")/../.." && pwd)
build=${STUDYLOOP_FUZZ_BUILD_DIR:-$root/build/fuzz}

if [ "${STUDYLOOP_FUZZ_NO_INSTALL:-0}" != 1 ]; then
    "$root/scripts/install-deps.sh"
fi
probe=$(mktemp -d)
trap 'rm -rf "$probe"' EXIT
printf 'extern "C" int LLVMFuzzerTestOneInput(const char*, unsigned long) { return 0; }\n' \
    >"$probe/probe.cpp"
if ! command -v clang++ >/dev/null 2>&1 ||
    ! clang++ -fsanitize=fuzzer,address,undefined "$probe/probe.cpp" -o "$probe/probe" \
        >/dev/null 2>&1; then
    echo "SKIPPED: clang++ with libFuzzer (-fsanitize=fuzzer) is not installed;" \
        "install clang and libclang-rt-14-dev (scripts/install-deps.sh does)"
    exit 77
fi

echo "== building the fuzz target in $build"
cmake -S "$root/tests/fuzz/libfuzzer" -B "$build" -G Ninja -DCMAKE_C_COMPILER=clang \
    -DCMAKE_CXX_COMPILER=clang++ >/dev/null
cmake --build "$build" -j "${STUDYLOOP_FUZZ_BUILD_JOBS:-1}" | grep -v '^\[' || true
[ -x "$build/audio_file_fuzzer" ] || {
    echo "FAILED: the fuzz target did not build"
    exit 1
}

echo "== making the seed corpus"
rm -rf "$build/seeds"
"$build/make_fuzz_seeds" "$build/seeds"
mkdir -p "$build/corpus" "$build/artifacts"

# One input runs in about 80 MB, but the process grows as it goes: the sanitizer's allocator
# keeps what was freed and the corpus lives in memory, so after a few minutes it stands near
# 200 MB with 30 MB in use. The 200 MB is therefore a limit on any one allocation, and the
# process as a whole may reach 600 MB; a leak is caught by LeakSanitizer, not by the size.
export ASAN_OPTIONS=quarantine_size_mb=16:detect_leaks=1:allocator_may_return_null=0
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
limits=(-timeout=2 -rss_limit_mb=600 -malloc_limit_mb=200)

echo "== replaying the regression inputs"
mapfile -t regressions < <(find "$root/tests/fuzz/regressions" -type f ! -name '.*' | sort)
if [ ${#regressions[@]} -gt 0 ]; then
    if ! "$build/audio_file_fuzzer" "${limits[@]}" "${regressions[@]}" \
        >"$build/regressions.log" 2>&1; then
        grep -E 'Running:|invariant broken|ERROR:|SUMMARY:|runtime error' \
            "$build/regressions.log" | tail -20
        echo "FAILED: a regression input is at fault again (log: $build/regressions.log)"
        exit 1
    fi
    echo "${#regressions[@]} regression inputs: all refused or read consistently"
fi

echo "== fuzzing for $seconds s"
cd "$build"
rm -f fuzz-0.log
status=0
./audio_file_fuzzer -jobs=1 -workers=1 -max_total_time="$seconds" "${limits[@]}" \
    -print_final_stats=1 -artifact_prefix="$build/artifacts/" \
    corpus seeds "$root/tests/fuzz/regressions" >/dev/null 2>&1 || status=$?
log=$build/fuzz-0.log
[ -f "$log" ] || {
    echo "FAILED: the fuzzer wrote no log"
    exit 1
}

# The last statistics line: executions, coverage (cov edges, ft features) and the corpus.
grep -E '^#[0-9]+.*cov: ' "$log" | tail -1 || true
grep -E '^stat::average_exec_per_sec' "$log" | tail -1 || true

fault=$(grep -E 'invariant broken|ERROR: (AddressSanitizer|LeakSanitizer|libFuzzer)|runtime error:|==[0-9]+== ERROR|ALARM: working on the last Unit' "$log" | head -3 || true)
artifact=$(sed -nE 's/.*Test unit written to (.*)$/\1/p' "$log" | tail -1)
if [ -n "$fault" ] || [ -n "$artifact" ] || [ "$status" -ne 0 ]; then
    echo "FAULT FOUND:"
    [ -n "$fault" ] && echo "$fault"
    [ -n "$artifact" ] && echo "input: $artifact"
    echo "(log: $log)"
    exit 1
fi
echo "no fault found"
