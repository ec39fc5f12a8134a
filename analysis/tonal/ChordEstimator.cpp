#include "analysis/tonal/ChordEstimator.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace tonal {

namespace {

constexpr int kChordCount = 12 * kChordQualityCount; // state kChordCount is "no chord"
constexpr double kHarmonicDecay = 0.55;
constexpr int kHarmonics = 6;
constexpr double kBassWeight = 0.5;
constexpr double kNoChordScore = 0.3;       // when the segment sounds
constexpr double kSilentNoChordScore = 2.0; // when it does not
constexpr float kSoundingShare = 0.02f;     // of the loud level: -34 dB
constexpr double kScoreScale = 8.0;
constexpr double kChangeCost = 2.0;
constexpr int kFirstTrebleKey = 16; // E2
constexpr int kLastTrebleKey = 72;  // C7
constexpr int kBassCentreKey = 12;  // C2
constexpr double kBassReachKeys = 16;

using Chroma = std::array<double, 12>;

Chord chordOfState(int state) {
    return Chord{state / kChordQualityCount, ChordQuality(state % kChordQualityCount)};
}

// Zero-mean, unit-length templates, in state order.
std::vector<Chroma> chordTemplates() {
    std::vector<Chroma> templates;
    for (int state = 0; state < kChordCount; ++state) {
        const Chord chord = chordOfState(state);
        const ChordIntervals intervals = chordIntervals(chord.quality);
        Chroma t{};
        for (int i = 0; i < intervals.count; ++i)
            for (int h = 1; h <= kHarmonics; ++h) {
                const int offset = int(std::lround(12 * std::log2(double(h))));
                t[std::size_t(wrap(chord.root + intervals.semitones[i] + offset, 12))] +=
                    std::pow(kHarmonicDecay, h - 1);
            }
        double mean = 0;
        for (double v : t)
            mean += v / 12;
        double norm = 0;
        for (double& v : t) {
            v -= mean;
            norm += v * v;
        }
        for (double& v : t)
            v /= std::sqrt(norm);
        templates.push_back(t);
    }
    return templates;
}

std::vector<double> segmentBoundaries(double duration, double hop, std::span<const double> beats) {
    std::vector<double> bounds{0.0};
    auto add = [&](double t) {
        if (t > bounds.back() + hop / 2 && t < duration - hop / 2)
            bounds.push_back(t);
    };
    if (beats.empty())
        for (double t = kFixedSegmentSeconds; t < duration; t += kFixedSegmentSeconds)
            add(t);
    else
        for (double t : beats)
            add(t);
    bounds.push_back(duration);
    return bounds;
}

} // namespace

float loudLevel(std::span<const KeyLevels> frames) {
    if (frames.empty())
        return 0;
    std::vector<float> maxima;
    maxima.reserve(frames.size());
    for (const KeyLevels& frame : frames)
        maxima.push_back(*std::max_element(frame.begin(), frame.end()));
    const std::size_t at = std::min(maxima.size() - 1, maxima.size() * 95 / 100);
    std::nth_element(maxima.begin(), maxima.begin() + std::ptrdiff_t(at), maxima.end());
    return maxima[at];
}

std::vector<ChordSpan> estimateChords(std::span<const KeyLevels> frames, double hop,
                                      std::span<const double> beatSeconds) {
    std::vector<ChordSpan> spans;
    if (frames.empty() || hop <= 0)
        return spans;
    const double duration = double(frames.size()) * hop;
    const float loud = loudLevel(frames);
    const std::vector<double> bounds = segmentBoundaries(duration, hop, beatSeconds);
    const std::vector<Chroma> templates = chordTemplates();
    const std::size_t segments = bounds.size() - 1;

    // Viterbi over the segments: score[s] is the best path's score ending in state s.
    std::vector<double> score(kChordCount + 1, 0.0), emission(kChordCount + 1);
    std::vector<std::vector<int>> from(segments, std::vector<int>(kChordCount + 1));
    for (std::size_t i = 0; i < segments; ++i) {
        const std::ptrdiff_t last = std::ptrdiff_t(frames.size()) - 1;
        std::ptrdiff_t first = std::ptrdiff_t(std::ceil(bounds[i] / hop));
        std::ptrdiff_t end = std::ptrdiff_t(std::ceil(bounds[i + 1] / hop));
        if (end <= first) { // a segment shorter than a hop: its nearest frame
            first =
                std::min(last, std::ptrdiff_t(std::lround((bounds[i] + bounds[i + 1]) / 2 / hop)));
            end = first + 1;
        }
        end = std::min(end, last + 1);
        first = std::min(first, end - 1);
        KeyLevels mean{};
        for (std::ptrdiff_t f = first; f < end; ++f)
            for (int k = 0; k < kKeyCount; ++k)
                mean[std::size_t(k)] += frames[std::size_t(f)][std::size_t(k)] / float(end - first);
        const float strongest = *std::max_element(mean.begin(), mean.end());

        Chroma treble{}, bass{};
        for (int k = 0; k < kKeyCount; ++k) {
            const double level = loud > 0 ? std::sqrt(mean[std::size_t(k)] / loud) : 0.0;
            if (k >= kFirstTrebleKey && k <= kLastTrebleKey)
                treble[std::size_t(k % 12)] += level;
            bass[std::size_t(k % 12)] +=
                level * std::max(0.0, 1.0 - std::abs(k - kBassCentreKey) / kBassReachKeys);
        }
        double trebleMean = 0, bassSum = 0;
        for (int p = 0; p < 12; ++p) {
            trebleMean += treble[std::size_t(p)] / 12;
            bassSum += bass[std::size_t(p)];
        }
        double norm = 0;
        for (double& v : treble) {
            v -= trebleMean;
            norm += v * v;
        }
        norm = std::sqrt(norm);
        for (int s = 0; s < kChordCount; ++s) {
            double correlation = 0;
            if (norm > 0)
                for (int p = 0; p < 12; ++p)
                    correlation +=
                        templates[std::size_t(s)][std::size_t(p)] * treble[std::size_t(p)] / norm;
            const double bassShare =
                bassSum > 0 ? bass[std::size_t(s / kChordQualityCount)] / bassSum : 0.0;
            emission[std::size_t(s)] = correlation + kBassWeight * bassShare;
        }
        emission[kChordCount] =
            loud > 0 && strongest > kSoundingShare * loud ? kNoChordScore : kSilentNoChordScore;

        if (i == 0) {
            for (int s = 0; s <= kChordCount; ++s)
                score[std::size_t(s)] = kScoreScale * emission[std::size_t(s)];
            continue;
        }
        const int best = int(std::max_element(score.begin(), score.end()) - score.begin());
        const double change = score[std::size_t(best)] - kChangeCost;
        for (int s = 0; s <= kChordCount; ++s) {
            const bool stay = score[std::size_t(s)] >= change;
            from[i][std::size_t(s)] = stay ? s : best;
            score[std::size_t(s)] =
                (stay ? score[std::size_t(s)] : change) + kScoreScale * emission[std::size_t(s)];
        }
    }
    std::vector<int> path(segments);
    path.back() = int(std::max_element(score.begin(), score.end()) - score.begin());
    for (std::size_t i = segments - 1; i > 0; --i)
        path[i - 1] = from[i][std::size_t(path[i])];

    for (std::size_t i = 0; i < segments; ++i) {
        const Chord chord = path[i] == kChordCount ? Chord{} : chordOfState(path[i]);
        if (!spans.empty() && spans.back().chord == chord)
            spans.back().endSeconds = bounds[i + 1];
        else
            spans.push_back({bounds[i], bounds[i + 1], chord});
    }
    return spans;
}

} // namespace tonal
