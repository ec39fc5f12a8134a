#pragma once

// Chords as the analysis names them: a root pitch class and one of nine qualities, or no
// chord. Labels are the root, spelled with a sharp or a flat, then the quality's suffix:
//
//     C  Am  G7  Fmaj7  Dm7  Bdim  Caug  Csus2  Csus4    and "N" for no chord
//
// Transposing a label by semitones (the window shows a loop played 200 cents down a tone
// lower) moves the root and spells it for the key the music is then in.
//
// Plain values and functions: any thread.

#include <optional>
#include <string>
#include <string_view>

namespace tonal {

enum class ChordQuality {
    Major,
    Minor,
    Dominant7,
    Major7,
    Minor7,
    Diminished,
    Augmented,
    Sus2,
    Sus4
};
constexpr int kChordQualityCount = 9;

// Sharps: C C# D D# E F F# G G# A A# B. Flats: C Db D Eb E F Gb G Ab A Bb B. Common, for
// music with no key signature to follow: C C# D Eb E F F# G Ab A Bb B.
enum class Spelling { Sharps, Flats, Common };

struct Chord {
    int root = -1; // pitch class 0 (C) ... 11 (B); -1: no chord
    ChordQuality quality = ChordQuality::Major;

    bool isNone() const { return root < 0; }
    friend bool operator==(const Chord&, const Chord&) = default;
};

// Semitones above the root of each chord note, ascending; the count is 3 or 4.
struct ChordIntervals {
    int semitones[4];
    int count;
};
ChordIntervals chordIntervals(ChordQuality quality);
std::string_view chordSuffix(ChordQuality quality); // "", "m", "7", "maj7", ...

std::string pitchClassName(int pitchClass, Spelling spelling);
// The pitch class of "C", "C#", "Db", ... at the start of `text`, and the characters it
// took; nullopt when `text` does not start with a note name.
std::optional<std::pair<int, int>> parsePitchClass(std::string_view text);

std::string chordLabel(const Chord& chord, Spelling spelling);
// "G7" -> {7, Dominant7}; "N" -> no chord; nullopt for anything else.
std::optional<Chord> parseChordLabel(std::string_view label);

// The label `semitones` higher (lower when negative), spelled with `spelling`; "N" stays
// "N"; a label that does not parse comes back unchanged.
std::string transposeChordLabel(std::string_view label, int semitones, Spelling spelling);

} // namespace tonal
