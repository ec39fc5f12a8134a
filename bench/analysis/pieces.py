"""Test pieces with known beats and bars, written as MIDI and rendered with fluidsynth.

Each piece is a list of bars (beats per bar, tempo) and a few instrument parts that play
over a chord progression; the beats and downbeats are where the MIDI puts them, with a
little timing and loudness spread so the rendering sounds played rather than sequenced.
Only the standard library is used: the MIDI file is written by hand.
"""
import os
import random
import struct
import subprocess

PPQ = 480
DRUMS = 9
KICK, STICK, SNARE, CLAP, HAT, PEDAL, OPEN_HAT, CRASH, RIDE, TAMBOURINE = 36, 37, 38, 39, 42, 44, 46, 49, 51, 54

# Chord roots (semitones above the key) and whether minor, for the progressions used.
POP = [(0, False), (7, False), (9, True), (5, False)]
BALLAD = [(0, False), (9, True), (5, False), (7, False)]
BLUES = [(0, False), (5, False), (0, False), (7, False)]
MINOR = [(0, True), (8, False), (3, False), (10, False)]


class Piece:
    def __init__(self, name, bars, key, progression, parts, drums=True, seed=1):
        self.name, self.bars, self.key, self.progression = name, bars, key, progression
        self.parts, self.has_drums, self.seed = parts, drums, seed

    def beats(self):
        """Every beat and every downbeat, in seconds."""
        beats, downbeats, now = [], [], 0.0
        for beats_per_bar, bpm in self.bars:
            downbeats.append(now)
            for _ in range(beats_per_bar):
                beats.append(now)
                now += 60.0 / bpm
        return beats, downbeats

    def tempo_bpm(self):
        """The tempo most of the piece is played at."""
        counts = {}
        for beats_per_bar, bpm in self.bars:
            counts[bpm] = counts.get(bpm, 0) + beats_per_bar
        return max(counts, key=counts.get)

    def notes(self):
        rng = random.Random(self.seed)
        out, tick = [], 0
        for index, (beats_per_bar, bpm) in enumerate(self.bars):
            root, minor = self.progression[index % len(self.progression)]
            bar = Bar(index, tick, beats_per_bar, self.key + root, minor, bpm)
            for part in self.parts:
                for note in part(bar):
                    out.append(note)
            tick += beats_per_bar * PPQ
        # Played, not sequenced: onsets spread by a few milliseconds, loudness by a little.
        played = []
        for note in out:
            if note[0] == "program":
                played.append(note)
                continue
            start, length, channel, pitch, velocity = note
            jitter = rng.randint(-8, 8)
            played.append((max(0, start + jitter), length, channel, pitch,
                           max(1, min(127, velocity + rng.randint(-8, 8)))))
        return played


class Bar:
    def __init__(self, index, tick, beats, root, minor, bpm):
        self.index, self.tick, self.beats, self.root, self.minor, self.bpm = index, tick, beats, root, minor, bpm

    def at(self, beat):
        return self.tick + int(round(beat * PPQ))

    def chord(self, octave=4):
        base = 12 * (octave + 1) + self.root % 12
        return [base, base + (3 if self.minor else 4), base + 7]

    def bass(self, octave=2):
        return 12 * (octave + 1) + self.root % 12


def swing(beat, amount=2 / 3):
    """An off-beat eighth played late, as swung eighths are."""
    whole = int(beat)
    return whole + amount if beat - whole == 0.5 else beat


# Parts: functions of a bar that give (tick, length, channel, pitch, velocity).

def rock_drums(velocity=100, hats=2, swung=False):
    def part(bar):
        notes = []
        for beat in range(bar.beats):
            kick = beat % 2 == 0 if bar.beats == 4 else beat == 0
            notes.append((bar.at(beat), 60, DRUMS, KICK if kick else SNARE, velocity if kick or beat else velocity))
            for step in range(hats):
                position = beat + step / hats
                if swung:
                    position = swing(position)
                notes.append((bar.at(position), 60, DRUMS, HAT, velocity - 25 if step else velocity - 10))
        if bar.index % 8 == 0:
            notes.append((bar.at(0), 200, DRUMS, CRASH, velocity))
        return notes
    return part


def four_on_floor(velocity=105):
    def part(bar):
        notes = []
        for beat in range(bar.beats):
            notes.append((bar.at(beat), 60, DRUMS, KICK, velocity))
            notes.append((bar.at(beat + 0.5), 60, DRUMS, OPEN_HAT, velocity - 30))
            if beat % 2:
                notes.append((bar.at(beat), 60, DRUMS, CLAP, velocity - 10))
        return notes
    return part


def waltz_drums(velocity=90):
    def part(bar):
        notes = [(bar.at(0), 60, DRUMS, KICK, velocity)]
        for beat in range(1, bar.beats):
            notes.append((bar.at(beat), 60, DRUMS, STICK, velocity - 25))
        for beat in range(bar.beats):
            notes.append((bar.at(beat), 60, DRUMS, HAT, velocity - 30))
        return notes
    return part


def jazz_drums(velocity=90):
    def part(bar):
        notes = []
        for beat in range(bar.beats):
            notes.append((bar.at(beat), 60, DRUMS, RIDE, velocity - 10))
            if beat % 2:
                notes.append((bar.at(beat), 60, DRUMS, PEDAL, velocity - 20))
                notes.append((bar.at(beat + 2 / 3), 60, DRUMS, RIDE, velocity - 30))
        if bar.index % 4 == 0:
            notes.append((bar.at(0), 60, DRUMS, KICK, velocity - 30))
        return notes
    return part


def funk_drums(velocity=100):
    kicks = [0, 0.75, 2.5]
    def part(bar):
        notes = [(bar.at(k), 60, DRUMS, KICK, velocity) for k in kicks]
        notes += [(bar.at(b), 60, DRUMS, SNARE, velocity) for b in (1, 3)]
        notes += [(bar.at(s / 4), 40, DRUMS, HAT, velocity - (15 if s % 2 else 35)) for s in range(16)]
        return notes
    return part


def soft_drums(velocity=70):
    def part(bar):
        notes = [(bar.at(0), 80, DRUMS, KICK, velocity), (bar.at(2), 80, DRUMS, STICK, velocity - 10)]
        notes += [(bar.at(b), 60, DRUMS, PEDAL, velocity - 25) for b in range(bar.beats)]
        return notes
    return part


def channel_part(channel, program, body):
    def part(bar):
        notes = body(bar)
        if bar.index == 0:
            notes.append(("program", channel, program))
        return notes
    return part


def bass_line(channel, program, pattern="roots", velocity=95):
    def body(bar):
        root = bar.bass()
        if pattern == "roots":
            return [(bar.at(b), PPQ - 40, channel, root if b % 2 == 0 else root + 7, velocity - (0 if b == 0 else 12))
                    for b in range(bar.beats)]
        if pattern == "whole":
            return [(bar.at(0), bar.beats * PPQ - 40, channel, root, velocity)]
        if pattern == "eighths":
            return [(bar.at(e / 2), PPQ // 2 - 30, channel, root, velocity - (0 if e % 2 == 0 else 15))
                    for e in range(bar.beats * 2)]
        if pattern == "walking":
            steps = [0, 4 if not bar.minor else 3, 7, 9]
            return [(bar.at(b), PPQ - 30, channel, root + steps[b % 4], velocity - 10) for b in range(bar.beats)]
        if pattern == "waltz":
            return [(bar.at(0), PPQ - 30, channel, root, velocity)]
        if pattern == "funk":
            return [(bar.at(t), PPQ // 3, channel, root + (12 if t == 1.75 else 0), velocity)
                    for t in (0, 0.75, 1.75, 2.5, 3.5)]
        raise ValueError(pattern)
    return channel_part(channel, program, body)


def chords(channel, program, pattern="half", velocity=75, swung=False):
    def body(bar):
        tones = bar.chord()
        if pattern == "half":
            starts = list(range(0, bar.beats, 2))
            length = 2 * PPQ - 40
        elif pattern == "offbeats":
            starts = [b + 0.5 for b in range(bar.beats)]
            length = PPQ // 2 - 40
        elif pattern == "waltz":
            starts = list(range(1, bar.beats))
            length = PPQ - 60
        elif pattern == "comp":
            starts = [1, 2.5] if bar.beats == 4 else [1]
            length = PPQ // 2
        elif pattern == "strum":
            starts = [0, 1, 1.5, 2.5, 3] if bar.beats == 4 else [0, 1, 1.5, 2]
            length = PPQ // 2
        elif pattern == "eighths":
            starts = [e / 2 for e in range(bar.beats * 2)]
            length = PPQ // 2 - 30
        else:
            starts, length = [0], bar.beats * PPQ - 40
        notes = []
        for start in starts:
            position = swing(start) if swung else start
            accent = 0 if start == int(start) else -15
            for tone in tones:
                notes.append((bar.at(position), length, channel, tone, velocity + accent))
        return notes
    return channel_part(channel, program, body)


def arpeggio(channel, program, velocity=70, octave=4):
    def body(bar):
        tones = bar.chord(octave)
        tones = tones + [tones[0] + 12]
        return [(bar.at(e / 2), PPQ - 40, channel, tones[e % len(tones)], velocity + (10 if e == 0 else 0))
                for e in range(bar.beats * 2)]
    return channel_part(channel, program, body)


def melody(channel, program, velocity=85, seed=3):
    rng = random.Random(seed)
    def body(bar):
        tones = bar.chord(5)
        notes, beat = [], 0.0
        while beat < bar.beats:
            length = rng.choice([0.5, 1, 1, 1.5, 2])
            length = min(length, bar.beats - beat)
            notes.append((bar.at(beat), int(length * PPQ) - 30, channel, rng.choice(tones + [tones[0] + 2]), velocity))
            beat += length
        return notes
    return channel_part(channel, program, body)


def from_bar(first, part):
    """A part that comes in at bar `first`."""
    def later(bar):
        return part(bar) if bar.index >= first else ([n for n in part(bar) if n[0] == "program"])
    return later


def quiet_until(first, part, factor=0.35):
    def softer(bar):
        notes = part(bar)
        if bar.index >= first:
            return notes
        return [n if n[0] == "program" else (n[0], n[1], n[2], n[3], max(1, int(n[4] * factor))) for n in notes]
    return softer


def steady(bars, beats, bpm):
    return [(beats, bpm)] * bars


def all_pieces():
    """The benchmark's pieces: tempi from 60 to 180, 3/4 and 4/4, swing, a tempo change,
    a quiet intro, pieces without drums, several instrumentations."""
    return [
        Piece("pop-rock 4/4 120", steady(20, 4, 120), 2, POP,
              [rock_drums(), bass_line(1, 33, "eighths"), chords(2, 29, "half"), melody(3, 65)]),
        Piece("ballad 4/4 66", steady(12, 4, 66), 5, BALLAD,
              [soft_drums(), bass_line(1, 32, "whole"), arpeggio(2, 0), chords(3, 49, "whole", 55), melody(4, 73, seed=5)]),
        Piece("piano ballad 4/4 60, no drums", steady(10, 4, 60), 0, BALLAD,
              [bass_line(1, 0, "roots", 80), arpeggio(2, 0, 60)], drums=False),
        Piece("waltz 3/4 96", steady(20, 3, 96), 7, POP,
              [waltz_drums(), bass_line(1, 32, "waltz"), chords(2, 21, "waltz"), melody(3, 40, seed=7)]),
        Piece("fast waltz 3/4 160, no drums", steady(30, 3, 160), 9, MINOR,
              [bass_line(1, 32, "waltz"), chords(2, 0, "waltz", 65), melody(3, 73, seed=9)], drums=False),
        Piece("punk 4/4 176", steady(30, 4, 176), 4, BLUES,
              [rock_drums(110, hats=1), bass_line(1, 34, "eighths"), chords(2, 30, "eighths", 80)]),
        Piece("swing 4/4 132", steady(20, 4, 132), 10, BLUES,
              [jazz_drums(), bass_line(1, 32, "walking"), chords(2, 0, "comp", 70, swung=True), melody(3, 66, seed=11)]),
        Piece("tempo change 4/4 100 to 130", steady(10, 4, 100) + steady(12, 4, 130), 2, POP,
              [rock_drums(), bass_line(1, 33, "roots"), chords(2, 4, "offbeats"), melody(3, 56, seed=13)]),
        Piece("quiet intro 4/4 108", steady(22, 4, 108), 7, BALLAD,
              [from_bar(6, rock_drums(95)), quiet_until(6, bass_line(1, 33, "roots")),
               quiet_until(6, chords(2, 25, "strum")), from_bar(6, melody(3, 61, seed=15))]),
        Piece("funk 4/4 96", steady(16, 4, 96), 4, MINOR,
              [funk_drums(), bass_line(1, 36, "funk"), chords(2, 27, "offbeats", 65)]),
        Piece("folk 4/4 84, no drums", steady(14, 4, 84), 2, POP,
              [bass_line(1, 32, "roots", 85), chords(2, 25, "strum", 70), melody(3, 73, seed=17)], drums=False),
        Piece("dance 4/4 128", steady(24, 4, 128), 9, MINOR,
              [four_on_floor(), bass_line(1, 38, "eighths"), chords(2, 81, "offbeats", 60), chords(3, 89, "whole", 50)]),
        Piece("strings 3/4 72, no drums", steady(12, 3, 72), 3, BALLAD,
              [bass_line(1, 42, "waltz"), chords(2, 48, "waltz", 70), melody(3, 40, seed=19)], drums=False),
        Piece("rock 4/4 150", steady(24, 4, 150), 0, POP,
              [rock_drums(105), bass_line(1, 34, "roots"), chords(2, 30, "half", 75), melody(3, 29, seed=21)]),
    ]


# The MIDI file: one track, format 0.

def _varlen(value):
    out = [value & 0x7F]
    value >>= 7
    while value:
        out.insert(0, (value & 0x7F) | 0x80)
        value >>= 7
    return bytes(out)


def write_midi(piece, path):
    events = []  # (tick, order, bytes)
    tick, last = 0, None
    for beats_per_bar, bpm in piece.bars:
        if (beats_per_bar, bpm) != last:
            micros = int(round(60_000_000 / bpm))
            events.append((tick, 0, b"\xff\x51\x03" + micros.to_bytes(3, "big")))
            events.append((tick, 0, bytes([0xFF, 0x58, 4, beats_per_bar, 2, 24, 8])))
            last = (beats_per_bar, bpm)
        tick += beats_per_bar * PPQ
    end = tick + 2 * PPQ
    for note in piece.notes():
        if note[0] == "program":
            events.append((0, 1, bytes([0xC0 | note[1], note[2]])))
            continue
        start, length, channel, pitch, velocity = note
        events.append((start, 3, bytes([0x90 | channel, pitch, velocity])))
        events.append((start + max(10, length), 2, bytes([0x80 | channel, pitch, 0])))
    events.append((end, 4, b"\xff\x2f\x00"))
    events.sort(key=lambda e: (e[0], e[1]))
    track, now = bytearray(), 0
    for when, _, data in events:
        track += _varlen(when - now) + data
        now = when
    with open(path, "wb") as out:
        out.write(b"MThd" + struct.pack(">IHHH", 6, 0, 1, PPQ))
        out.write(b"MTrk" + struct.pack(">I", len(track)) + track)


def render(piece, folder, soundfont="/usr/share/sounds/sf2/FluidR3_GM.sf2", rate=44100):
    """The piece as a WAV file rendered by fluidsynth; returns its path."""
    base = os.path.join(folder, "".join(c if c.isalnum() else "-" for c in piece.name))
    write_midi(piece, base + ".mid")
    subprocess.run(["fluidsynth", "-ni", "-q", "-g", "0.5", "-r", str(rate), "-F", base + ".wav",
                    soundfont, base + ".mid"], check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    return base + ".wav"
