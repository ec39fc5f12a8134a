#include "analysis/rhythm/RhythmAnalysis.h"

#include "analysis/rhythm/BeatTracker.h"

#include <algorithm>

namespace analysis {

Rhythm analyzeRhythm(const OnsetTrack& track, const std::atomic<bool>* cancel) {
    Rhythm rhythm;
    const std::vector<double> beats = trackBeats(track, cancel);
    if (beats.size() < 2 || (cancel && cancel->load()))
        return rhythm;
    rhythm.beatsPerBar = 4;
    for (std::size_t i = 0; i < beats.size(); ++i) {
        const int inBar = int(i % 4);
        rhythm.beats.push_back({beats[i], int(i / 4) + 1, inBar + 1});
        if (inBar == 0)
            rhythm.downbeatSeconds.push_back(beats[i]);
    }
    std::vector<double> intervals;
    for (std::size_t i = 1; i < beats.size(); ++i)
        intervals.push_back(beats[i] - beats[i - 1]);
    std::nth_element(intervals.begin(), intervals.begin() + intervals.size() / 2, intervals.end());
    rhythm.tempoBpm = 60.0 / intervals[intervals.size() / 2];
    rhythm.tempoSections.push_back({beats.front(), rhythm.tempoBpm});
    return rhythm;
}

} // namespace analysis
