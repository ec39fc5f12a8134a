#pragma once

// The harmony as heard: the analysis names chords and key in the recording's own pitch and
// measures how far it is tuned from A440; the player shifts it by the session's pitch. What
// sounds is off the recording's keys by tuning + shift cents, which is a whole number of
// semitones (chords and key move by it, spelled for the key they move to) and what is left
// over, within half a semitone either way (the tuning as heard).
//
//   recording in A minor, +12 cents; shift -200  ->  heard G minor, +12 cents; chords a
//   tone lower.  Match Tuning adds -12: heard A minor, 0 cents.
//
// Plain functions: any thread.

#include "session/Harmony.h"

#include <QString>
#include <vector>

struct HeardOffset {
    int semitones = 0;
    double cents = 0; // -50 ... +50
};
HeardOffset heardOffset(double tuningCents, int pitchCents);

// "A minor · +12 cents", "Bb major · -7 cents", "· 0 cents" without a key; empty when the
// harmony is not known.
QString heardKeyText(const session::Harmony& harmony, int pitchCents);

struct HeardChord {
    double startSeconds = 0;
    QString label;
};
// One label per chord change as heard: transposed, spelled for the heard key (sharps or
// flats as its signature has them, common spellings without a key), a chord that repeats
// the one before it left out.
std::vector<HeardChord> heardChords(const session::Harmony& harmony, int pitchCents);

// The shift that brings the recording to A440 on top of `semitones` semitones.
int tuningMatchedCents(double tuningCents, int semitones);
