#pragma once

// What the rhythm analysis found: the beats, how they group into bars, and the tempo.
// Times are in the file's own seconds at speed 1.

#include <vector>

namespace analysis {

struct Beat {
    double seconds = 0;
    int bar = 0;       // 1 for the first bar; beats before the first downbeat are in bar 0
    int beatInBar = 0; // 1 for the downbeat ... beatsPerBar
};

// From `seconds` on, the beat is played at `bpm` (until the next change).
struct TempoSection {
    double seconds = 0;
    double bpm = 0;
};

struct Rhythm {
    double tempoBpm = 0; // the median of the beat-to-beat tempo; 0 when no beat was found
    int beatsPerBar = 0; // 3 or 4; 0 when no beat was found
    std::vector<Beat> beats;
    std::vector<double> downbeatSeconds; // the first beat of every bar
    // The first section starts with the first beat; a new one wherever the tempo settles
    // at least 4 % away from the last for a few bars. One section for a steady piece.
    std::vector<TempoSection> tempoSections;
};

} // namespace analysis
