#pragma once

// How the beats group into bars: the number of beats in a bar (3 or 4) and which beats are
// the bars' first beats.
//
// A bar line is where harmony changes and where the low instruments (kick drum, bass)
// start notes, so each beat gets a downbeat evidence: how much the pitch-class profile of
// the two beats after it differs from that of the two before, and how strong the onset
// below 250 Hz is at it. For each meter, a Viterbi pass over the beats finds the bar
// positions that best put the evidence on the bars' first beats, counting on through the
// bar and paying for every place where the count has to restart (a beat the tracker
// missed or added, a bar of another length); the meter whose downbeats stand out most
// from the other beats wins.

#include "analysis/rhythm/OnsetFeatures.h"

#include <vector>

namespace analysis {

struct Bars {
    int beatsPerBar = 0;
    std::vector<int> positionOfBeat; // 0 for a downbeat ... beatsPerBar - 1
};

// Thread contract: any thread; reads only its arguments.
Bars findBars(const OnsetTrack& track, const std::vector<double>& beats);

} // namespace analysis
