#include "session/BeatGrid.h"

#include <algorithm>
#include <cmath>

namespace session {

namespace {

std::vector<double> times(const std::vector<GridBeat>& beats) {
    std::vector<double> result;
    result.reserve(beats.size());
    for (const GridBeat& beat : beats)
        result.push_back(beat.seconds);
    return result;
}

std::vector<double> doubled(const std::vector<double>& beats) {
    std::vector<double> result;
    for (std::size_t i = 0; i < beats.size(); ++i) {
        result.push_back(beats[i]);
        if (i + 1 < beats.size())
            result.push_back((beats[i] + beats[i + 1]) / 2);
    }
    return result;
}

// Every other beat, keeping those that fall on the first beats of bars when there are
// bars: halving the tempo of a bar of four gives a bar of two.
std::vector<double> halved(const std::vector<double>& beats, std::size_t keepFrom) {
    std::vector<double> result;
    for (std::size_t i = keepFrom % 2; i < beats.size(); i += 2)
        result.push_back(beats[i]);
    return result;
}

std::size_t firstDownbeatIndex(const std::vector<GridBeat>& beats) {
    for (std::size_t i = 0; i < beats.size(); ++i)
        if (beats[i].beatInBar == 1)
            return i;
    return 0;
}

double medianTempo(const std::vector<double>& beats) {
    std::vector<double> gaps;
    for (std::size_t i = 1; i < beats.size(); ++i)
        if (beats[i] > beats[i - 1])
            gaps.push_back(beats[i] - beats[i - 1]);
    if (gaps.empty())
        return 0;
    std::nth_element(gaps.begin(), gaps.begin() + std::ptrdiff_t(gaps.size() / 2), gaps.end());
    return 60.0 / gaps[gaps.size() / 2];
}

} // namespace

BeatGrid correctedGrid(const BeatGrid& found, const GridCorrection& correction) {
    if (found.beats.empty())
        return found;
    std::vector<double> beats = times(found.beats);
    std::size_t downbeat = firstDownbeatIndex(found.beats);
    int beatsPerBar = std::max(found.beatsPerBar, 1);
    for (int i = 0; i < correction.tempoDoublings; ++i) {
        beats = doubled(beats);
        downbeat *= 2;
        beatsPerBar *= 2;
    }
    for (int i = 0; i > correction.tempoDoublings && beats.size() > 1; --i) {
        beats = halved(beats, downbeat);
        downbeat /= 2;
        beatsPerBar = std::max(1, beatsPerBar / 2);
    }
    for (double& beat : beats)
        beat += correction.offsetSeconds;
    if (correction.beatsPerBar > 0)
        beatsPerBar = correction.beatsPerBar;
    if (correction.firstBeatAt) {
        const auto nearest = std::min_element(beats.begin(), beats.end(), [&](double a, double b) {
            return std::fabs(a - *correction.firstBeatAt) < std::fabs(b - *correction.firstBeatAt);
        });
        downbeat = std::size_t(nearest - beats.begin());
    }

    BeatGrid grid;
    grid.beatsPerBar = beatsPerBar;
    grid.tempoBpm = medianTempo(beats);
    // Bars counted from the downbeat, both ways: beats before the first full bar are bar 0.
    const auto first = std::ptrdiff_t(downbeat % std::size_t(beatsPerBar));
    for (std::size_t i = 0; i < beats.size(); ++i) {
        const std::ptrdiff_t fromFirst = std::ptrdiff_t(i) - first;
        GridBeat beat;
        beat.seconds = beats[i];
        beat.bar = fromFirst < 0 ? 0 : int(fromFirst / beatsPerBar) + 1;
        beat.beatInBar =
            fromFirst < 0 ? int(fromFirst + beatsPerBar) + 1 : int(fromFirst % beatsPerBar) + 1;
        grid.beats.push_back(beat);
    }
    return grid;
}

const GridBeat* BeatGrid::beatAt(double seconds) const {
    if (beats.empty())
        return nullptr;
    auto after = std::upper_bound(beats.begin(), beats.end(), seconds,
                                  [](double t, const GridBeat& beat) { return t < beat.seconds; });
    return after == beats.begin() ? &*after : &*std::prev(after);
}

std::optional<double> BeatGrid::nearestBeat(double seconds, double toleranceSeconds) const {
    const GridBeat* before = beatAt(seconds);
    if (!before)
        return std::nullopt;
    double best = before->seconds;
    const auto index = std::size_t(before - beats.data());
    if (index + 1 < beats.size() &&
        std::fabs(beats[index + 1].seconds - seconds) < std::fabs(best - seconds))
        best = beats[index + 1].seconds;
    if (std::fabs(best - seconds) > toleranceSeconds)
        return std::nullopt;
    return best;
}

std::optional<double> BeatGrid::barStart(int bar) const {
    for (const GridBeat& beat : beats)
        if (beat.bar == bar && beat.beatInBar == 1)
            return beat.seconds;
    return std::nullopt;
}

std::optional<std::pair<double, double>> BeatGrid::barsFrom(double seconds, int bars) const {
    const GridBeat* beat = beatAt(seconds);
    if (!beat || beat->bar < 1 || bars < 1)
        return std::nullopt;
    const std::optional<double> start = barStart(beat->bar);
    if (!start)
        return std::nullopt;
    // The end: the first beat of the bar after the last, or one beat after the grid's end.
    if (const std::optional<double> next = barStart(beat->bar + bars))
        return std::pair{*start, *next};
    if (beats.size() < 2)
        return std::nullopt;
    const double lastGap = beats.back().seconds - beats[beats.size() - 2].seconds;
    return std::pair{*start, beats.back().seconds + lastGap};
}

} // namespace session
