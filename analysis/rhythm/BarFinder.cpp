#include "analysis/rhythm/BarFinder.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>

namespace analysis {
namespace {

using Profile = std::array<double, 12>;

// The mean pitch-class profile of the signal between `from` and `to` seconds.
Profile profileBetween(const OnsetTrack& track, double from, double to) {
    Profile sum{};
    const double hop = track.profileHopSeconds();
    const auto first = std::size_t(std::max(0.0, std::ceil(from / hop)));
    const auto end = std::min(track.pitchClasses.size(), std::size_t(std::max(0.0, to / hop)));
    for (std::size_t k = first; k < end; ++k)
        for (std::size_t c = 0; c < 12; ++c)
            sum[c] += track.pitchClasses[k][c];
    return sum;
}

double cosineDistance(const Profile& a, const Profile& b) {
    const double dot = std::inner_product(a.begin(), a.end(), b.begin(), 0.0);
    const double norms = std::sqrt(std::inner_product(a.begin(), a.end(), a.begin(), 0.0) *
                                   std::inner_product(b.begin(), b.end(), b.begin(), 0.0));
    return norms > 1e-12 ? 1.0 - dot / norms : 0.0;
}

double strongestNear(const std::vector<float>& onset, double hopSeconds, double seconds) {
    const auto centre = std::int64_t(std::lround(seconds / hopSeconds));
    float strongest = 0;
    for (auto k = std::max<std::int64_t>(0, centre - 2);
         k <= std::min<std::int64_t>(std::int64_t(onset.size()) - 1, centre + 2); ++k)
        strongest = std::max(strongest, onset[std::size_t(k)]);
    return strongest;
}

// Mean 0, standard deviation 1 (or all 0 for a constant).
void standardise(std::vector<double>& values) {
    const double mean = std::accumulate(values.begin(), values.end(), 0.0) / double(values.size());
    double variance = 0;
    for (double v : values)
        variance += (v - mean) * (v - mean);
    const double deviation = std::sqrt(variance / double(values.size()));
    for (double& v : values)
        v = deviation > 1e-12 ? (v - mean) / deviation : 0.0;
}

std::vector<double> downbeatEvidence(const OnsetTrack& track, const std::vector<double>& beats) {
    const std::size_t count = beats.size();
    // Beat i's span runs to the next beat (the last one's as long as the one before).
    auto spanEnd = [&](std::size_t i) {
        return i + 1 < count ? beats[i + 1] : beats[i] + (beats[i] - beats[i - 1]);
    };
    std::vector<Profile> profiles(count);
    for (std::size_t i = 0; i < count; ++i)
        profiles[i] = profileBetween(track, beats[i], spanEnd(i));
    std::vector<double> harmony(count, 0.0);
    std::vector<double> low(count, 0.0);
    for (std::size_t i = 0; i < count; ++i) {
        Profile before{};
        Profile after{};
        for (std::size_t k = 1; k <= 2 && k <= i; ++k)
            for (std::size_t c = 0; c < 12; ++c)
                before[c] += profiles[i - k][c];
        for (std::size_t k = 0; k < 2 && i + k < count; ++k)
            for (std::size_t c = 0; c < 12; ++c)
                after[c] += profiles[i + k][c];
        harmony[i] = i == 0 ? 0.0 : cosineDistance(before, after);
        low[i] = strongestNear(track.lowOnset, track.hopSeconds(), beats[i]);
    }
    standardise(harmony);
    standardise(low);
    std::vector<double> evidence(count);
    for (std::size_t i = 0; i < count; ++i)
        evidence[i] = harmony[i] + 0.5 * low[i];
    return evidence;
}

struct Counting {
    std::vector<int> positions;
    double contrast = 0; // mean evidence on downbeats minus mean on the other beats
};

Counting countBars(const std::vector<double>& evidence, int beatsPerBar) {
    // A restart of the count costs as much as two beats of strong evidence.
    constexpr double kRestartCost = 2.0;
    const std::size_t count = evidence.size();
    const auto states = std::size_t(beatsPerBar);
    std::vector<double> score(states, 0.0);
    std::vector<std::vector<int>> from(count, std::vector<int>(states, 0));
    for (std::size_t s = 0; s < states; ++s)
        score[s] = s == 0 ? evidence[0] : 0.0;
    for (std::size_t i = 1; i < count; ++i) {
        std::vector<double> next(states);
        const auto best = std::size_t(std::max_element(score.begin(), score.end()) - score.begin());
        for (std::size_t s = 0; s < states; ++s) {
            const std::size_t previous = (s + states - 1) % states;
            double value = score[previous];
            int origin = int(previous);
            if (score[best] - kRestartCost > value) {
                value = score[best] - kRestartCost;
                origin = int(best);
            }
            next[s] = value + (s == 0 ? evidence[i] : 0.0);
            from[i][s] = origin;
        }
        score = next;
    }
    Counting counting;
    counting.positions.resize(count);
    int state = int(std::max_element(score.begin(), score.end()) - score.begin());
    for (std::size_t i = count; i-- > 0;) {
        counting.positions[i] = state;
        state = from[i][std::size_t(state)];
    }
    double onDownbeats = 0;
    double elsewhere = 0;
    std::size_t downbeats = 0;
    for (std::size_t i = 0; i < count; ++i) {
        if (counting.positions[i] == 0) {
            onDownbeats += evidence[i];
            ++downbeats;
        } else {
            elsewhere += evidence[i];
        }
    }
    if (downbeats > 0 && downbeats < count)
        counting.contrast = onDownbeats / double(downbeats) - elsewhere / double(count - downbeats);
    return counting;
}

} // namespace

Bars findBars(const OnsetTrack& track, const std::vector<double>& beats) {
    Bars bars;
    if (beats.size() < 2)
        return bars;
    const std::vector<double> evidence = downbeatEvidence(track, beats);
    const Counting triple = countBars(evidence, 3);
    const Counting common = countBars(evidence, 4);
    // Four beats to the bar unless three stand out clearly more.
    const bool isTriple = triple.contrast > 1.1 * common.contrast;
    bars.beatsPerBar = isTriple ? 3 : 4;
    bars.positionOfBeat = isTriple ? triple.positions : common.positions;
    return bars;
}

} // namespace analysis
