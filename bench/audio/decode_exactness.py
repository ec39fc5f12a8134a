#!/usr/bin/env python3
"""Compares what Study Loop reads from an audio file with what a reference decoder reads.

    python3 bench/audio/decode_exactness.py [--inspect PATH] [--from FRAME] FILE [FILE...]

For each FILE, decodes it with `studyloop-inspect --decode` (from frame 0, or after a seek
to --from) and with the format's reference decoder (oggdec for Ogg Vorbis; the ffmpeg tool
for everything else), then prints one line: both lengths, the lag at which the two line up
best (0: frame i of ours is frame i of the reference), the dropouts (runs of 32 or more
frames of digital silence in ours where the reference has sound), the frames that differ by
more than 0.01, and the largest difference. With no FILE, it makes a drum-like test piece
(a burst every 250 ms over a quiet tone) and encodes it with oggenc and with ffmpeg's
libvorbis, the kind of material that makes an encoder switch block sizes.
"""

import argparse
import os
import shutil
import struct
import subprocess
import sys
import tempfile

import numpy as np

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))


def read_wav(path):
    """Interleaved frames of a 16-bit or float WAV as a float64 array (frames x channels)."""
    with open(path, "rb") as f:
        data = f.read()
    pos, fmt, channels, bits, body = 12, None, 0, 0, None
    while pos + 8 <= len(data):
        tag, size = data[pos:pos + 4], struct.unpack("<I", data[pos + 4:pos + 8])[0]
        chunk = data[pos + 8:pos + 8 + size]
        if tag == b"fmt ":
            fmt, channels = struct.unpack("<HH", chunk[:4])
            bits = struct.unpack("<H", chunk[14:16])[0]
            if fmt == 0xFFFE:  # extensible: the real format is the sub-format's first word
                fmt = struct.unpack("<H", chunk[24:26])[0]
        elif tag == b"data":
            body = chunk
        pos += 8 + size + (size & 1)
    if fmt == 3 and bits == 32:
        samples = np.frombuffer(body, "<f4").astype(np.float64)
    elif fmt == 1 and bits == 16:
        samples = np.frombuffer(body, "<i2").astype(np.float64) / 32768.0
    else:
        raise SystemExit("%s: unsupported WAV (format %d, %d bits)" % (path, fmt, bits))
    return samples[: len(samples) // channels * channels].reshape(-1, channels)


def reference_decode(path, out):
    if path.lower().endswith((".ogg", ".oga")) and shutil.which("oggdec"):
        subprocess.run(["oggdec", "-Q", path, "-o", out], check=True)
        return "oggdec"
    subprocess.run(["ffmpeg", "-v", "error", "-y", "-i", path, "-ac", "2", "-c:a", "pcm_f32le",
                    out], check=True)
    return "ffmpeg"


def best_lag(ours, ref, span=2048, window=1 << 18):
    """The lag L for which ours[i + L] matches ref[i] best, searched by cross-correlation."""
    n = min(len(ours), len(ref), window)
    if n <= span:
        return 0
    a, b = ours[:n, 0], ref[:n, 0]
    size = 1 << int(np.ceil(np.log2(2 * n)))
    corr = np.fft.irfft(np.fft.rfft(a, size) * np.conj(np.fft.rfft(b, size)), size)
    lags = np.concatenate((np.arange(0, span + 1), np.arange(-span, 0)))
    values = np.concatenate((corr[: span + 1], corr[-span:]))
    return int(lags[np.argmax(values)])


def compare(inspect, path, from_frame):
    with tempfile.TemporaryDirectory() as tmp:
        ours_path, ref_path = os.path.join(tmp, "ours.wav"), os.path.join(tmp, "ref.wav")
        subprocess.run([inspect, path, "--decode", ours_path, "--from", str(from_frame)],
                       check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        reference = reference_decode(path, ref_path)
        ours, ref = read_wav(ours_path), read_wav(ref_path)[from_frame:, :2]
    if ref.shape[1] == 1:
        ref = np.repeat(ref, 2, axis=1)
    if reference == "oggdec":  # 16-bit: whatever the encoder's overshoot took past full scale is clipped
        ours = np.clip(ours, -1.0, 32767 / 32768.0)
    lag = best_lag(ours, ref)
    a, b = (ours[lag:], ref) if lag >= 0 else (ours, ref[-lag:])
    n = min(len(a), len(b))
    diff = np.abs(a[:n] - b[:n]).max(axis=1)
    silent = (np.abs(a[:n]).max(axis=1) == 0) & (np.abs(b[:n]).max(axis=1) > 1e-3)
    edges = np.diff(np.concatenate(([0], silent.astype(np.int8), [0])))
    starts, ends = np.where(edges == 1)[0], np.where(edges == -1)[0]
    dropouts = [(s, e - s) for s, e in zip(starts, ends) if e - s >= 32]
    first = " (first at %.3f s)" % ((from_frame + dropouts[0][0]) / 44100.0) if dropouts else ""
    print("%-28s from %-8d ours %8d  %-6s %8d  lag %5d  dropouts %3d%s  frames off by >0.01: %d"
          "  largest difference %.4f"
          % (os.path.basename(path), from_frame, len(ours), reference, len(ref), lag,
             len(dropouts), first, int((diff > 0.01).sum()), diff.max() if n else 0.0))
    return lag == 0 and not dropouts and len(ours) == len(ref)


def make_drum_pieces(folder):
    rate, seconds = 44100, 20
    t = np.arange(rate * seconds) / rate
    x = 0.05 * np.sin(2 * np.pi * 220 * t)
    rng = np.random.default_rng(1)
    for start in range(0, len(x), rate // 4):
        burst = min(4000, len(x) - start)
        x[start:start + burst] += 0.8 * np.exp(-np.arange(burst) / 600.0) * rng.uniform(-1, 1, burst)
    frames = np.clip(np.stack([x, 0.9 * x], axis=1), -1, 1)
    source = os.path.join(folder, "drums.wav")
    with open(source, "wb") as f:
        body = (frames * 32767).astype("<i2").tobytes()
        f.write(b"RIFF" + struct.pack("<I", 36 + len(body)) + b"WAVEfmt "
                + struct.pack("<IHHIIHH", 16, 1, 2, rate, rate * 4, 4, 16)
                + b"data" + struct.pack("<I", len(body)) + body)
    pieces = [os.path.join(folder, "drums-oggenc.ogg"), os.path.join(folder, "drums-libvorbis.ogg")]
    subprocess.run(["oggenc", "-Q", "-q", "4", source, "-o", pieces[0]], check=True)
    subprocess.run(["ffmpeg", "-v", "error", "-y", "-i", source, "-c:a", "libvorbis", "-q:a", "4",
                    pieces[1]], check=True)
    return pieces


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("files", nargs="*")
    parser.add_argument("--inspect", default=os.path.join(ROOT, "build/ci/tools/inspect/studyloop-inspect"))
    parser.add_argument("--from", dest="from_frame", type=int, default=0)
    args = parser.parse_args()
    with tempfile.TemporaryDirectory() as tmp:
        files = args.files or make_drum_pieces(tmp)
        results = [compare(args.inspect, f, args.from_frame) for f in files]
    return 0 if all(results) else 1


if __name__ == "__main__":
    sys.exit(main())
