#!/usr/bin/env python3
"""Draws half a second of a recording around the first turn of a looped range, to see
whether the pass's last frame runs into the next pass's first: the waveform in blue, the
turn as a red line. Prints the longest silence within 250 ms of the turn.

    /usr/bin/python3 bench/playback/turn_picture.py RECORDING.wav PASS_SECONDS OUT.png

RECORDING is a 16-bit WAV of the null sink's monitor (parecord), starting before the play;
the first pass starts at its first sound and lasts PASS_SECONDS (the range's frames over
the file's sample rate, divided by the speed).
"""
import struct
import sys
import wave
import zlib

import numpy as np

w = wave.open(sys.argv[1]); rate = w.getframerate(); n = w.getnframes()
x = np.frombuffer(w.readframes(n), dtype=np.int16).reshape(-1, w.getnchannels())[:, 0] / 32768.0
first = int(np.argmax(np.abs(x) > 0.02))
pass_frames = int(float(sys.argv[2]) * rate)
turn = first + pass_frames
half = int(0.25 * rate)
seg = x[turn - half: turn + half]
W, H = 1000, 300
img = np.full((H, W, 3), 255, np.uint8)
cols = np.array_split(seg, W)
for c, v in enumerate(cols):
    lo, hi = v.min(), v.max()
    y0 = int(H / 2 - hi * (H / 2 - 10)); y1 = int(H / 2 - lo * (H / 2 - 10))
    img[max(0, y0):min(H, y1 + 1), c] = (30, 60, 160)
img[:, W // 2] = (220, 40, 40)           # the turn
img[H // 2, :] = (180, 180, 180)
gap = 0; run = 0
for v in np.abs(x[turn - half: turn + half]):
    run = run + 1 if v < 1e-4 else 0; gap = max(gap, run)
print(f"recording from {first / rate:.3f} s; turn at {turn / rate:.3f} s; longest silence within 250 ms of it {1000 * gap / rate:.2f} ms")
raw = b''.join(b'\x00' + img[r].tobytes() for r in range(H))
def chunk(t, d): return struct.pack('>I', len(d)) + t + d + struct.pack('>I', zlib.crc32(t + d) & 0xffffffff)
open(sys.argv[3], 'wb').write(b'\x89PNG\r\n\x1a\n' + chunk(b'IHDR', struct.pack('>IIBBBBB', W, H, 8, 2, 0, 0, 0)) + chunk(b'IDAT', zlib.compress(raw)) + chunk(b'IEND', b''))
