#pragma once

// The spectral peaks of every constant-Q frame of a recording: what the chords and the key
// are found from once the pass is over and the tuning is known. Each frame keeps its
// strongest local maxima (at most kMaxPeaksPerFrame, 6 bytes each), so an hour of frames
// every 186 ms stays under 6 MB; no audio is held.
//
// Folding the peaks to keys only when the tuning is known keeps the keys' bands on the
// recording's own notes, however far it is from A440.
//
// Thread contract: one thread at a time.

#include "analysis/tonal/NoteSpectrum.h"

#include <cstdint>
#include <span>
#include <vector>

namespace tonal {

class PeakFrames {
public:
    static constexpr int kMaxPeaksPerFrame = 48;

    // `fineBins`: kFineBinCount amplitudes.
    void addFrame(std::span<const float> fineBins);
    void append(const PeakFrames& later);

    std::size_t frameCount() const { return frameEnds_.size(); }
    std::size_t bytes() const;

    // Each frame folded as foldPeaksToKeys does, with the keys' bands moved by `tuningCents`.
    std::vector<KeyLevels> keyFrames(double tuningCents) const;

private:
    std::vector<std::uint16_t> bins_;
    std::vector<float> amplitudes_;
    std::vector<std::uint32_t> frameEnds_; // one past each frame's last peak
    std::vector<std::uint16_t> scratch_;
};

} // namespace tonal
