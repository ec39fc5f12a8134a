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
import struct
import subprocess
import sys
import time

import numpy as np

from private_data import use_private_data_folder

RATE = 44100


def write_click_track(path, seconds=60.0, interval=0.5):
    frames = np.zeros(int(seconds * RATE))
    click = 0.8 * np.exp(-np.arange(200) / 30.0) * np.sin(2 * np.pi * 2000 * np.arange(200) / RATE)
    for start in np.arange(0, len(frames) - 200, int(interval * RATE)):
        frames[start:start + 200] += click
    data = (np.repeat(frames, 2) * 32767).astype("<i2").tobytes()
    with open(path, "wb") as f:
        f.write(b"RIFF" + struct.pack("<I", 36 + len(data)) + b"WAVEfmt "
                + struct.pack("<IHHIIHH", 16, 1, 2, RATE, RATE * 4, 4, 16)
                + b"data" + struct.pack("<I", len(data)) + data)


def read_wav(path):
    with open(path, "rb") as f:
        data = f.read()
    pos = 12
    channels, body = 2, b""
    while pos + 8 <= len(data):
        tag, size = data[pos:pos + 4], struct.unpack("<I", data[pos + 4:pos + 8])[0]
        if tag == b"fmt ":
            channels = struct.unpack("<H", data[pos + 10:pos + 12])[0]
        elif tag == b"data":
            body = data[pos + 8:pos + 8 + size]
        pos += 8 + size + (size & 1)
    samples = np.frombuffer(body[: len(body) // (2 * channels) * 2 * channels], "<i2")
    return samples.reshape(-1, channels).mean(axis=1) / 32768.0


def click_intervals(signal):
    """The times between click onsets (a rise above 0.2 after 0.1 s below it)."""
    loud = np.abs(signal) > 0.2
    onsets, last = [], -RATE
    for index in np.flatnonzero(loud):
        if index - last > RATE // 10:
            onsets.append(index)
        last = index
    return np.diff(onsets) / RATE


class Session:
    def __init__(self, binary, work):
        self.binary, self.work = binary, work
        self.sink = "studyloop_e2e_%d" % os.getpid()
        # A busy X server turns a new client away now and then; Qt tries each one listed.
        self.env = dict(os.environ, PULSE_SINK=self.sink, QT_QPA_PLATFORM="xcb;xcb;xcb;xcb",
                        STUDYLOOP_INSTANCE_NAME="studyloop-e2e-%d" % os.getpid())
        self.module = subprocess.run(["pactl", "load-module", "module-null-sink",
                                      "sink_name=" + self.sink], capture_output=True, text=True,
                                     check=True).stdout.strip()
        self.app = self.recorder = None

    def close(self):
        for process in (self.recorder, self.app):
            if process and process.poll() is None:
                process.kill()
                process.wait()
        subprocess.run(["pactl", "unload-module", self.module], check=False)

    def record(self, path):
        self.recorder = subprocess.Popen(["parecord", "--device=%s.monitor" % self.sink,
                                          "--file-format=wav", "--rate=%d" % RATE,
                                          "--channels=2", path])

    def stop_recording(self):
        self.recorder.terminate()
        self.recorder.wait()

    def window(self, name, timeout=20):
        deadline = time.time() + timeout
        while time.time() < deadline:
            found = subprocess.run(["xdotool", "search", "--onlyvisible", "--name", name],
                                   capture_output=True, text=True).stdout.split()
            if found:
                return found[0]
            time.sleep(0.2)
        raise AssertionError("no window named %r appeared" % name)

    def keys(self, window, *keys):
        # Real key presses (XTEST) into the window holding the focus: Qt takes menu
        # shortcuts only from its active window. Xvfb has no window manager to activate
        # one, so the focus is set directly.
        subprocess.run(["xdotool", "windowfocus", "--sync", window], check=False,
                       stderr=subprocess.DEVNULL)
        time.sleep(0.1)
        for key in keys:
            subprocess.run(["xdotool", "key", key], check=True)
            time.sleep(0.05)

    def screenshot(self, window, name):
        subprocess.run(["import", "-window", window, os.path.join(self.work, name)], check=False)


def check(condition, message):
    print(("ok    " if condition else "FAIL  ") + message, flush=True)
    if not condition:
        raise SystemExit(1)


def main():
    use_private_data_folder()
    binary, work = sys.argv[1], sys.argv[2]
    os.makedirs(work, exist_ok=True)
    track = os.path.join(work, "click-track.wav")
    notes = os.path.join(work, "notes.mp3")
    write_click_track(track)
    with open(notes, "w") as f:
        f.write("Practice notes, not a recording.\n")
    session = Session(binary, work)
    try:
        recording = os.path.join(work, "session-recording.wav")
        session.record(recording)
        session.app = subprocess.Popen([binary, track], env=session.env,
                                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        window = session.window("click-track.wav")
        time.sleep(1.0)
        session.screenshot(window, "e2e-loaded.png")

        session.keys(window, "space")
        time.sleep(6.0)
        session.keys(window, *["minus"] * 4)
        time.sleep(0.3)
        session.screenshot(window, "e2e-speed-flash.png")
        time.sleep(5.0)

        second = subprocess.run([binary, notes], env=session.env, timeout=20,
                                stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        check(second.returncode == 0, "a second launch hands its file over and exits")
        message = session.window("^Study Loop$", timeout=10)
        session.screenshot(message, "e2e-refused.png")
        time.sleep(3.0)
        session.stop_recording()

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
        tail = heard[-2 * RATE:]
        check(np.max(np.abs(tail)) > 0.2, "the first file plays on after the bad one was refused")

        session.keys(message, "Return")
        time.sleep(0.5)
        session.keys(window, "ctrl+w")
        try:
            session.app.wait(timeout=10)
            ended = True
        except subprocess.TimeoutExpired:
            ended = False
        check(ended, "Ctrl+W closes the window and the program ends")
        print("1 passed, 0 failed")
    finally:
        session.close()


if __name__ == "__main__":
    main()
