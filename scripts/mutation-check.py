#!/usr/bin/env python3
"""Breaks the program on purpose, one fault at a time, and shows which test catches each.

    scripts/mutation-check.py [--build build/mutation] [--only NAME]

Each mutation is a small textual change to one source file (a seek one frame off, a loop end
a buffer late, the speed applied twice, a bad file let through, a range not held inside the
file). For each, the script builds the tests in a build folder of its own, runs CTest until
the first failure, and puts the source back, whatever happens. A mutation that no test
catches is a hole in the tests. Needs a display and a sound server, as the tests do
(source scripts/services.sh first).
"""
import argparse
import os
import re
import subprocess
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))

# name, file, text to find (exactly once), what it becomes
MUTATIONS = [
    ("seek one frame late", "platform/audio_file/ExtAudioFile.cpp",
     "file->pendingSeek.store(frameOffset);",
     "file->pendingSeek.store(frameOffset + 1);"),
    ("loop end one buffer late", "playback/KTAudioQueuePlayer.cpp",
     "return rangeStartFrame_.load() + rangeNumFrames.load();",
     "return rangeStartFrame_.load() + rangeNumFrames.load() + std::int32_t(kBufferFrames);"),
    ("speed applied twice", "playback/KTAudioQueuePlayer.cpp",
     "kAudioQueueParam_PlayRate, float(rate));",
     "kAudioQueueParam_PlayRate, float(rate * rate));"),
    ("bad file accepted", "audio/AudioFilePreflight.cpp",
     "result.status = check(url);",
     "result.status = check(url) == kAudioFileUnsupportedFileTypeError ? noErr : check(url);"),
    ("range not held inside the file", "playback/KTAudioQueuePlayer.cpp",
     "std::int64_t(std::clamp(frame, 0.0, total))",
     "std::int64_t(frame)"),
]


def run(command, **kwargs):
    return subprocess.run(command, cwd=ROOT, text=True, **kwargs)


def failures(build, labels, stop_early, leave_out=()):
    command = ["ctest", "--test-dir", build, "-L", labels, "--timeout", "300", "-j",
               str(os.cpu_count() or 2)]
    if leave_out:
        # A test that fails anyway would otherwise be the first failure and stop the run.
        command += ["-E", "|".join("^" + re.escape(name) + "$" for name in leave_out)]
    if stop_early:
        command.append("--stop-on-failure")
    result = run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    # Progress lines of tests that did not pass: "Test #12: Name ....***Failed" or
    # "...Subprocess aborted***Exception".
    return re.findall(r"Test\s+#\d+: (\S+).*\*\*\*", result.stdout)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--build", default="build/mutation")
    parser.add_argument("--labels", default="audio|playback|gui|desktop|sound")
    parser.add_argument("--only")
    arguments = parser.parse_args()
    build = os.path.join(ROOT, arguments.build)
    run(["cmake", "--preset", "ci", "-B", build, "-DSTUDYLOOP_WARNINGS_AS_ERRORS=OFF"],
        check=True, stdout=subprocess.DEVNULL)
    # Tests that fail with nothing broken (a missing service, say) catch nothing.
    run(["cmake", "--build", build], check=True, stdout=subprocess.DEVNULL)
    failing_anyway = set(failures(build, arguments.labels, stop_early=False))
    if failing_anyway:
        print("failing before any mutation, not counted:", ", ".join(sorted(failing_anyway)))
    caught_all = True
    for name, path, find, replace in MUTATIONS:
        if arguments.only and arguments.only not in name:
            continue
        source = os.path.join(ROOT, path)
        with open(source) as file:
            original = file.read()
        if original.count(find) != 1:
            print(f"{name:32s} cannot apply: the text is not in {path} exactly once")
            caught_all = False
            continue
        try:
            with open(source, "w") as file:
                file.write(original.replace(find, replace))
            built = run(["cmake", "--build", build], stdout=subprocess.PIPE,
                        stderr=subprocess.STDOUT)
            if built.returncode != 0:
                print(f"{name:32s} does not build:\n{built.stdout[-2000:]}")
                caught_all = False
                continue
            caught = failures(build, arguments.labels, stop_early=True,
                              leave_out=sorted(failing_anyway))
            catcher = caught[0] if caught else None
        finally:
            with open(source, "w") as file:
                file.write(original)
        print(f"{name:32s} {'caught by ' + catcher if catcher else 'SURVIVED'}", flush=True)
        caught_all = caught_all and catcher is not None
    run(["cmake", "--build", build], stdout=subprocess.DEVNULL)
    sys.exit(0 if caught_all else 1)


if __name__ == "__main__":
    main()
