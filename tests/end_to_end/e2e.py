"""What the end-to-end scripts share: the data folder of the test's own, WAV files, the
window found by name and driven by xdotool's real keys, screenshots, and the checks.

The program under test keeps what it remembers (recent files, saved loops, the last speed
and pitch of each recording) in a data folder made empty for each run and removed after it:
one run cannot change the next, and the user's own folder is never touched."""

import atexit
import os
import shutil
import subprocess
import tempfile
import time
import wave

import numpy as np

RATE = 44100


def use_private_data_folder():
    folder = tempfile.mkdtemp(prefix="studyloop-e2e-data-")
    os.environ["XDG_DATA_HOME"] = folder
    atexit.register(shutil.rmtree, folder, True)


def write_wav(path, mono):
    """`mono` (floats in [-1, 1]) as a 16-bit stereo WAV file at RATE."""
    with wave.open(path, "wb") as f:
        f.setnchannels(2)
        f.setsampwidth(2)
        f.setframerate(RATE)
        f.writeframes((np.repeat(mono, 2) * 32767).astype("<i2").tobytes())


def read_wav(path):
    """A 16-bit WAV file (what parecord writes) as mono floats."""
    with wave.open(path, "rb") as f:
        channels = f.getnchannels()
        samples = np.frombuffer(f.readframes(f.getnframes()), "<i2")
    return samples[: len(samples) // channels * channels].reshape(-1, channels).mean(axis=1) / 32768.0


def check(condition, message):
    print(("ok    " if condition else "FAIL  ") + message, flush=True)
    if not condition:
        raise SystemExit(1)


def find_window(name, timeout=20):
    """The id of the first visible window whose name matches `name`."""
    deadline = time.time() + timeout
    while time.time() < deadline:
        found = subprocess.run(["xdotool", "search", "--onlyvisible", "--name", name],
                               capture_output=True, text=True).stdout.split()
        if found:
            return found[0]
        time.sleep(0.2)
    raise AssertionError("no window named %r appeared" % name)


def send_keys(window, *keys, pause=0.05):
    """Real key presses (XTEST) into `window`. Qt takes menu shortcuts only from its active
    window; Xvfb has no window manager to activate one, so the focus is set directly."""
    subprocess.run(["xdotool", "windowfocus", "--sync", window], check=False,
                   stderr=subprocess.DEVNULL)
    time.sleep(0.1)
    for key in keys:
        subprocess.run(["xdotool", "key", key], check=True)
        time.sleep(pause)


def screenshot(window, path):
    subprocess.run(["import", "-window", window, path], check=False)
    return path


def environment(**extra):
    """The environment the program runs in: a busy X server turns a new client away now and
    then, and Qt tries each platform listed; its own instance name, so no other Study Loop
    takes its launches."""
    return dict(os.environ, QT_QPA_PLATFORM="xcb;xcb;xcb;xcb",
                STUDYLOOP_INSTANCE_NAME="studyloop-e2e-%d" % os.getpid(), **extra)


class NullSink:
    """A null sink of the test's own on the running PulseAudio server, recorded from its
    monitor; the program plays into it when started with env()."""

    def __init__(self):
        self.name = "studyloop_e2e_%d" % os.getpid()
        self.module = subprocess.run(["pactl", "load-module", "module-null-sink",
                                      "sink_name=" + self.name], capture_output=True, text=True,
                                     check=True).stdout.strip()
        self.recorder = None

    def env(self):
        return environment(PULSE_SINK=self.name)

    def record(self, path):
        self.recorder = subprocess.Popen(["parecord", "--device=%s.monitor" % self.name,
                                          "--file-format=wav", "--rate=%d" % RATE,
                                          "--channels=2", path])

    def stop_recording(self):
        self.recorder.terminate()
        self.recorder.wait()

    def close(self):
        if self.recorder and self.recorder.poll() is None:
            self.stop_recording()
        subprocess.run(["pactl", "unload-module", self.module], check=False)


def start(command, env, **options):
    """The program, its output dropped unless `stderr` says otherwise."""
    options.setdefault("stderr", subprocess.DEVNULL)
    return subprocess.Popen(command, env=env, stdout=subprocess.DEVNULL, **options)


def stop(process):
    if process and process.poll() is None:
        process.kill()
        process.wait()
