#pragma once

// A key: a tonic pitch class and major or minor. Names are ASCII, "b" and "#" for flat and
// sharp, then the mode: "C major", "Eb major", "F# minor", "Bb minor". Each tonic has one
// spelling, the key signature with fewer accidentals (for six, F# major and Eb minor), and
// the key's chords are spelled the same way (Spelling for the key).
//
// Plain values and functions: any thread.

#include "analysis/tonal/Chord.h"

#include <optional>
#include <string>
#include <string_view>

namespace tonal {

struct MusicalKey {
    int tonic = -1; // pitch class 0 (C) ... 11 (B); -1: unknown
    bool minor = false;

    bool isKnown() const { return tonic >= 0; }
    friend bool operator==(const MusicalKey&, const MusicalKey&) = default;
};

// How the key's notes are written: flats for F, Bb, Eb, Ab, Db major and D, G, C, F, Bb, Eb
// minor, sharps for G, D, A, E, B, F# major and E, B, F#, C#, G# minor, Common for C major
// and A minor (and an unknown key).
Spelling spellingForKey(const MusicalKey& key);

// "A minor"; "" for an unknown key.
std::string keyName(const MusicalKey& key);
// Takes any tonic spelling ("D# minor" is Eb minor); nullopt when not a key name.
std::optional<MusicalKey> parseKeyName(std::string_view name);

MusicalKey transposeKey(const MusicalKey& key, int semitones);
// The name `semitones` away: "A minor" +2 -> "B minor"; an unknown name comes back as it is.
std::string transposeKeyName(std::string_view name, int semitones);

} // namespace tonal
