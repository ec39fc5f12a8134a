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

// The onset strength between notes, the median over the recording. Noise and reverb lift
// every instant by about this much, which flattens the contrasts between beats measured
// below unless it is taken off first.
double floorLevel(const std::vector<float>& onset) {
    std::vector<float> sorted(onset);
    std::nth_element(sorted.begin(), sorted.begin() + std::ptrdiff_t(sorted.size() / 2),
                     sorted.end());
    return sorted[sorted.size() / 2];
}

// How much alternate instants of `points` differ, from 0 (alike) to 1: a snare drum on the
// second and fourth beats against the kick drum's first and third.
double alternation(const std::vector<float>& onset, double hop, const std::vector<double>& points) {
    const double first = salienceAt(onset, hop, everyOther(points, 0));
    const double second = salienceAt(onset, hop, everyOther(points, 1));
    return first + second > 0 ? std::abs(first - second) / (first + second) : 0;
}

// The tracker's own tempo prior pulls slow pieces up to their eighths and fast ones down to
// every other beat. Which level the music stresses decides instead, measured above the
// onset floor so that noise does not even the stresses out:
// - Alternate beats of very different strength: the tracker is counting eighths (a
//   ballad's arpeggios between its beats). Half the tempo; below 60 BPM only on stronger
//   evidence, as a strong first beat of each bar also makes beats alternate.
// - Below 100 BPM, half-beats nearly as strong as the beats: it is counting every other
//   beat of a fast piece. Double the tempo.
// Returns the factor for the beat periods: 2, 0.5 or 1; 0 when no onset marks the beats.
double periodFactor(const OnsetTrack& track, const std::vector<double>& beats, double bpm) {
    const double hop = track.hopSeconds();
    const double floor = floorLevel(track.onset);
    auto stress = [&](const std::vector<double>& points) {
        return std::max(0.0, salienceAt(track.onset, hop, points) - floor);
    };
    const double onBeats = stress(beats);
    const double even = stress(everyOther(beats, 0));
    const double odd = stress(everyOther(beats, 1));
    if (onBeats <= 0 || std::max(even, odd) <= 0)
        return 0;
    const double evenness = std::min(even, odd) / std::max(even, odd);
    if (evenness < (bpm / 2 >= 60 ? 0.6 : 0.4) && bpm / 2 >= 40)
        return 2.0;
    if (bpm <= 100 && stress(halfwayPoints(beats)) / onBeats >= 0.75)
        return 0.5;
    return 1.0;
}

// Whether the onsets a third and two thirds of the way from each beat to the next are about
// as strong as the beats themselves, while the half-beats are weaker, and the low bands
// (kick drum, bass) do not mark the beats either: the tracker has grouped three even pulses
// into one beat (a syncopated part playing every third eighth drew it there). Music whose
// beat divides into three stresses its beats above the other two pulses; where nothing
// does, the beat is two pulses.
bool countsThreePulses(const OnsetTrack& track, const std::vector<double>& beats) {
    const double hop = track.hopSeconds();
    auto stressAt = [&](const std::vector<float>& onset, double fraction) {
        std::vector<double> points;
        for (std::size_t i = 1; i < beats.size(); ++i)
            points.push_back(beats[i - 1] + fraction * (beats[i] - beats[i - 1]));
        return std::max(0.0, salienceAt(onset, hop, points) - floorLevel(onset));
    };
    auto thirds = [&](const std::vector<float>& onset) {
        return std::min(stressAt(onset, 1.0 / 3), stressAt(onset, 2.0 / 3));
    };
    const double all = thirds(track.onset);
    return all > 0 && all >= 0.6 * stressAt(track.onset, 0) &&
           all >= 1.5 * stressAt(track.onset, 0.5) &&
           thirds(track.lowOnset) >= 0.6 * stressAt(track.lowOnset, 0);
}

// Whether the beats are on the off-beats (the tracker followed a syncopated part) and
// belong half a beat later. Kick drums and bass notes mark the beat, so the low bands count
// three times: beats clearly weaker than the half-beats between them are off. Where the two
// are about as strong (a syncopated kick and bass), the backbeat decides: a snare drum
// alternates with the kick on the beats, so the level above the low bands alternates
// there and not on the off-beats.
bool onOffbeats(const OnsetTrack& track, const std::vector<double>& beats) {
    const double hop = track.hopSeconds();
    std::vector<float> accent(track.onset.size());
    std::vector<float> upper(track.onset.size());
    for (std::size_t i = 0; i < accent.size(); ++i) {
        accent[i] = track.onset[i] + 2.0f * track.lowOnset[i];
        upper[i] = track.onset[i] - track.lowOnset[i];
    }
    const std::vector<double> halves = halfwayPoints(beats);
    const double onBeats = salienceAt(accent, hop, beats);
    const double halfway = salienceAt(accent, hop, halves);
    if (halfway > 1.15 * onBeats)
        return true;
    if (halfway < 0.6 * onBeats)
        return false;
    const double backbeatOff = alternation(upper, hop, halves);
    return backbeatOff >= 0.15 && backbeatOff > 2 * alternation(upper, hop, beats);
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
    auto rescale = [&](double factor) {
        for (double& period : periods)
            period *= factor;
        grid = beatsAtPeriods(tracker, df, periods, hop);
    };
    const double factor = periodFactor(track, grid.beats, grid.bpm);
    if (factor <= 0)
        return {};
    if (factor != 1.0)
        rescale(factor);
    if (countsThreePulses(track, grid.beats))
        rescale(2.0 / 3);
    if (cancel && cancel->load())
        return {};
    if (onOffbeats(track, grid.beats))
        grid.beats = halfwayPoints(grid.beats);
    dropSilentEnds(track, grid.beats);
    return grid.beats;
}

} // namespace analysis
