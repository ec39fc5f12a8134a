#!/usr/bin/env python3
"""The sound server dies under a playing window, and comes back; and a window started with
no server at all gets one later. The real program under Xvfb, a PulseAudio server of this
test's own (its own socket, killed and started again at will), xdotool for the hands.

    server_dies.py STUDYLOOP_BINARY WORK_FOLDER

1. Space: a steady tone is heard from the server's null sink.
2. The server is killed: the program keeps running, says "No sound output: playing
   silently" under the LCD's row, and the LCD's time keeps moving.
3. A new server starts on the same socket: after Space twice (pause, play) the tone is
   heard again from the new server.
4. A second window started with no server: Space plays silently and says so; a server
   appears; Space twice, and the tone is heard.

Screenshots are kept in WORK_FOLDER. Prints one line per check; exits non-zero on a failure.
"""

import os
import signal
import subprocess
import sys
import time

import numpy as np

from e2e import RATE, check, environment, find_window, read_wav, screenshot, send_keys, start, \
    stop, use_private_data_folder, write_wav


class Server:
    """A PulseAudio server with a null sink, on a socket of its own."""

    def __init__(self, work):
        self.runtime = os.path.join(work, "pulse")
        os.makedirs(self.runtime, exist_ok=True)
        self.socket = os.path.join(self.runtime, "native")
        self.env = dict(os.environ, PULSE_SERVER="unix:" + self.socket,
                        PULSE_RUNTIME_PATH=self.runtime)
        self.process = None

    def start(self):
        if os.path.exists(self.socket):
            os.remove(self.socket)
        self.process = subprocess.Popen(
            ["pulseaudio", "-n", "--daemonize=no", "--exit-idle-time=-1", "--use-pid-file=no",
             "--disallow-exit", "--load=module-null-sink sink_name=null",
             "--load=module-native-protocol-unix socket=" + self.socket],
            env=self.env, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        for _ in range(100):
            if subprocess.run(["pactl", "info"], env=self.env, capture_output=True).returncode == 0:
                subprocess.run(["pactl", "set-default-sink", "null"], env=self.env, check=False)
                return
            time.sleep(0.1)
        raise AssertionError("the test's PulseAudio server did not start")

    def kill(self):
        if self.process and self.process.poll() is None:
            self.process.send_signal(signal.SIGKILL)
            self.process.wait()

    def loudness(self, seconds, path):
        """The RMS of what the null sink plays over the next `seconds`."""
        recorder = subprocess.Popen(["parecord", "--device=null.monitor", "--file-format=wav",
                                     "--rate=%d" % RATE, "--channels=2", path], env=self.env)
        time.sleep(seconds)
        recorder.terminate()
        recorder.wait()
        samples = read_wav(path)
        return float(np.sqrt(np.mean(samples ** 2))) if len(samples) else 0.0


class Window:
    def __init__(self, binary, track, env, log):
        self.log = open(log, "w")
        self.process = start([binary, track], env, stderr=self.log)
        self.id = find_window(os.path.basename(track))
        time.sleep(1.0)

    def keys(self, *keys):
        send_keys(self.id, *keys, pause=0.3)

    def shot(self, path):
        return screenshot(self.id, path)

    def alive(self):
        return self.process.poll() is None

    def close(self):
        stop(self.process)
        self.log.close()


def region_changed(first, second, geometry):
    """Whether the pixels in `geometry` (WxH+X+Y) differ between two screenshots."""
    difference = subprocess.run(["compare", "-metric", "AE", "-extract", geometry, first, second,
                                 "null:"], capture_output=True, text=True).stderr.strip()
    try:
        return float(difference.split()[0]) > 50
    except (ValueError, IndexError):
        return False


def main():
    use_private_data_folder()
    binary, work = sys.argv[1], sys.argv[2]
    os.makedirs(work, exist_ok=True)
    track = os.path.join(work, "steady-tone.wav")
    write_wav(track, 0.4 * np.sin(2 * np.pi * 440 * np.arange(120 * RATE) / RATE))
    server = Server(work)
    env = environment(PULSE_SERVER=server.env["PULSE_SERVER"],
                      PULSE_RUNTIME_PATH=server.runtime)
    # Where the line about the sound output shows (after the LCD and the bar and beat beside
    # it), and the LCD itself, in the window's own pixels.
    status_area, lcd_area = "200x20+445+330", "100x30+240+325"
    windows = []
    try:
        server.start()
        window = Window(binary, track, env, os.path.join(work, "first.log"))
        windows.append(window)
        window.keys("space")
        time.sleep(3.0)  # a new stream on a null sink can take two seconds to sound
        check(server.loudness(1.5, os.path.join(work, "before.wav")) > 0.1,
              "Space: the tone is heard")
        before = window.shot(os.path.join(work, "server-alive.png"))

        server.kill()
        time.sleep(2.0)
        check(window.alive(), "the server is killed: the program keeps running")
        silent = window.shot(os.path.join(work, "server-gone.png"))
        time.sleep(1.0)
        later = window.shot(os.path.join(work, "server-gone-later.png"))
        check(region_changed(before, silent, status_area),
              "the window says there is no sound output")
        check(region_changed(silent, later, lcd_area), "the LCD's time keeps moving")
        with open(os.path.join(work, "first.log")) as f:
            check("went away" in f.read(), "the program logs that the server went away")

        server.start()
        time.sleep(0.5)
        window.keys("space", "space")
        time.sleep(3.0)
        check(server.loudness(1.5, os.path.join(work, "after.wav")) > 0.1,
              "a new server: the next play is heard")
        check(not region_changed(before, window.shot(os.path.join(work, "server-back.png")),
                                 status_area), "the line about no sound output has gone")
        window.close()

        server.kill()
        second = Window(binary, track, env, os.path.join(work, "second.log"))
        windows.append(second)
        quiet = second.shot(os.path.join(work, "no-server-loaded.png"))
        second.keys("space")
        time.sleep(1.5)
        check(second.alive(), "no server at launch: the program plays on")
        check(region_changed(quiet, second.shot(os.path.join(work, "no-server-playing.png")),
                             status_area), "no server at launch: the window says so")
        server.start()
        time.sleep(0.5)
        second.keys("space", "space")
        time.sleep(3.0)
        check(server.loudness(1.5, os.path.join(work, "appeared.wav")) > 0.1,
              "a server appears: the next play is heard")
        print("1 passed, 0 failed")
    finally:
        for window in windows:
            window.close()
        server.kill()


if __name__ == "__main__":
    main()
