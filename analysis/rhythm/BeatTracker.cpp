#include "analysis/rhythm/BeatTracker.h"

#include "analysis/rhythm/Salience.h"
#include "analysis/signal/AnalysisRate.h"

#include <algorithm>
#include <cmath>
#include <dsp/tempotracking/TempoTrackV2.h>

namespace analysis {
namespace {

struct Grid {
    std::vector<double> beats; // seconds
    double bpm = 0;
};

double medianBpm(const std::vector<double>& beats) {
    if (beats.size() < 2)
        return 0;
    std::vector<double> intervals;
    for (std::size_t i = 1; i < beats.size(); ++i)
        intervals.push_back(beats[i] - beats[i - 1]);
    std::nth_element(intervals.begin(), intervals.begin() + intervals.size() / 2, intervals.end());
    return 60.0 / intervals[intervals.size() / 2];
}

Grid beatsAtPeriods(TempoTrackV2& tracker, const std::vector<double>& df,
                    const std::vector<double>& periods, double hopSeconds) {
    std::vector<double> frames;
    tracker.calculateBeats(df, periods, frames);
    Grid grid;
    for (double frame : frames)
        grid.beats.push_back(frame * hopSeconds);
    grid.bpm = medianBpm(grid.beats);
    return grid;
}

// The tracker keeps counting through silence: beats before the first and after the last
// that has an onset near it are left out.
void dropSilentEnds(const OnsetTrack& track, std::vector<double>& beats) {
    if (beats.empty())
        return;
    std::vector<double> strength;
    for (double beat : beats)
        strength.push_back(salienceAt(track.onset, track.hopSeconds(), {beat}));
    std::vector<double> sorted(strength);
    std::nth_element(sorted.begin(), sorted.begin() + sorted.size() / 2, sorted.end());
    const double quiet = 0.1 * sorted[sorted.size() / 2];
    std::size_t first = 0;
    std::size_t end = beats.size();
    while (first < end && strength[first] <= quiet)
        ++first;
    while (end > first && strength[end - 1] <= quiet)
        --end;
    beats = std::vector<double>(beats.begin() + std::ptrdiff_t(first),
                                beats.begin() + std::ptrdiff_t(end));
}

} // namespace

std::vector<double> trackBeats(const OnsetTrack& track, const std::atomic<bool>* cancel) {
    if (track.onset.size() < 64)
        return {};
    const double hop = track.hopSeconds();
    const std::vector<double> df(track.onset.begin(), track.onset.end());
    TempoTrackV2 tracker(float(kAnalysisRateHz), OnsetTrack::kHopFrames);
    // The tracker writes one period per onset frame into a vector of the onset's size.
    std::vector<double> periods(df.size(), 0.0);
    std::vector<double> tempi;
    tracker.calculateBeatPeriod(df, periods, tempi);
    if (cancel && cancel->load())
        return {};
    Grid grid = beatsAtPeriods(tracker, df, periods, hop);

    auto rescaled = [&](double factor) {
        std::vector<double> scaled(periods);
        for (double& period : scaled)
            period *= factor;
        return beatsAtPeriods(tracker, df, scaled, hop);
    };
    // The tracker's own tempo prior pulls slow pieces up to their eighths and fast ones
    // down to every other beat. Which level the music stresses decides instead:
    // - Alternate beats of very different strength: the tracker is counting eighths (a
    //   ballad's arpeggios between its beats). Half the tempo; below 60 BPM only on
    //   stronger evidence, as a strong first beat of each bar also makes beats alternate.
    // - Below 100 BPM, half-beats nearly as strong as the beats: it is counting every
    //   other beat of a fast piece. Double the tempo.
    const double onBeats = salienceAt(track.onset, hop, grid.beats);
    const double halfway = salienceAt(track.onset, hop, halfwayPoints(grid.beats));
    const double even = salienceAt(track.onset, hop, everyOther(grid.beats, 0));
    const double odd = salienceAt(track.onset, hop, everyOther(grid.beats, 1));
    if (onBeats <= 0 || std::max(even, odd) <= 0)
        return {};
    const double alternation = std::min(even, odd) / std::max(even, odd);
    if (alternation < (grid.bpm / 2 >= 60 ? 0.6 : 0.4) && grid.bpm / 2 >= 40)
        grid = rescaled(2.0);
    else if (grid.bpm <= 100 && halfway / onBeats >= 0.75)
        grid = rescaled(0.5);
    if (cancel && cancel->load())
        return {};
    // Beats clearly weaker than the half-beats between them are on the off-beats (the
    // tracker followed a syncopated part): move them half a beat. Kick drums and bass
    // notes mark the beat, so the low bands count three times here.
    std::vector<float> accent(track.onset.size());
    for (std::size_t i = 0; i < accent.size(); ++i)
        accent[i] = track.onset[i] + 2.0f * track.lowOnset[i];
    if (salienceAt(accent, hop, halfwayPoints(grid.beats)) >
        1.15 * salienceAt(accent, hop, grid.beats))
        grid.beats = halfwayPoints(grid.beats);
    dropSilentEnds(track, grid.beats);
    return grid.beats;
}

} // namespace analysis
