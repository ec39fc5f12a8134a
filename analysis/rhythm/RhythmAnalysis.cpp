#include "analysis/rhythm/RhythmAnalysis.h"

#include "analysis/rhythm/BarFinder.h"
#include "analysis/rhythm/BeatTracker.h"
#include "analysis/rhythm/TempoSections.h"

namespace analysis {

Rhythm analyzeRhythm(const OnsetTrack& track, const std::atomic<bool>* cancel) {
    Rhythm rhythm;
    const std::vector<double> beats = trackBeats(track, cancel);
    if (beats.size() < 2 || (cancel && cancel->load()))
        return rhythm;
    const Bars bars = findBars(track, beats);
    rhythm.beatsPerBar = bars.beatsPerBar;
    int bar = 0;
    for (std::size_t i = 0; i < beats.size(); ++i) {
        const int position = bars.positionOfBeat[i];
        if (position == 0) {
            ++bar;
            rhythm.downbeatSeconds.push_back(beats[i]);
        }
        rhythm.beats.push_back({beats[i], bar, position + 1});
    }
    rhythm.tempoBpm = medianTempoBpm(beats);
    rhythm.tempoSections = findTempoSections(beats);
    return rhythm;
}

} // namespace analysis
