#!/usr/bin/env python3
"""Marking a bar with the mouse and looping it, end to end: the real program on the demo
recording under Xvfb, xdotool's real pointer and keys, and this test's own null sink.

    range_by_mouse.py STUDYLOOP_BINARY DEMO_WAV WORK_FOLDER

Shift-drags a new range over one bar of the demo recording, turns the loop on (L), plays
the range from its start (Return) and records three passes. The range the view takes is
worked out from the pointer's pixels the way the view maps pixels to frames, so what is
heard must be that stretch of the recording: each pass starts where the demo does at the
range start, and the passes repeat with the range's length (a pixel's worth of frames of
slack, plus the short gap between passes).
"""

import os
import subprocess
import sys
import time

import numpy as np

from e2e import RATE, NullSink, check, find_window, read_wav, screenshot, send_keys, start, \
    stop, use_private_data_folder

SIDE_MARGIN = 25  # the view's margin left and right of the waveform, in pixels


def window_geometry(window):
    output = subprocess.run(["xdotool", "getwindowgeometry", "--shell", window],
                            capture_output=True, text=True, check=True).stdout
    values = dict(line.split("=") for line in output.split())
    return int(values["WIDTH"]), int(values["HEIGHT"])


def best_offset(needle, haystack):
    """Where in `haystack` the stretch `needle` matches best (normalised correlation)."""
    size = 1 << int(np.ceil(np.log2(len(haystack) + len(needle))))
    corr = np.fft.irfft(np.fft.rfft(haystack, size) * np.conj(np.fft.rfft(needle, size)), size)
    energy = np.convolve(haystack ** 2, np.ones(len(needle)), mode="valid")
    scores = corr[: len(energy)] / np.sqrt(np.maximum(energy, 1e-12))
    return int(np.argmax(scores))


def main():
    use_private_data_folder()
    binary, demo_path, work = sys.argv[1], sys.argv[2], sys.argv[3]
    os.makedirs(work, exist_ok=True)
    demo = read_wav(demo_path)
    total = len(demo)
    sink, app = NullSink(), None
    try:
        app = start([binary, demo_path], sink.env())
        window = find_window("^demo.wav$")
        time.sleep(1.0)
        width, height = window_geometry(window)
        per_pixel = total / (width - 2 * SIDE_MARGIN)
        # One bar of the demo (105 BPM in 4/4: 100800 frames), from bar 5 on.
        bar = 100800
        x_start = SIDE_MARGIN + int(np.ceil(4 * bar / per_pixel))
        x_end = SIDE_MARGIN + int(np.ceil(5 * bar / per_pixel))
        expected_start = int((x_start - SIDE_MARGIN) * per_pixel)
        expected_end = int((x_end - SIDE_MARGIN) * per_pixel)
        y = height // 3

        send_keys(window)  # the focus, for the Shift held during the drag
        subprocess.run(["xdotool", "mousemove", "--window", window, str(x_start), str(y)], check=True)
        subprocess.run(["xdotool", "keydown", "shift", "mousedown", "1"], check=True)
        for x in np.linspace(x_start, x_end, 12)[1:]:
            subprocess.run(["xdotool", "mousemove", "--window", window, str(int(x)), str(y)],
                           check=True)
            time.sleep(0.03)
        subprocess.run(["xdotool", "mouseup", "1", "keyup", "shift"], check=True)
        time.sleep(0.3)
        screenshot(window, os.path.join(work, "range-marked.png"))

        recording = os.path.join(work, "range-recording.wav")
        sink.record(recording)
        time.sleep(0.5)
        send_keys(window, "l", "Return")
        length = (expected_end - expected_start) / RATE
        time.sleep(3 * length + 1.5)
        screenshot(window, os.path.join(work, "range-looping.png"))
        sink.stop_recording()

        heard = read_wav(recording)
        sound = np.flatnonzero(np.abs(heard) > 0.02)
        check(len(sound) > RATE, "the marked range is heard")
        first = heard[sound[0]: sound[0] + int(3 * length * RATE)]
        # Where the demo matches the stretch heard first. The demo plays its first eight bars
        # again from bar 9 on, so a short stretch matches two places eight bars apart; the
        # search covers a bar either side of the mark.
        probe = int(0.25 * RATE)
        low = max(0, expected_start - bar)
        start_found = low + best_offset(first[:probe], demo[low: expected_start + 2 * bar])
        check(abs(start_found - expected_start) <= per_pixel,
              "the loop starts at the marked frame (%d, marked %d, a pixel is %.0f frames)"
              % (start_found, expected_start, per_pixel))
        # The second pass: the same stretch again, one range length (and a short gap) later;
        # searched for between half a pass and one and a half, where the third is not.
        search_from = int(0.5 * length * RATE)
        search_to = int(1.5 * length * RATE) + probe
        again = best_offset(first[:probe], first[search_from:search_to]) + search_from
        period = again / RATE
        check(length - per_pixel / RATE <= period <= length + per_pixel / RATE + 0.03,
              "the passes repeat every %.3f s (range %.3f s)" % (period, length))
        print("1 passed, 0 failed")
    finally:
        stop(app)
        sink.close()


if __name__ == "__main__":
    main()
