#!/usr/bin/env python3
"""Opening and reducing a file with studyloop-inspect, against `ffmpeg -threads 1` decoding
the same file to nothing, in alternating runs; and the peak memory of studyloop-inspect on
an hour-long file. Figures are ratios against the reference measured in the same run, so
a noisy machine affects both sides alike.

    python3 bench/audio/decode_bench.py [--build build/release] [--runs 7]
"""
import argparse
import os
import re
import shutil
import statistics
import subprocess
import sys
import tempfile
import time


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


def make_music(source, minutes, target, codec_arguments):
    """`minutes` of the demo recording looped, encoded with the given arguments."""
    loops = int(minutes * 60 / 30) + 1
    run(["ffmpeg", "-nostdin", "-y", "-stream_loop", str(loops), "-i", source, "-t", str(minutes * 60),
         "-ar", "44100", "-ac", "2"] + codec_arguments + [target])


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--build", default="build/release")
    parser.add_argument("--runs", type=int, default=7)
    arguments = parser.parse_args()
    inspect = os.path.join(arguments.build, "tools/inspect/studyloop-inspect")
    demo = os.path.join(arguments.build, "resources/demo.wav")
    for needed in (inspect, demo):
        if not os.path.exists(needed):
            sys.exit(f"{needed} is missing: build the release preset first")
    if not shutil.which("ffmpeg"):
        sys.exit("the ffmpeg tool is missing")

    formats = [("mp3", ["-c:a", "libmp3lame", "-b:a", "192k"]), ("m4a", ["-c:a", "aac", "-b:a", "192k"]),
               ("flac", ["-c:a", "flac"]), ("wav", ["-c:a", "pcm_s16le"])]
    with tempfile.TemporaryDirectory() as folder:
        print(f"open + reduction of a 5-minute stereo 44.1 kHz file, {arguments.runs} alternating runs "
              f"(target: ratio <= 0.55 for the MP3, 0.80 for the others)")
        for extension, codec in formats:
            path = os.path.join(folder, f"five-minutes.{extension}")
            make_music(demo, 5, path, codec)
            ours, reference = [], []
            timed([inspect, path])  # warm the page cache for both
            for _ in range(arguments.runs):
                ours.append(timed([inspect, path]))
                reference.append(timed(["ffmpeg", "-nostdin", "-threads", "1", "-i", path, "-f", "null", "-"]))
            ratio = statistics.median(ours) / statistics.median(reference)
            target = 0.55 if extension == "mp3" else 0.80
            print(f"  {extension:5s} studyloop-inspect {statistics.median(ours) * 1000:7.1f} ms   "
                  f"ffmpeg -threads 1 {statistics.median(reference) * 1000:7.1f} ms   ratio {ratio:.2f}  "
                  f"{'ok' if ratio <= target else 'MISSED'}")

        one_buffer_mb = 60 * 60 * 44100 * 8 / 1024 / 1024
        print(f"peak resident memory on a 60-minute stereo 44.1 kHz file (target: < 120 MB; "
              f"one buffer for the decoded file alone would be {one_buffer_mb:.0f} MB)")
        for extension, codec in (("mp3", formats[0][1]), ("flac", formats[2][1])):
            path = os.path.join(folder, f"sixty-minutes.{extension}")
            make_music(demo, 60, path, codec)
            ours = peak_memory_mb([inspect, path])
            reference = peak_memory_mb(["ffmpeg", "-nostdin", "-threads", "1", "-i", path, "-f", "null", "-"])
            print(f"  {extension:5s} studyloop-inspect {ours:6.1f} MB   ffmpeg -threads 1 {reference:6.1f} MB   "
                  f"ratio to one buffer {ours / one_buffer_mb:.3f}")


if __name__ == "__main__":
    main()
