#pragma once

// What the tonal analysis says about a whole recording: its key, its tuning against A440
// and its chords, found from the features of the shared decode pass (TonalFeatures.h)
// and, when the beat tracker found them, its beat times.
//
// Plain function: any thread, once the pass is over.

#include "analysis/tonal/ChordEstimator.h"
#include "analysis/tonal/MusicalKey.h"
#include "analysis/tonal/TonalFeatures.h"

#include <span>
#include <string>
#include <vector>

namespace tonal {

struct TonalResult {
    MusicalKey key;         // unknown for silence
    double tuningCents = 0; // in (-50, 50]: + sharp of A440
    std::vector<ChordSpan> chords;

    // The chord labels as the key spells them.
    std::string chordName(const ChordSpan& span) const {
        return chordLabel(span.chord, spellingForKey(key));
    }
};

TonalResult analyseTonality(const TonalTrack& track, std::span<const double> beatSeconds);

} // namespace tonal
