#include "analysis/tonal/NoteSpectrum.h"

#include <algorithm>
#include <cmath>

namespace tonal {

namespace {

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

NoteSpectrum noteSpectrum(std::span<const float> fineBins, double shiftCents, double tuningCents) {
    NoteSpectrum out;
    if (fineBins.size() < std::size_t(kFineBinCount))
        return out;
    // Key k as heard is the audio at 100·k - shift, moved by the recording's tuning.
    const double offsetCents = tuningCents - shiftCents;
    for (int key = 0; key < kKeyCount; ++key) {
        const double centre = centsToFineBin(100.0 * key + offsetCents);
        const int first = std::max(0, int(std::ceil(centre - kBinsPerSemitone / 2.0)));
        const int last =
            std::min(kFineBinCount - 1, int(std::ceil(centre + kBinsPerSemitone / 2.0)) - 1);
        float level = 0;
        for (int b = first; b <= last; ++b)
            level = std::max(level, fineBins[std::size_t(b)]);
        out.keyLevels[std::size_t(key)] = level;
    }

    std::vector<Peak> peaks = spectralPeaks(fineBins, kSilenceAmplitude);
    if (peaks.empty())
        return out;
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
            return l.cents < peak.cents && isOvertoneOf(peak.cents, l.cents);
        });
        if (overtone || std::find(out.strongestKeys.begin(), out.strongestKeys.end(), key) !=
                            out.strongestKeys.end())
            continue;
        lit.push_back(peak);
        out.strongestKeys.push_back(key);
    }
    std::sort(out.strongestKeys.begin(), out.strongestKeys.end());
    return out;
}

} // namespace tonal
