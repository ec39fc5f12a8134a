#pragma once

// The key of a recording, from what its notes and its chords say together.
//
// A pitch-class profile alone (Krumhansl and Kessler's, correlated with the recording's
// chroma) often lands a fifth off, on the relative key or on the parallel mode: the notes
// of C major and A minor are the same, and a piece in C with much G sounds like G. So each
// of the 24 keys also scores
//   - how much of the time the chords are that key's chords, weighted by function (tonic
//     1, dominant 0.8, subdominant 0.7, the other diatonic ones 0.4 to 0.5, borrowed ones
//     0.2; in minor, the dominant may be major, as it usually is),
//   - whether the last chord is the key's tonic chord (music ends at home): the chord at
//     the end of the music, which is the last beat when the beats are known (a reverb
//     tail after it is no chord of the piece), and
//   - how often a dominant (major or seventh) chord goes to the tonic chord.
// The four add up with weights 1, 1, 0.5 and 0.3.
//
// Plain functions: any thread.

#include "analysis/tonal/ChordEstimator.h"
#include "analysis/tonal/MusicalKey.h"

#include <span>

namespace tonal {

// `musicEndSeconds`: where the music ends (the last beat); the end of the chords when it is
// 0. Unknown when there is nothing to go on (silence, no chords).
MusicalKey estimateKey(std::span<const KeyLevels> frames, std::span<const ChordSpan> chords,
                       double musicEndSeconds = 0);

} // namespace tonal
