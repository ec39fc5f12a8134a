"""Pieces with known chords, key and tuning, written as MIDI and rendered with fluidsynth.

Each piece is a chord chart played by a few General MIDI instruments in a pattern
(block chords, comping, arpeggios, a pad), over a bass line that follows the chords'
inversions, with or without drums and a melody. The chart is the reference: every chord
lasts the beats the chart gives it, so its times follow from the tempo. A piece can be
detuned by a known number of cents (pitch bend on every melodic channel, or sox's pitch
effect on the rendered audio) and is encoded as MP3 or Ogg Vorbis.

    from chord_pieces import PIECES, render
    audio, reference = render(PIECES[0], "/tmp/out", "/usr/share/sounds/sf2/FluidR3_GM.sf2")
"""
import dataclasses
import os
import random
import struct
import subprocess

TICKS_PER_BEAT = 480

QUALITIES = {  # our label suffix: (intervals, the reference label's quality)
    "": ([0, 4, 7], "maj"),
    "m": ([0, 3, 7], "min"),
    "7": ([0, 4, 7, 10], "7"),
    "maj7": ([0, 4, 7, 11], "maj7"),
    "m7": ([0, 3, 7, 10], "min7"),
    "dim": ([0, 3, 6], "dim"),
    "aug": ([0, 4, 8], "aug"),
    "sus2": ([0, 2, 7], "sus2"),
    "sus4": ([0, 5, 7], "sus4"),
}
NOTE_NAMES = {"C": 0, "C#": 1, "Db": 1, "D": 2, "D#": 3, "Eb": 3, "E": 4, "F": 5, "F#": 6,
              "Gb": 6, "G": 7, "G#": 8, "Ab": 8, "A": 9, "A#": 10, "Bb": 10, "B": 11}
MAJOR_SCALE = [0, 2, 4, 5, 7, 9, 11]
MINOR_SCALE = [0, 2, 3, 5, 7, 8, 10]  # natural minor; the melody raises the 7th over V


def parse_chord(text):
    """'F#m7/A' -> (root pitch class, intervals, reference quality, bass pitch class)."""
    name, _, bass = text.partition("/")
    root_name = name[:2] if len(name) > 1 and name[1] in "#b" else name[:1]
    intervals, quality = QUALITIES[name[len(root_name):]]
    root = NOTE_NAMES[root_name]
    return root, intervals, quality, NOTE_NAMES[bass] if bass else root


def reference_label(text):
    root, _, quality, bass = parse_chord(text)
    name = text.partition("/")[0]
    root_name = name[:2] if len(name) > 1 and name[1] in "#b" else name[:1]
    label = f"{root_name}:{quality}"
    if bass != root:
        label += "/" + {0: "1", 2: "2", 3: "b3", 4: "3", 5: "4", 6: "b5", 7: "5", 8: "#5",
                        10: "b7", 11: "7"}[(bass - root) % 12]
    return label


@dataclasses.dataclass
class Piece:
    name: str
    key: str                 # "Eb major", as the reference
    tempo_bpm: float
    beats_per_bar: int
    chart: list              # [(chord, beats)]; chord "N" is silence
    parts: list              # [(pattern, General MIDI program)]
    bass_program: int = 33
    drums: bool = False
    melody_program: int = -1
    detune_cents: float = 0.0
    detune_with_sox: bool = False
    encoding: str = "mp3"    # "mp3" or "ogg"
    repeats: int = 1         # the chart played this many times in a row

    def timeline(self):
        """[(start beat, beats, chord)] over all the repeats."""
        out, beat = [], 0.0
        for _ in range(self.repeats):
            for chord, beats in self.chart:
                out.append((beat, beats, chord))
                beat += beats
        return out


def bars(text, beats_per_bar):
    """'| C | G7 . C |' -> [("C", 4), ("G7", 2), ("C", 2)]: '.' splits a bar in halves."""
    chart = []
    for bar in text.strip().strip("|").split("|"):
        chords = bar.split()
        chords = [c for c in chords if c != "."]
        for chord in chords:
            chart.append((chord, beats_per_bar / len(chords)))
    return chart


def voicing(chord, low=55):
    """Close position from the first chord tone at or above `low` (G3), inversions come from
    where the root falls; returns MIDI notes."""
    root, intervals, _, _ = parse_chord(chord)
    notes = sorted(low + (root + i - low) % 12 for i in intervals)
    return notes


class Midi:
    def __init__(self):
        self.events = []  # (tick, order, bytes)

    def note(self, channel, pitch, start_beat, beats, velocity):
        on = round(start_beat * TICKS_PER_BEAT)
        off = round((start_beat + beats) * TICKS_PER_BEAT)
        self.events.append((on, 1, bytes([0x90 | channel, pitch, velocity])))
        self.events.append((off, 0, bytes([0x80 | channel, pitch, 0])))

    def program(self, channel, program):
        self.events.append((0, -2, bytes([0xC0 | channel, program])))

    def bend_cents(self, channel, cents):
        # fluidsynth's default bend range is two semitones either way.
        value = max(0, min(16383, 8192 + round(cents / 200 * 8192)))
        self.events.append((0, -1, bytes([0xE0 | channel, value & 0x7F, value >> 7])))

    def save(self, path, tempo_bpm):
        track = bytearray()
        tempo = round(60_000_000 / tempo_bpm)
        track += b"\x00\xff\x51\x03" + tempo.to_bytes(3, "big")
        last = 0
        for tick, _, data in sorted(self.events, key=lambda e: (e[0], e[1])):
            track += vlq(tick - last) + data
            last = tick
        track += b"\x00\xff\x2f\x00"
        with open(path, "wb") as out:
            out.write(b"MThd" + struct.pack(">IHHH", 6, 0, 1, TICKS_PER_BEAT))
            out.write(b"MTrk" + struct.pack(">I", len(track)) + track)


def vlq(value):
    out = [value & 0x7F]
    value >>= 7
    while value:
        out.append(0x80 | (value & 0x7F))
        value >>= 7
    return bytes(reversed(out))


def play_part(midi, channel, pattern, notes, start, beats, beats_per_bar):
    if pattern == "block":  # struck at the chord's start and on each bar line, held
        t = start
        while t < start + beats - 1e-6:
            length = min(beats_per_bar, start + beats - t)
            for n in notes:
                midi.note(channel, n, t, length * 0.95, 80)
            t += length
    elif pattern == "pad":
        for n in notes:
            midi.note(channel, n, start, beats * 0.98, 62)
    elif pattern == "comp":  # every beat, short
        for b in range(int(beats)):
            for n in notes:
                midi.note(channel, n, start + b, 0.6, 84 if b % 2 == 0 else 70)
    elif pattern == "arp":  # eighths up and down through the chord and its octave
        cycle = notes + [notes[0] + 12] + list(reversed(notes[1:]))
        for i in range(int(beats * 2)):
            midi.note(channel, cycle[i % len(cycle)], start + i * 0.5, 0.9, 76)
    elif pattern == "strum":  # down-up strums, low notes first
        for b in range(int(beats)):
            for k, n in enumerate(notes + [notes[0] + 12]):
                midi.note(channel, n, start + b + k * 0.02, 0.8, 90 - 4 * k)
    else:
        raise ValueError(pattern)


def write_midi(piece, path):
    midi = Midi()
    rng = random.Random(piece.name)
    channels = list(range(len(piece.parts)))
    bass_channel = len(channels)
    melody_channel = bass_channel + 1
    for channel, (_, program) in zip(channels, piece.parts):
        midi.program(channel, program)
    midi.program(bass_channel, piece.bass_program)
    if piece.melody_program >= 0:
        midi.program(melody_channel, piece.melody_program)
    if piece.detune_cents and not piece.detune_with_sox:
        for channel in channels + [bass_channel, melody_channel]:
            midi.bend_cents(channel, piece.detune_cents)
    tonic = NOTE_NAMES[piece.key.split()[0]]
    scale = MAJOR_SCALE if piece.key.endswith("major") else MINOR_SCALE
    melody_pitch = 72 + tonic % 12
    for start, beats, chord in piece.timeline():
        if chord == "N":
            continue
        notes = voicing(chord)
        for channel, (pattern, _) in zip(channels, piece.parts):
            play_part(midi, channel, pattern, notes, start, beats, piece.beats_per_bar)
        root, intervals, _, bass = parse_chord(chord)
        low = 36 + (bass - 36) % 12  # C2..B2
        for b in range(0, int(beats), 2):
            midi.note(bass_channel, low, start + b, 1.0, 96)
            fifth = 36 + (root + intervals[2 if len(intervals) > 2 else -1] - 36) % 12
            midi.note(bass_channel, fifth if b + 1 < beats else low, start + b + 1, 0.9, 84)
        if piece.drums:
            for b in range(int(beats)):
                beat_in_bar = (start + b) % piece.beats_per_bar
                midi.note(9, 36 if beat_in_bar in (0, 2) else 38, start + b, 0.2, 100)
                midi.note(9, 42, start + b, 0.1, 70)
                midi.note(9, 42, start + b + 0.5, 0.1, 60)
        if piece.melody_program >= 0:  # chord tones on beats, scale steps between
            chord_tones = [(root + i) % 12 for i in intervals]
            for b in range(int(beats)):
                if b % 2 == 0:
                    options = [p for p in range(melody_pitch - 5, melody_pitch + 6)
                               if p % 12 in chord_tones and 64 <= p <= 86]
                    melody_pitch = rng.choice(options) if options else melody_pitch
                    midi.note(melody_channel, melody_pitch, start + b, 1.4, 92)
                else:
                    degree = [(tonic + s) % 12 for s in scale]
                    step = [p for p in (melody_pitch + 1, melody_pitch + 2, melody_pitch - 1,
                                        melody_pitch - 2) if p % 12 in degree]
                    if step and rng.random() < 0.7:
                        midi.note(melody_channel, rng.choice(step), start + b + 0.5, 0.5, 80)
    midi.save(path, piece.tempo_bpm)


def reference_chords(piece):
    """[(start s, end s, mir_eval label)]"""
    seconds_per_beat = 60.0 / piece.tempo_bpm
    out = []
    for start, beats, chord in piece.timeline():
        label = "N" if chord == "N" else reference_label(chord)
        out.append((start * seconds_per_beat, (start + beats) * seconds_per_beat, label))
    return out


def render(piece, folder, soundfont, sample_rate=44100):
    """Writes folder/NAME.mid, renders and encodes it; returns (audio path, chords)."""
    os.makedirs(folder, exist_ok=True)
    base = os.path.join(folder, piece.name)
    extension = ".mp3" if piece.encoding == "mp3" else ".ogg"
    audio = base + extension
    write_midi(piece, base + ".mid")
    wav = base + ".wav"
    subprocess.run(["fluidsynth", "-ni", "-q", "-g", "0.5", "-r", str(sample_rate), "-F", wav,
                    soundfont, base + ".mid"], check=True, stdout=subprocess.DEVNULL)
    if piece.detune_with_sox:
        shifted = base + ".shifted.wav"
        subprocess.run(["sox", wav, shifted, "pitch", str(piece.detune_cents)], check=True)
        os.replace(shifted, wav)
    codec = (["-c:a", "libmp3lame", "-b:a", "160k"] if piece.encoding == "mp3"
             else ["-c:a", "libvorbis", "-q:a", "5"])
    subprocess.run(["ffmpeg", "-nostdin", "-loglevel", "error", "-y", "-i", wav] + codec + [audio],
                   check=True)
    os.remove(wav)
    return audio, reference_chords(piece)


# Programs whose FluidR3 and TimGM6mb samples are tuned to within about 2 cents of A440 on
# average (the church organ, strings, brass section and flute are 4 to 9 cents sharp or
# flat, which would blur the tuning reference).
PIANO, EPIANO, VIBES, ORGAN, NYLON, STEEL, HARP = 0, 4, 11, 16, 24, 25, 46
TRUMPET, TROMBONE, OBOE, CLARINET, ACOUSTIC_BASS, FINGER_BASS = 56, 57, 68, 71, 32, 33

PIECES = [
    Piece("pop_c_major", "C major", 100, 4,
          bars("| C | G | Am | F | C | G | F | C | Dm7 | G7 | Em | Am | F | G | C | C |", 4),
          [("comp", PIANO)], FINGER_BASS, drums=True),
    Piece("ballad_a_minor", "A minor", 72, 4,
          bars("| Am | F | C | G | Am | Dm | E7 | Am | F | G | Em | Am | Dm | E | Am | Am |", 4),
          [("pad", ORGAN), ("arp", PIANO)], ACOUSTIC_BASS, melody_program=CLARINET,
          detune_cents=-35, encoding="ogg"),
    Piece("jazz_f_major", "F major", 120, 4,
          bars("| Gm7 | C7 | Fmaj7 | Fmaj7 | Am7 | D7 | Gm7 | C7 | Bbmaj7 | Bbmaj7 | Am7 | D7 "
               "| Gm7 | C7 | Fmaj7 | Fmaj7 |", 4),
          [("comp", EPIANO)], ACOUSTIC_BASS, drums=True, detune_cents=20),
    Piece("rock_e_minor", "E minor", 110, 4,
          bars("| Em | Esus4 | Em | D | C | G | Dsus4 | D | Em | C | G | D | Am | B7 | Em | Em |",
               4),
          [("strum", STEEL)], FINGER_BASS, drums=True, encoding="ogg"),
    Piece("folk_g_major", "G major", 90, 4,
          bars("| G | D/F# | Em | C/E | G/B | C | D | G | Em | C | Am7 | D7 | G/B | C | Dsus2 . D "
               "| G |", 4),
          [("arp", NYLON)], ACOUSTIC_BASS, melody_program=OBOE, detune_cents=-15,
          detune_with_sox=True),
    Piece("waltz_bb_major", "Bb major", 132, 3,
          bars("| Bb | Bb | Cm | F7 | Dm | Gm | Eb | F | Bb | Bbaug | Eb | Cm7 | Bb | F7 | Bb "
               "| Bb |", 3),
          [("block", PIANO), ("arp", HARP)], ACOUSTIC_BASS, encoding="ogg", repeats=2),
    Piece("organ_d_minor", "D minor", 80, 4,
          bars("| Dm | Dsus2 | Dm | Bb | Gm | A7 | Dm | Dm | C | F | Bb | Gm | Edim | A | Dm "
               "| Dm |", 4),
          [("block", ORGAN)], ACOUSTIC_BASS, detune_cents=8),
    Piece("brass_eb_major", "Eb major", 96, 4,
          bars("| Eb | Ab | Bb | Eb | Cm | Ab | Fm7 | Bb7 | Eb | Gm | Ab | Bbsus4 | Bb | Ab "
               "| Bb7 | Eb |", 4),
          [("pad", TROMBONE), ("comp", PIANO)], FINGER_BASS, drums=True, melody_program=TRUMPET,
          detune_cents=-20, encoding="ogg"),
    Piece("pop_e_major", "E major", 104, 4,
          bars("| E | C#m | A | B | E | Esus4 . E | A | B7 | C#m | G#m | A | B | E . Eaug | A "
               "| Bsus4 . B | E |", 4),
          [("strum", STEEL), ("pad", EPIANO)], FINGER_BASS, drums=True, detune_cents=30),
    # Minor without a dominant chord: the relative major's chords all the way.
    Piece("aeolian_fs_minor", "F# minor", 84, 4,
          bars("| F#m | D | A | E | F#m | D | A | E | Bm | D | F#m | C#m | D | E | F#m | F#m |",
               4),
          [("arp", VIBES), ("pad", EPIANO)], ACOUSTIC_BASS, melody_program=CLARINET,
          detune_cents=-8, encoding="ogg"),
]


def long_piece(minutes):
    """The pop piece repeated for about `minutes`, for timing and memory figures."""
    base = PIECES[0]
    seconds = sum(b for _, b in base.chart) * 60 / base.tempo_bpm
    return dataclasses.replace(base, name=f"pop_{minutes}min", repeats=max(1, round(minutes * 60 / seconds)))
