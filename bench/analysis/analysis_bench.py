#!/usr/bin/python3
"""The analysis's cost: on a 5-minute MP3, `studyloop-inspect FILE --analysis` against
`studyloop-inspect FILE` (opening the file and reducing it to the waveform's peaks, as the
window does first), in alternating runs; the analysis's own time is the difference of the
medians, printed as a ratio to the open plus waveform measured in the same run, so a busy
machine affects both alike. Then the peak resident memory of the whole analysis run on a
60-minute MP3.

    /usr/bin/python3 bench/analysis/analysis_bench.py [--build build/release] [--runs 7]
"""
import argparse
import os
import re
import statistics
import subprocess
import sys
import tempfile
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import pieces  # noqa: E402

RATIO_TARGET = 1.5
MEMORY_TARGET_MB = 120


def run(command):
    subprocess.run(command, check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


def timed(command):
    start = time.perf_counter()
    run(command)
    return time.perf_counter() - start


def peak_memory_mb(command):
    result = subprocess.run(["/usr/bin/time", "-v"] + command, check=True,
                            stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)
    kilobytes = int(re.search(r"Maximum resident set size \(kbytes\): (\d+)", result.stderr).group(1))
    return kilobytes / 1024


def five_minute_piece(folder):
    """A band piece of five minutes (150 bars of 4/4 at 120), rendered and encoded as MP3."""
    piece = pieces.Piece("five minutes", pieces.steady(150, 4, 120), 2, pieces.POP,
                         [pieces.rock_drums(), pieces.bass_line(1, 33, "eighths"),
                          pieces.chords(2, 29, "half"), pieces.melody(3, 65)])
    wav = pieces.render(piece, folder)
    mp3 = os.path.join(folder, "five-minutes.mp3")
    run(["ffmpeg", "-nostdin", "-y", "-i", wav, "-c:a", "libmp3lame", "-b:a", "192k", mp3])
    return wav, mp3


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--build", default="build/release")
    parser.add_argument("--runs", type=int, default=7)
    arguments = parser.parse_args()
    inspect = os.path.join(arguments.build, "tools/inspect/studyloop-inspect")
    if not os.path.exists(inspect):
        sys.exit(f"{inspect} is missing: build the release preset first")

    with tempfile.TemporaryDirectory() as folder:
        wav, mp3 = five_minute_piece(folder)
        open_only, with_analysis = [], []
        timed([inspect, mp3, "--analysis"])  # warm the page cache
        for _ in range(arguments.runs):
            open_only.append(timed([inspect, mp3]))
            with_analysis.append(timed([inspect, mp3, "--analysis"]))
        reference = statistics.median(open_only)
        analysis = statistics.median(with_analysis) - reference
        ratio = analysis / reference
        print(f"5-minute MP3, {os.cpu_count()} cores, {arguments.runs} alternating runs")
        print(f"  open + waveform (studyloop-inspect FILE)  {reference * 1000:7.1f} ms")
        print(f"  with the analysis (--analysis)            {statistics.median(with_analysis) * 1000:7.1f} ms")
        print(f"  the analysis alone                        {analysis * 1000:7.1f} ms   "
              f"ratio {ratio:.2f} (target <= {RATIO_TARGET})  {'ok' if ratio <= RATIO_TARGET else 'MISSED'}")

        hour = os.path.join(folder, "sixty-minutes.mp3")
        run(["ffmpeg", "-nostdin", "-y", "-stream_loop", "12", "-i", wav, "-t", "3600",
             "-c:a", "libmp3lame", "-b:a", "192k", hour])
        memory = peak_memory_mb([inspect, hour, "--analysis"])
        without = peak_memory_mb([inspect, hour])
        print(f"60-minute MP3: peak resident memory of studyloop-inspect --analysis {memory:6.1f} MB "
              f"(target < {MEMORY_TARGET_MB} MB)  {'ok' if memory < MEMORY_TARGET_MB else 'MISSED'}; "
              f"without the analysis {without:6.1f} MB")


if __name__ == "__main__":
    main()
