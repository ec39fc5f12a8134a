#include "analysis/tonal/PeakFrames.h"

#include <algorithm>
#include <cmath>

namespace tonal {

void PeakFrames::addFrame(std::span<const float> fineBins) {
    scratch_.clear();
    for (std::size_t b = 1; b + 1 < fineBins.size(); ++b)
        if (fineBins[b] > 0 && fineBins[b] >= fineBins[b - 1] && fineBins[b] > fineBins[b + 1])
            scratch_.push_back(std::uint16_t(b));
    if (scratch_.size() > std::size_t(kMaxPeaksPerFrame)) {
        std::nth_element(
            scratch_.begin(), scratch_.begin() + kMaxPeaksPerFrame, scratch_.end(),
            [&](std::uint16_t a, std::uint16_t b) { return fineBins[a] > fineBins[b]; });
        scratch_.resize(kMaxPeaksPerFrame);
    }
    for (std::uint16_t bin : scratch_) {
        bins_.push_back(bin);
        amplitudes_.push_back(fineBins[bin]);
    }
    frameEnds_.push_back(std::uint32_t(bins_.size()));
}

void PeakFrames::append(const PeakFrames& later) {
    const std::uint32_t base = std::uint32_t(bins_.size());
    bins_.insert(bins_.end(), later.bins_.begin(), later.bins_.end());
    amplitudes_.insert(amplitudes_.end(), later.amplitudes_.begin(), later.amplitudes_.end());
    for (std::uint32_t end : later.frameEnds_)
        frameEnds_.push_back(base + end);
}

std::size_t PeakFrames::bytes() const {
    return bins_.capacity() * sizeof(std::uint16_t) + amplitudes_.capacity() * sizeof(float) +
           frameEnds_.capacity() * sizeof(std::uint32_t);
}

std::vector<KeyLevels> PeakFrames::keyFrames(double tuningCents) const {
    std::vector<KeyLevels> frames(frameEnds_.size(), KeyLevels{});
    std::uint32_t first = 0;
    for (std::size_t f = 0; f < frameEnds_.size(); ++f) {
        for (std::uint32_t p = first; p < frameEnds_[f]; ++p) {
            const int key = int(std::lround((fineBinCents(bins_[p]) - tuningCents) / 100.0));
            if (key >= 0 && key < kKeyCount)
                frames[f][std::size_t(key)] = std::max(frames[f][std::size_t(key)], amplitudes_[p]);
        }
        first = frameEnds_[f];
    }
    return frames;
}

} // namespace tonal
