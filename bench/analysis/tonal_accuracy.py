#!/usr/bin/python3
"""How well the analysis finds chords, key and tuning, on pieces whose chords are known.

The pieces (bench/analysis/chord_pieces.py) are chord charts in major and minor keys, with
sevenths, sus, diminished and augmented chords, inversions, bass lines, drums and melodies,
written as MIDI, rendered with fluidsynth and the FluidR3 General MIDI sound font (some
detuned by a known number of cents), and encoded as MP3 or Ogg Vorbis. Each file goes
through `studyloop-inspect FILE --analysis`, which finds the beats and then labels the
chords beat by beat. Scored with mir_eval:

  - chords: the share of the time with the right label, by root and major/minor (mir_eval's
    `majmin`: sevenths count as their triad, sus/dim/aug chords are left out) and by the
    whole label (`tetrads`: every chord, the seventh and sus/dim/aug included);
  - key: mir_eval's weighted score (1 the key, 0.5 a fifth away, 0.3 the relative key, 0.2
    the parallel key);
  - tuning: the distance from the cents the piece was detuned by. The sound font's own
    samples are off by up to about 2 cents, which this counts as error.

Each figure is printed against its target. --real prints what the analysis finds in other
recordings (key, tuning, the first chords, the time it took).

    /usr/bin/python3 bench/analysis/tonal_accuracy.py [--build build/release] [--keep DIR]
        [--sound-font FILE] [--real FILE...]
"""
import argparse
import json
import os
import statistics
import subprocess
import sys
import tempfile
import time

import mir_eval
import numpy

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import chord_pieces  # noqa: E402

CHORD_TARGET, KEY_TARGET, TUNING_TARGET_CENTS = 0.75, 0.85, 3.0
SUFFIX_TO_QUALITY = {"": "maj", "m": "min", "7": "7", "maj7": "maj7", "m7": "min7", "dim": "dim",
                     "aug": "aug", "sus2": "sus2", "sus4": "sus4"}


def to_mir_eval(label):
    """'F#m7' -> 'F#:min7'; 'N' stays."""
    if label == "N":
        return "N"
    root = label[:2] if len(label) > 1 and label[1] in "#b" else label[:1]
    return f"{root}:{SUFFIX_TO_QUALITY[label[len(root):]]}"


def analyse(tool, path):
    start = time.perf_counter()
    result = subprocess.run([tool, path, "--analysis"], check=True, capture_output=True, text=True)
    return json.loads(result.stdout.strip().splitlines()[-1]), time.perf_counter() - start


def chord_scores(reference, found):
    ref_intervals = numpy.array([[start, end] for start, end, _ in reference])
    ref_labels = [label for _, _, label in reference]
    est_intervals = numpy.array([[c["start"], c["end"]] for c in found])
    est_labels = [to_mir_eval(c["label"]) for c in found]
    est_intervals, est_labels = mir_eval.util.adjust_intervals(
        est_intervals, est_labels, ref_intervals.min(), ref_intervals.max(), "N", "N")
    intervals, ref_labels, est_labels = mir_eval.util.merge_labeled_intervals(
        ref_intervals, ref_labels, est_intervals, est_labels)
    durations = mir_eval.util.intervals_to_durations(intervals)
    majmin = mir_eval.chord.weighted_accuracy(mir_eval.chord.majmin(ref_labels, est_labels), durations)
    full = mir_eval.chord.weighted_accuracy(mir_eval.chord.tetrads(ref_labels, est_labels), durations)
    return majmin, full


def verdict(ok):
    return "ok" if ok else "MISSED"


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--build", default="build/release")
    parser.add_argument("--keep", help="render into this folder and keep the files")
    parser.add_argument("--sound-font", default="/usr/share/sounds/sf2/FluidR3_GM.sf2")
    parser.add_argument("--real", nargs="*", default=[])
    args = parser.parse_args()
    tool = os.path.join(args.build, "tools/inspect/studyloop-inspect")

    if args.real:
        for path in args.real:
            found, seconds = analyse(tool, path)
            labels = [c["label"] for c in found["chords"]]
            print(f"{os.path.basename(path)}: {found['key']}, tuning {found['tuningCents']:+.1f} cents, "
                  f"{len(labels)} chords, tempo {found['tempo']:.1f}, {seconds:.2f} s")
            print("  " + " ".join(labels[:24]))
        return

    folder = args.keep or tempfile.mkdtemp(prefix="studyloop-tonal-")
    rows = []
    print(f"{'piece':16s} {'majmin':>7s} {'full':>6s}  {'key':9s} {'found':9s} {'score':>5s}  "
          f"{'tuning':>6s} {'found':>6s}")
    for piece in chord_pieces.PIECES:
        audio, reference = chord_pieces.render(piece, folder, args.sound_font)
        found, _ = analyse(tool, audio)
        majmin, full = chord_scores(reference, found["chords"])
        key_score = mir_eval.key.weighted_score(piece.key, found["key"]) if found["key"] else 0.0
        tuning_error = abs(found["tuningCents"] - piece.detune_cents)
        rows.append((majmin, full, key_score, tuning_error))
        print(f"{piece.name:16s} {majmin:7.3f} {full:6.3f}  {piece.key:9s} {found['key']:9s} "
              f"{key_score:5.2f}  {piece.detune_cents:+6.1f} {found['tuningCents']:+6.1f}  "
              f"{verdict(tuning_error <= TUNING_TARGET_CENTS)}")
    majmin = statistics.mean(r[0] for r in rows)
    full = statistics.mean(r[1] for r in rows)
    key = statistics.mean(r[2] for r in rows)
    worst = max(r[3] for r in rows)
    print(f"{'mean':16s} {majmin:7.3f} {full:6.3f}  {'':9s} {'':9s} {key:5.2f}")
    print(f"chords, root and major/minor: {majmin:.3f} (target {CHORD_TARGET}) {verdict(majmin >= CHORD_TARGET)}")
    print(f"chords, whole label: {full:.3f} (target {CHORD_TARGET}) {verdict(full >= CHORD_TARGET)}")
    print(f"key score: {key:.3f} (target {KEY_TARGET}) {verdict(key >= KEY_TARGET)}")
    print(f"tuning, worst piece: {worst:.1f} cents off (target {TUNING_TARGET_CENTS}) "
          f"{verdict(worst <= TUNING_TARGET_CENTS)}")
    if not args.keep:
        for name in os.listdir(folder):
            os.remove(os.path.join(folder, name))
        os.rmdir(folder)


if __name__ == "__main__":
    main()
