#pragma once

// The beats and bars of a recording as the window uses them: the grid the analysis found,
// with the musician's corrections applied (no tracker is always right). Times are the
// file's own seconds at speed 1.
//
// Corrections, kept with the recording:
// - an offset, nudged in 10 ms steps, moves every beat;
// - the tempo doubled (a beat between each two) or halved (every other beat), any number
//   of times over;
// - beats per bar, and which beat is the first of a bar ("this is beat 1" at the playhead):
//   the bars are counted again from that beat, that many beats each;
// - a tapped tempo, which the analysis takes as its starting point when it runs again.
//
// Thread contract: plain values and pure functions.

#include <optional>
#include <vector>

namespace session {

struct GridBeat {
    double seconds = 0;
    int bar = 0;       // 1 for the first full bar; beats before it are in bar 0
    int beatInBar = 0; // 1 for the bar's first beat
};

struct BeatGrid {
    double tempoBpm = 0;
    int beatsPerBar = 0;
    std::vector<GridBeat> beats; // in time order

    bool isEmpty() const { return beats.empty(); }
    // The beat at or just before `seconds` (the first beat before the grid starts); null
    // for an empty grid.
    const GridBeat* beatAt(double seconds) const;
    // The beat nearest `seconds` within `toleranceSeconds`, if any.
    std::optional<double> nearestBeat(double seconds, double toleranceSeconds) const;
    // [start, end) of `bars` bars starting with the bar that holds `seconds`; the end of the
    // last one is one beat after its last beat. Nothing before the first bar or on an empty
    // grid.
    std::optional<std::pair<double, double>> barsFrom(double seconds, int bars) const;
    // The first beat of bar `bar`, if the grid has it.
    std::optional<double> barStart(int bar) const;
};

struct GridCorrection {
    double offsetSeconds = 0;
    int tempoDoublings = 0;                           // +1 doubled, -1 halved, +2 doubled twice...
    int beatsPerBar = 0;                              // 0: as found
    std::optional<double> firstBeatAt = std::nullopt; // a beat that starts a bar
    std::optional<double> tappedTempoBpm = std::nullopt; // to track again from
    bool operator==(const GridCorrection&) const = default;
    bool isNone() const { return *this == GridCorrection{}; }
};

// The grid with the corrections applied.
BeatGrid correctedGrid(const BeatGrid& found, const GridCorrection& correction);

} // namespace session
