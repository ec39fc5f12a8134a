#include "analysis/tonal/ConstantQ.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <dsp/transforms/FFT.h>
#include <numbers>

namespace tonal {

namespace {

// Hann main lobe half-width 2/N cycles a sample = one semitone, 2^(1/12) - 1 of f.
const double kQ = 2.0 / (std::exp2(1.0 / 12) - 1);
// Kernel entries below this share of the bin's largest are left out.
constexpr double kSparseThreshold = 0.005;
// Bins above this share of their level's rate are left at zero (the filters' pass band).
constexpr double kMaxShareOfRate = 0.4;

int nextPowerOfTwo(int n) {
    int p = 1;
    while (p < n)
        p *= 2;
    return p;
}

// Octave level of fine bin b: the lowest octave (bins 0..143) on the lowest level, the top
// octave and the few bins above it on level 0.
int levelOfBin(int bin) {
    return std::max(0, kOctaveLevels - 1 - bin / (12 * kBinsPerSemitone));
}

} // namespace

ConstantQ::ConstantQ(const OctaveCascade& cascade)
    : geometry_(cascade.inputRate(), cascade.levelCount()), alignment_(cascade.alignment()) {
    levels_.resize(std::size_t(cascade.levelCount()));
    for (int level = 0; level < cascade.levelCount(); ++level) {
        int first = kFineBinCount, end = 0;
        for (int bin = 0; bin < kFineBinCount; ++bin)
            if (std::min(levelOfBin(bin), cascade.levelCount() - 1) == level) {
                first = std::min(first, bin);
                end = std::max(end, bin + 1);
            }
        buildLevel(level, cascade.levelRate(level), first, end);
    }
}

ConstantQ::~ConstantQ() = default;

void ConstantQ::buildLevel(int index, double rate, int firstBin, int endBin) {
    LevelKernel& level = levels_[std::size_t(index)];
    const int minWindow = int(std::ceil(kMinWindowSeconds * rate));
    std::vector<int> windowLengths;
    int longest = 2;
    for (int bin = firstBin; bin < endBin; ++bin) {
        const double hz = centsToHz(fineBinCents(bin));
        const int length = std::max(minWindow, int(std::lround(kQ * rate / hz)));
        windowLengths.push_back(length);
        if (hz < kMaxShareOfRate * rate)
            longest = std::max(longest, length);
    }
    level.fftLength = nextPowerOfTwo(longest);
    const int fftLength = level.fftLength;
    level.fft = std::make_unique<FFTReal>(fftLength);
    FFT complexFft(fftLength);
    const std::size_t size = std::size_t(fftLength);
    std::vector<double> atomRe(size), atomIm(size), outRe(size), outIm(size);
    level.offsets.push_back(0);
    for (int bin = firstBin; bin < endBin; ++bin) {
        const double hz = centsToHz(fineBinCents(bin));
        if (hz >= kMaxShareOfRate * rate)
            continue;
        const int length = std::min(windowLengths[std::size_t(bin - firstBin)], fftLength);
        std::fill(atomRe.begin(), atomRe.end(), 0.0);
        std::fill(atomIm.begin(), atomIm.end(), 0.0);
        // The atom's centre sits on the frame's centre, sample fftLength / 2.
        const double centre = (length - 1) / 2.0;
        double windowSum = 0;
        for (int n = 0; n < length; ++n)
            windowSum += 0.5 - 0.5 * std::cos(2 * std::numbers::pi * (n + 0.5) / length);
        for (int n = 0; n < length; ++n) {
            const double window =
                (0.5 - 0.5 * std::cos(2 * std::numbers::pi * (n + 0.5) / length)) / windowSum;
            const double phase = 2 * std::numbers::pi * hz * (n - centre) / rate;
            const std::size_t at = std::size_t(fftLength / 2 - length / 2 + n);
            atomRe[at] = window * std::cos(phase);
            atomIm[at] = window * std::sin(phase);
        }
        complexFft.process(false, atomRe.data(), atomIm.data(), outRe.data(), outIm.data());
        // The coefficient is sum(x · conj(atom)) = (1 / N) · sum(X · conj(ATOM)); doubled, so
        // that a real sine of amplitude A reads A, not A / 2.
        double largest = 0;
        for (int k = 0; k <= fftLength / 2; ++k)
            largest = std::max(largest, std::hypot(outRe[std::size_t(k)], outIm[std::size_t(k)]));
        for (int k = 0; k <= fftLength / 2; ++k) {
            const double re = outRe[std::size_t(k)], im = outIm[std::size_t(k)];
            if (std::hypot(re, im) < kSparseThreshold * largest)
                continue;
            level.fftIndex.push_back(k);
            level.real.push_back(2.0 * re / fftLength);
            level.imag.push_back(-2.0 * im / fftLength);
        }
        level.bins.push_back(bin);
        level.offsets.push_back(int(level.fftIndex.size()));
    }
    const std::size_t longestFft = std::size_t(std::max(fftLength, int(frame_.size())));
    frame_.resize(longestFft);
    spectrumRe_.resize(longestFft);
    spectrumIm_.resize(longestFft);
}

std::int64_t ConstantQ::firstInputFor(std::int64_t centre) const {
    std::int64_t first = centre;
    for (int level = 0; level < int(levels_.size()); ++level) {
        const std::int64_t index = centre / geometry_.inputStep(level);
        first = std::min(first, geometry_.firstInputFor(
                                    level, index - levels_[std::size_t(level)].fftLength / 2));
    }
    return first;
}

std::int64_t ConstantQ::inputEndFor(std::int64_t centre) const {
    std::int64_t end = centre;
    for (int level = 0; level < int(levels_.size()); ++level) {
        const std::int64_t index = centre / geometry_.inputStep(level);
        end = std::max(end, geometry_.inputEndFor(
                                level, index + levels_[std::size_t(level)].fftLength / 2 - 1));
    }
    return end;
}

bool ConstantQ::ready(const OctaveCascade& cascade, std::int64_t centre) const {
    for (int level = 0; level < int(levels_.size()); ++level)
        if (cascade.end(level) <
            centre / cascade.inputStep(level) + levels_[std::size_t(level)].fftLength / 2)
            return false;
    return true;
}

bool ConstantQ::compute(const OctaveCascade& cascade, std::int64_t centre, float* magnitudes) {
    if (centre % alignment_ != 0 || !ready(cascade, centre))
        return false;
    std::fill(magnitudes, magnitudes + kFineBinCount, 0.0f);
    for (int index = 0; index < int(levels_.size()); ++index) {
        LevelKernel& level = levels_[std::size_t(index)];
        const std::int64_t first = centre / cascade.inputStep(index) - level.fftLength / 2;
        if (!cascade.copy(index, first, level.fftLength, frame_.data()))
            return false;
        level.fft->forward(frame_.data(), spectrumRe_.data(), spectrumIm_.data());
        for (std::size_t i = 0; i < level.bins.size(); ++i) {
            double re = 0, im = 0;
            for (int e = level.offsets[i]; e < level.offsets[i + 1]; ++e) {
                const double xr = spectrumRe_[std::size_t(level.fftIndex[std::size_t(e)])];
                const double xi = spectrumIm_[std::size_t(level.fftIndex[std::size_t(e)])];
                const double kr = level.real[std::size_t(e)], ki = level.imag[std::size_t(e)];
                re += xr * kr - xi * ki;
                im += xr * ki + xi * kr;
            }
            magnitudes[level.bins[i]] = float(std::sqrt(re * re + im * im));
        }
    }
    return true;
}

void ConstantQ::discardBefore(OctaveCascade& cascade, std::int64_t centre) const {
    for (int level = 0; level < int(levels_.size()); ++level)
        cascade.discardBefore(level, centre / cascade.inputStep(level) -
                                         levels_[std::size_t(level)].fftLength / 2);
}

} // namespace tonal
