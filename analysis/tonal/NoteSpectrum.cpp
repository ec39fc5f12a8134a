#include "analysis/tonal/NoteSpectrum.h"

#include <algorithm>
#include <cmath>

namespace tonal {

namespace {

// An overtone of a lit note is taken for that note's when it is less than half as strong; a
// note of its own at that pitch is usually about as strong as the one below.
constexpr float kOvertoneShare = 0.5f;

struct Peak {
    double cents; // from C1, in the audio
    float amplitude;
};

// Local maxima of the fine spectrum, placed between bins by a parabola through the
// neighbours' logarithms.
std::vector<Peak> spectralPeaks(std::span<const float> bins, float floor) {
    std::vector<Peak> peaks;
    for (std::size_t b = 1; b + 1 < bins.size(); ++b) {
        const float m = bins[b];
        if (m < floor || m < bins[b - 1] || m <= bins[b + 1])
            continue;
        const double left = std::log(std::max(bins[b - 1], 1e-12f));
        const double centre = std::log(m);
        const double right = std::log(std::max(bins[b + 1], 1e-12f));
        const double curvature = left - 2 * centre + right;
        const double offset = curvature < 0 ? 0.5 * (left - right) / curvature : 0.0;
        peaks.push_back({fineBinCents(double(b) + std::clamp(offset, -0.5, 0.5)), m});
    }
    return peaks;
}

// Whether `upper` lies on an overtone (2nd to 8th harmonic) of `lower`, within 30 cents.
bool isOvertoneOf(double upperCents, double lowerCents) {
    for (int harmonic = 2; harmonic <= 8; ++harmonic) {
        const double cents = lowerCents + 1200.0 * std::log2(double(harmonic));
        if (std::abs(upperCents - cents) < 30)
            return true;
    }
    return false;
}

} // namespace

KeyLevels foldToKeys(std::span<const float> fineBins, double offsetCents) {
    KeyLevels levels{};
    if (fineBins.size() < std::size_t(kFineBinCount))
        return levels;
    for (int key = 0; key < kKeyCount; ++key) {
        const double centre = centsToFineBin(100.0 * key + offsetCents);
        const int first = std::max(0, int(std::ceil(centre - kBinsPerSemitone / 2.0)));
        const int last =
            std::min(kFineBinCount - 1, int(std::ceil(centre + kBinsPerSemitone / 2.0)) - 1);
        float level = 0;
        for (int b = first; b <= last; ++b)
            level = std::max(level, fineBins[std::size_t(b)]);
        levels[std::size_t(key)] = level;
    }
    return levels;
}

KeyLevels foldPeaksToKeys(std::span<const float> fineBins, double offsetCents) {
    KeyLevels levels{};
    if (fineBins.size() < std::size_t(kFineBinCount))
        return levels;
    for (int b = 1; b + 1 < kFineBinCount; ++b) {
        const float m = fineBins[std::size_t(b)];
        if (m < fineBins[std::size_t(b - 1)] || m <= fineBins[std::size_t(b + 1)])
            continue;
        const int key = int(std::lround((fineBinCents(b) - offsetCents) / 100.0));
        if (key >= 0 && key < kKeyCount)
            levels[std::size_t(key)] = std::max(levels[std::size_t(key)], m);
    }
    return levels;
}

std::vector<int> strongestKeys(std::span<const float> fineBins, double offsetCents) {
    std::vector<int> keys;
    std::vector<Peak> peaks = spectralPeaks(fineBins, kSilenceAmplitude);
    if (peaks.empty())
        return keys;
    std::sort(peaks.begin(), peaks.end(),
              [](const Peak& a, const Peak& b) { return a.amplitude > b.amplitude; });
    const float threshold = peaks.front().amplitude * kStrongestShare;
    std::vector<Peak> lit;
    for (const Peak& peak : peaks) {
        if (peak.amplitude < threshold || int(lit.size()) == kMaxStrongestKeys)
            break;
        const int key = int(std::lround((peak.cents - offsetCents) / 100.0));
        if (key < 0 || key >= kKeyCount)
            continue;
        const bool overtone = std::any_of(lit.begin(), lit.end(), [&](const Peak& l) {
            return l.cents < peak.cents && peak.amplitude < kOvertoneShare * l.amplitude &&
                   isOvertoneOf(peak.cents, l.cents);
        });
        if (overtone || std::find(keys.begin(), keys.end(), key) != keys.end())
            continue;
        lit.push_back(peak);
        keys.push_back(key);
    }
    std::sort(keys.begin(), keys.end());
    return keys;
}

NoteSpectrum noteSpectrum(std::span<const float> fineBins, double shiftCents, double tuningCents) {
    // Key k as heard is the audio at 100·k - shift, moved by the recording's tuning.
    const double offsetCents = tuningCents - shiftCents;
    NoteSpectrum out;
    out.keyLevels = foldToKeys(fineBins, offsetCents);
    if (fineBins.size() >= std::size_t(kFineBinCount))
        out.strongestKeys = strongestKeys(fineBins, offsetCents);
    return out;
}

} // namespace tonal
