#pragma once

// The harmony of a recording as the analysis found it, in the recording's own pitch: the
// chords with their times, the key, and how far the recording is tuned from A440. The
// window shows chords and key moved by the pitch shift (app/HeardHarmony.h).
//
// Thread contract: plain values.

#include <string>
#include <vector>

namespace session {

struct ChordSpan {
    double startSeconds = 0;
    double endSeconds = 0;
    std::string label; // "C", "Am", "G7", "Fmaj7", "Bdim", "N" for no chord
};

struct Harmony {
    std::vector<ChordSpan> chords;
    std::string key;        // "A minor"; empty when not known
    double tuningCents = 0; // from A440; sharp is positive
    bool isKnown() const { return !key.empty() || !chords.empty(); }
};

} // namespace session
