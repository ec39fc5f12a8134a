#!/usr/bin/python3
"""How well the analysis finds beats, bars and tempo, on pieces whose beats are known.

The pieces (bench/analysis/pieces.py) are written as MIDI, rendered with fluidsynth and the
FluidR3 General MIDI sound font, and encoded as MP3 and Ogg Vorbis; a few are also played
faster, retuned and put under noise with sox. Each file goes through
`studyloop-inspect FILE --analysis` and is scored with mir_eval: beat F-measure (a beat
counts within 70 ms), downbeat F-measure (the same on the downbeats), and whether the
tempo is within 4 % (a doubled or halved tempo counts as wrong). Each figure is printed
against its target.

    /usr/bin/python3 bench/analysis/beat_accuracy.py [--build build/release] [--keep DIR]
        [--method ours|qm|aubio] [--real FILE...]

--method scores another beat tracker on the same files through bench/analysis's
studyloop-beat-methods (the Queen Mary tracker as its authors run it, or aubio's), for the
comparison the README reports. --real prints what the analysis finds in other recordings,
with a check that needs no listening: the onset envelope's mean at the beats against its
mean half a beat away.
"""
import argparse
import json
import os
import statistics
import subprocess
import sys
import tempfile

import mir_eval
import numpy

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import pieces  # noqa: E402

BEAT_TARGET_MEAN, BEAT_TARGET_DRUMS, DOWNBEAT_TARGET, TEMPO_TARGET = 0.90, 0.80, 0.80, 0.90


def run(command):
    subprocess.run(command, check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


def encode(wav, extension):
    codec = {"mp3": ["-c:a", "libmp3lame", "-b:a", "192k"], "ogg": ["-c:a", "libvorbis", "-q:a", "5"]}[extension]
    out = wav[:-4] + "." + extension
    run(["ffmpeg", "-nostdin", "-y", "-i", wav] + codec + [out])
    return out


def analyse(tool, method, path):
    command = [tool, path, "--analysis"] if method == "ours" else [tool, method, path]
    result = subprocess.run(command, check=True, capture_output=True, text=True)
    return json.loads(result.stdout.strip().splitlines()[-1])


def scores(found, beats, downbeats, tempo):
    reference = mir_eval.beat.trim_beats(numpy.array(beats))
    estimate = mir_eval.beat.trim_beats(numpy.array(found["beats"]))
    beat_f = mir_eval.beat.f_measure(reference, estimate, 0.07)
    reference = mir_eval.beat.trim_beats(numpy.array(downbeats))
    estimate = mir_eval.beat.trim_beats(numpy.array(found["downbeats"]))
    downbeat_f = mir_eval.beat.f_measure(reference, estimate, 0.07) if len(reference) else 1.0
    tempo_ok = abs(found["tempo"] / tempo - 1) <= 0.04
    return beat_f, downbeat_f, tempo_ok


def mark(value, target):
    return "ok" if value >= target else "MISSED"


def perturbations(wav, beats, downbeats, tempo):
    """Variants made with sox: played 8 % faster, tuned 40 cents sharp, under pink noise
    20 dB below the piece."""
    base = wav[:-4]
    faster = base + "-faster.wav"
    run(["sox", wav, faster, "tempo", "-m", "1.08"])
    yield "faster 8 %", faster, [b / 1.08 for b in beats], [d / 1.08 for d in downbeats], tempo * 1.08
    sharp = base + "-sharp.wav"
    run(["sox", wav, sharp, "pitch", "40"])
    yield "40 cents sharp", sharp, beats, downbeats, tempo
    noise = base + "-noisy-noise.wav"
    noisy = base + "-noisy.wav"
    duration = subprocess.run(["soxi", "-D", wav], capture_output=True, text=True, check=True).stdout.strip()
    stat = subprocess.run(["sox", wav, "-n", "stat"], capture_output=True, text=True).stderr
    rms = float(next(line.split()[-1] for line in stat.splitlines() if line.startswith("RMS     amplitude")))
    # sox's pink noise at full volume has an RMS of about 0.22.
    run(["sox", "-n", "-r", "44100", "-c", "2", noise, "synth", duration, "pinknoise", "vol", f"{0.1 * rms / 0.22:.5f}"])
    run(["sox", "-m", wav, noise, noisy])
    yield "pink noise, 20 dB down", noisy, beats, downbeats, tempo


def score_table(rows, title):
    print(title)
    print(f"  {'piece':42s} {'file':4s} {'beat F':>7s} {'downbeat F':>11s} {'tempo':>7s} {'found':>7s}")
    for name, extension, beat_f, downbeat_f, tempo_ok, tempo, found_tempo, drums in rows:
        flag = "" if not drums or beat_f >= BEAT_TARGET_DRUMS else "  MISSED (drums: >= 0.80)"
        print(f"  {name:42s} {extension:4s} {beat_f:7.3f} {downbeat_f:11.3f} {'right' if tempo_ok else 'WRONG':>7s}"
              f" {found_tempo:7.1f}{flag}")


def summary(rows):
    beat_mean = statistics.mean(r[2] for r in rows)
    downbeat_mean = statistics.mean(r[3] for r in rows)
    tempo_share = sum(r[4] for r in rows) / len(rows)
    drum_rows = [r for r in rows if r[7]]
    drum_min = min((r[2] for r in drum_rows), default=1.0)
    print(f"  mean beat F-measure           {beat_mean:.3f}  (target >= {BEAT_TARGET_MEAN:.2f})  {mark(beat_mean, BEAT_TARGET_MEAN)}")
    print(f"  lowest beat F, pieces w/drums {drum_min:.3f}  (target >= {BEAT_TARGET_DRUMS:.2f})  {mark(drum_min, BEAT_TARGET_DRUMS)}")
    print(f"  mean downbeat F-measure       {downbeat_mean:.3f}  (target >= {DOWNBEAT_TARGET:.2f})  {mark(downbeat_mean, DOWNBEAT_TARGET)}")
    print(f"  tempo right                   {tempo_share * 100:5.1f} %  (target >= {TEMPO_TARGET * 100:.0f} %)  {mark(tempo_share, TEMPO_TARGET)}")


def onset_envelope(path, rate=11025, hop=128, window=512):
    """Spectral flux of the file decoded by the ffmpeg tool: an onset envelope made
    independently of the program's own."""
    raw = subprocess.run(["ffmpeg", "-nostdin", "-v", "quiet", "-i", path, "-ac", "1", "-ar", str(rate),
                          "-f", "f32le", "-"], capture_output=True, check=True).stdout
    signal = numpy.frombuffer(raw, dtype=numpy.float32)
    frames = (len(signal) - window) // hop
    if frames <= 1:
        return numpy.zeros(1), hop / rate
    index = numpy.arange(window)[None, :] + hop * numpy.arange(frames)[:, None]
    spectrum = numpy.log1p(100 * numpy.abs(numpy.fft.rfft(signal[index] * numpy.hanning(window), axis=1)))
    flux = numpy.maximum(0, numpy.diff(spectrum, axis=0)).sum(axis=1)
    return numpy.concatenate([[0], flux]), hop / rate


def real_recordings(tool, paths):
    print("real recordings: tempo, beats per bar, and the onset envelope at the beats against half a beat away")
    for path in paths:
        try:
            found = analyse(tool, "ours", path)
        except subprocess.CalledProcessError:
            print(f"  {os.path.basename(path)[:50]:50s} could not be analysed")
            continue
        beats = numpy.array(found["beats"])
        envelope, hop_seconds = onset_envelope(path)
        if len(beats) < 4:
            print(f"  {os.path.basename(path)[:50]:50s} {len(beats)} beats")
            continue
        halves = (beats[:-1] + beats[1:]) / 2

        def strength(times):
            index = numpy.clip(numpy.round(times / hop_seconds).astype(int), 0, len(envelope) - 1)
            return numpy.mean([envelope[max(0, i - 2):i + 3].max() for i in index])

        ratio = strength(beats) / max(1e-9, strength(halves))
        print(f"  {os.path.basename(path)[:50]:50s} {found['tempo']:6.1f} BPM  {found['beatsPerBar']}/4  "
              f"{len(beats):4d} beats  at beats / half a beat off {ratio:4.2f}")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--build", default="build/release")
    parser.add_argument("--keep", help="render into this folder and keep the files")
    parser.add_argument("--method", default="ours", choices=["ours", "qm", "aubio"])
    parser.add_argument("--only", help="only pieces whose name contains this")
    parser.add_argument("--real", nargs="*", default=[])
    arguments = parser.parse_args()
    inspect = os.path.join(arguments.build, "tools/inspect/studyloop-inspect")
    tool = inspect if arguments.method == "ours" else os.path.join(arguments.build, "bench/analysis/studyloop-beat-methods")
    if not os.path.exists(tool):
        sys.exit(f"{tool} is missing: build it first")
    if arguments.real:
        real_recordings(inspect, arguments.real)
        return

    folder = arguments.keep or tempfile.mkdtemp()
    os.makedirs(folder, exist_ok=True)
    rows, perturbed = [], []
    chosen = [p for p in pieces.all_pieces() if not arguments.only or arguments.only in p.name]
    for piece in chosen:
        wav = pieces.render(piece, folder)
        beats, downbeats = piece.beats()
        for extension in ("mp3", "ogg"):
            found = analyse(tool, arguments.method, encode(wav, extension))
            beat_f, downbeat_f, tempo_ok = scores(found, beats, downbeats, piece.tempo_bpm())
            rows.append((piece.name, extension, beat_f, downbeat_f, tempo_ok, piece.tempo_bpm(), found["tempo"],
                         piece.has_drums))
    for piece in chosen[:3] if not arguments.only else chosen:
        wav = pieces.render(piece, folder)
        beats, downbeats = piece.beats()
        for label, path, moved, moved_down, tempo in perturbations(wav, beats, downbeats, piece.tempo_bpm()):
            found = analyse(tool, arguments.method, encode(path, "mp3"))
            beat_f, downbeat_f, tempo_ok = scores(found, moved, moved_down, tempo)
            perturbed.append((f"{piece.name}, {label}", "mp3", beat_f, downbeat_f, tempo_ok, tempo, found["tempo"],
                              piece.has_drums))
    print(f"method: {arguments.method}")
    score_table(rows, f"{len(chosen)} pieces rendered with fluidsynth (FluidR3 GM), MP3 192k and Ogg Vorbis q5")
    summary(rows)
    score_table(perturbed, "perturbed with sox (MP3)")
    summary(perturbed)
    if not arguments.keep:
        subprocess.run(["rm", "-rf", folder])


if __name__ == "__main__":
    main()
