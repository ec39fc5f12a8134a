#include "analysis/rhythm/BeatTracker.h"

#include "analysis/signal/AnalysisRate.h"

#include <dsp/tempotracking/TempoTrackV2.h>

namespace analysis {

std::vector<double> trackBeats(const OnsetTrack& track, const std::atomic<bool>* cancel) {
    std::vector<double> beats;
    if (track.onset.size() < 64)
        return beats;
    const std::vector<double> df(track.onset.begin(), track.onset.end());
    TempoTrackV2 tracker(float(kAnalysisRateHz), OnsetTrack::kHopFrames);
    // The tracker writes one period per onset frame into a vector of the onset's size.
    std::vector<double> periods(df.size(), 0.0);
    std::vector<double> tempi;
    tracker.calculateBeatPeriod(df, periods, tempi);
    if (cancel && cancel->load())
        return beats;
    std::vector<double> frames;
    tracker.calculateBeats(df, periods, frames);
    for (double frame : frames)
        beats.push_back(frame * track.hopSeconds());
    return beats;
}

} // namespace analysis
