#pragma once

// What the tonal analysis says about a whole recording: its key, its tuning against A440
// and its chords, found from the key frames of one pass over it (KeyFrames.h) and, when
// the beat tracker has them, its beat times.
//
//     KeyFrameBuilder frames(rate);
//     frames.push(mono, count) ...;  frames.finish();
//     TonalResult result = analyseTonality(frames, beatSeconds);
//
// Plain function: any thread, once the builder is finished.

#include "analysis/tonal/ChordEstimator.h"
#include "analysis/tonal/KeyFrames.h"
#include "analysis/tonal/MusicalKey.h"

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

TonalResult analyseTonality(const KeyFrameBuilder& frames, std::span<const double> beatSeconds);

} // namespace tonal
