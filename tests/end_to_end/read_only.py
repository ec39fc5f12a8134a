#!/usr/bin/env python3
"""The user's files are only ever read: every open of the recording by the program (the
window loading it, drawing it and playing it, and studyloop-play) is read-only, no lock is
taken on it, and its bytes and times are what they were.

    read_only.py STUDYLOOP STUDYLOOP_PLAY RECORDING WORK_FOLDER

Runs each program under strace, following every thread and child. Exits non-zero on a
failure, printing what it found.
"""

import hashlib
import os
import re
import shutil
import subprocess
import sys

from e2e import use_private_data_folder


def main():
    use_private_data_folder()
    studyloop, play, source, work = sys.argv[1:5]
    os.makedirs(work, exist_ok=True)
    recording = os.path.join(work, "my recording.wav")
    shutil.copyfile(source, recording)
    os.chmod(recording, 0o644)
    before = (os.stat(recording).st_mtime_ns, hashlib.sha256(open(recording, "rb").read()).digest())

    runs = {
        "window": [studyloop, recording, "--screenshot", os.path.join(work, "shot.png"),
                   "--range", "1,3", "--playhead", "2"],
        "play": [play, recording, "--range", "0:22050"],
    }
    failures = []
    for name, command in runs.items():
        trace = os.path.join(work, name + ".strace")
        subprocess.run(["strace", "-f", "-qq", "-e", "trace=open,openat,creat,flock,fcntl,"
                        "truncate,ftruncate,rename,renameat,renameat2,unlink,unlinkat",
                        "-o", trace] + command, stdout=subprocess.DEVNULL,
                       stderr=subprocess.DEVNULL, timeout=120, check=True)
        opens, fds = 0, set()
        for line in open(trace):
            if recording in line:
                if re.search(r"\b(open|openat)\(", line):
                    opens += 1
                    flags = line.split(",")[2 if "openat(" in line else 1]
                    if re.search(r"O_(WRONLY|RDWR|CREAT|TRUNC|APPEND)", flags):
                        failures.append(f"{name}: opened for writing: {line.strip()}")
                    result = re.search(r"= (\d+)$", line.strip())
                    if result:
                        fds.add(result.group(1))
                else:
                    failures.append(f"{name}: changed the file: {line.strip()}")
            elif re.search(r"\b(flock|fcntl)\((\d+), (LOCK_|F_SETLK|F_OFD_SETLK)", line):
                fd = re.search(r"\((\d+),", line).group(1)
                if fd in fds:
                    failures.append(f"{name}: locked the file: {line.strip()}")
        print(f"{name}: {opens} opens of the recording, all read-only" if opens else
              f"{name}: never opened the recording")
        if not opens:
            failures.append(f"{name}: the trace shows no open of the recording")
    after = (os.stat(recording).st_mtime_ns, hashlib.sha256(open(recording, "rb").read()).digest())
    if after != before:
        failures.append("the recording's bytes or modification time changed")
    for failure in failures:
        print("FAIL", failure)
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
