#include "analysis/tonal/KeyEstimator.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace tonal {

namespace {

constexpr std::array<double, 12> kMajorProfile = {6.35, 2.23, 3.48, 2.33, 4.38, 4.09,
                                                  2.52, 5.19, 2.39, 3.66, 2.29, 2.88};
constexpr std::array<double, 12> kMinorProfile = {6.33, 2.68, 3.52, 5.38, 2.60, 3.53,
                                                  2.54, 4.75, 3.98, 2.69, 3.34, 3.17};
constexpr double kProfileWeight = 1.0;
constexpr double kChordWeight = 1.0;
constexpr double kFinalChordWeight = 0.5;
constexpr double kCadenceWeight = 0.3;
constexpr int kCadencesCounted = 3;

// What a chord does in a key, as far as the key is concerned: its class and its root's
// degree.
enum class Kind { Major, Minor, Diminished, Augmented, Suspended };

Kind kindOf(ChordQuality quality) {
    switch (quality) {
    case ChordQuality::Major:
    case ChordQuality::Dominant7:
    case ChordQuality::Major7:
        return Kind::Major;
    case ChordQuality::Minor:
    case ChordQuality::Minor7:
        return Kind::Minor;
    case ChordQuality::Diminished:
        return Kind::Diminished;
    case ChordQuality::Augmented:
        return Kind::Augmented;
    case ChordQuality::Sus2:
    case ChordQuality::Sus4:
        return Kind::Suspended;
    }
    return Kind::Major;
}

struct Function {
    int degree;
    Kind kind;
    double weight;
};

constexpr Function kMajorFunctions[] = {
    {0, Kind::Major, 1.0},       {0, Kind::Suspended, 0.6}, {7, Kind::Major, 0.8},
    {7, Kind::Suspended, 0.6},   {5, Kind::Major, 0.7},     {5, Kind::Suspended, 0.4},
    {2, Kind::Minor, 0.5},       {9, Kind::Minor, 0.5},     {4, Kind::Minor, 0.4},
    {11, Kind::Diminished, 0.4}, {2, Kind::Major, 0.2},     {4, Kind::Major, 0.2},
    {10, Kind::Major, 0.2},      {5, Kind::Minor, 0.2}};
constexpr Function kMinorFunctions[] = {
    {0, Kind::Minor, 1.0},      {0, Kind::Suspended, 0.6},   {7, Kind::Major, 0.8},
    {7, Kind::Minor, 0.5},      {7, Kind::Suspended, 0.5},   {5, Kind::Minor, 0.7},
    {8, Kind::Major, 0.6},      {3, Kind::Major, 0.5},       {10, Kind::Major, 0.5},
    {2, Kind::Diminished, 0.4}, {11, Kind::Diminished, 0.4}, {5, Kind::Major, 0.2},
    {0, Kind::Major, 0.2}};

double functionWeight(const MusicalKey& key, const Chord& chord) {
    const int degree = wrap(chord.root - key.tonic, 12);
    const Kind kind = kindOf(chord.quality);
    auto find = [&](const auto& table) {
        for (const Function& f : table)
            if (f.degree == degree && f.kind == kind)
                return f.weight;
        return 0.0;
    };
    return key.minor ? find(kMinorFunctions) : find(kMajorFunctions);
}

bool isTonicChord(const MusicalKey& key, const Chord& chord) {
    return !chord.isNone() && chord.root == key.tonic &&
           kindOf(chord.quality) == (key.minor ? Kind::Minor : Kind::Major);
}

double correlation(const std::array<double, 12>& a, const std::array<double, 12>& b) {
    double ma = 0, mb = 0;
    for (int i = 0; i < 12; ++i) {
        ma += a[std::size_t(i)] / 12;
        mb += b[std::size_t(i)] / 12;
    }
    double ab = 0, aa = 0, bb = 0;
    for (int i = 0; i < 12; ++i) {
        const double x = a[std::size_t(i)] - ma, y = b[std::size_t(i)] - mb;
        ab += x * y;
        aa += x * x;
        bb += y * y;
    }
    return aa > 0 && bb > 0 ? ab / std::sqrt(aa * bb) : 0.0;
}

} // namespace

MusicalKey estimateKey(std::span<const KeyLevels> frames, std::span<const ChordSpan> chords,
                       double musicEndSeconds) {
    const float loud = loudLevel(frames);
    std::array<double, 12> chroma{};
    if (loud > 0)
        for (const KeyLevels& frame : frames)
            for (int k = 0; k < kKeyCount; ++k)
                chroma[std::size_t(k % 12)] += std::sqrt(frame[std::size_t(k)] / loud);

    std::vector<ChordSpan> sounding;
    double chordSeconds = 0;
    for (const ChordSpan& span : chords)
        if (!span.chord.isNone()) {
            sounding.push_back(span);
            chordSeconds += span.endSeconds - span.startSeconds;
        }
    if (chordSeconds <= 0)
        return {};
    // The final chord: the last one that starts before the music ends.
    Chord finalChord = sounding.back().chord;
    if (musicEndSeconds > 0)
        for (const ChordSpan& span : sounding)
            if (span.startSeconds < musicEndSeconds)
                finalChord = span.chord;

    MusicalKey best;
    double bestScore = -1e9;
    for (int tonic = 0; tonic < 12; ++tonic)
        for (bool minor : {false, true}) {
            const MusicalKey key{tonic, minor};
            std::array<double, 12> profile{};
            for (int p = 0; p < 12; ++p)
                profile[std::size_t(wrap(p + tonic, 12))] =
                    (minor ? kMinorProfile : kMajorProfile)[std::size_t(p)];
            double fit = 0;
            for (const ChordSpan& span : sounding)
                fit += functionWeight(key, span.chord) * (span.endSeconds - span.startSeconds);
            int cadences = 0;
            for (std::size_t i = 1; i < sounding.size(); ++i) {
                const Chord& before = sounding[i - 1].chord;
                cadences += isTonicChord(key, sounding[i].chord) &&
                            before.root == wrap(tonic + 7, 12) &&
                            kindOf(before.quality) == Kind::Major;
            }
            const double score =
                kProfileWeight * correlation(profile, chroma) + kChordWeight * fit / chordSeconds +
                kFinalChordWeight * isTonicChord(key, finalChord) +
                kCadenceWeight * std::min(cadences, kCadencesCounted) / double(kCadencesCounted);
            if (score > bestScore) {
                bestScore = score;
                best = key;
            }
        }
    return best;
}

} // namespace tonal
