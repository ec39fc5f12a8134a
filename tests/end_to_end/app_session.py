#!/usr/bin/env python3
"""A musician's first minute with Study Loop, end to end: the real program under Xvfb, a
PulseAudio null sink of this test's own recorded from its monitor, and xdotool for the hands.

    app_session.py STUDYLOOP_BINARY WORK_FOLDER

1. Start the program on a click track (a click every 0.5 s), press Space: clicks are heard,
   0.5 s apart.
2. Press - four times: the LCD flashes the speed (screenshot kept) and the clicks come
   0.625 s apart (speed 80 %).
3. Launch the program a second time with a text file named .mp3: that launch hands the file
   to the first and exits; the first shows a message and keeps playing.
4. Dismiss the message, press Ctrl+W: the window closes and the program ends.

Screenshots are kept in WORK_FOLDER. Prints one line per step; exits non-zero on a failure.
"""

import os
import subprocess
import sys
import time

import numpy as np

from e2e import RATE, NullSink, check, find_window, read_wav, screenshot, send_keys, start, \
    stop, use_private_data_folder, write_wav


def click_track(seconds=60.0, interval=0.5):
    frames = np.zeros(int(seconds * RATE))
    click = 0.8 * np.exp(-np.arange(200) / 30.0) * np.sin(2 * np.pi * 2000 * np.arange(200) / RATE)
    for begin in np.arange(0, len(frames) - 200, int(interval * RATE)):
        frames[begin:begin + 200] += click
    return frames


def click_intervals(signal):
    """The times between click onsets (a rise above 0.2 after 0.1 s below it)."""
    onsets, last = [], -RATE
    for index in np.flatnonzero(np.abs(signal) > 0.2):
        if index - last > RATE // 10:
            onsets.append(index)
        last = index
    return np.diff(onsets) / RATE


def main():
    use_private_data_folder()
    binary, work = sys.argv[1], sys.argv[2]
    os.makedirs(work, exist_ok=True)
    track, notes = os.path.join(work, "click-track.wav"), os.path.join(work, "notes.mp3")
    write_wav(track, click_track())
    with open(notes, "w") as f:
        f.write("Practice notes, not a recording.\n")
    sink, app = NullSink(), None
    try:
        recording = os.path.join(work, "session-recording.wav")
        sink.record(recording)
        app = start([binary, track], sink.env())
        window = find_window("click-track.wav")
        time.sleep(1.0)
        screenshot(window, os.path.join(work, "e2e-loaded.png"))

        send_keys(window, "space")
        time.sleep(6.0)
        send_keys(window, *["minus"] * 4)
        time.sleep(0.3)
        screenshot(window, os.path.join(work, "e2e-speed-flash.png"))
        time.sleep(5.0)

        second = subprocess.run([binary, notes], env=sink.env(), timeout=20,
                                stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        check(second.returncode == 0, "a second launch hands its file over and exits")
        message = find_window("^Study Loop$", timeout=10)
        screenshot(message, os.path.join(work, "e2e-refused.png"))
        time.sleep(3.0)
        sink.stop_recording()

        # The recording is silent until Space; a new stream may take a moment to sound,
        # so the clicks are told apart by their spacing rather than by the clock: the
        # first ones come before the speed change, the last ones after it.
        heard = read_wav(recording)
        intervals = click_intervals(heard)
        check(len(intervals) >= 14, "Space starts the sound (%d clicks heard)" % (len(intervals) + 1))
        normal, slow = intervals[:4], intervals[-8:]
        check(abs(np.median(normal) - 0.5) < 0.02,
              "clicks 0.5 s apart at speed 100 %% (median %.3f s)" % np.median(normal))
        check(abs(np.median(slow) - 0.625) < 0.02,
              "- four times: clicks 0.625 s apart (median %.3f s over the last %d)"
              % (np.median(slow), len(slow)))
        check(np.max(np.abs(heard[-2 * RATE:])) > 0.2,
              "the first file plays on after the bad one was refused")

        send_keys(message, "Return")
        time.sleep(0.5)
        send_keys(window, "ctrl+w")
        try:
            app.wait(timeout=10)
        except subprocess.TimeoutExpired:
            pass
        check(app.poll() is not None, "Ctrl+W closes the window and the program ends")
        print("1 passed, 0 failed")
    finally:
        stop(app)
        sink.close()


if __name__ == "__main__":
    main()
