#pragma once

// The one signal every analysis feature reads: the recording mixed to mono and resampled
// to a fixed rate, so features, hops and windows mean the same time in every file.

#include <cstdint>

namespace analysis {

// 11025 Hz keeps everything up to 5.5 kHz: all of the pitch and most of the attack
// information the analysis uses, at a quarter of the cost of a CD-rate signal.
inline constexpr int kAnalysisRateHz = 11025;

// Segments of one pass start and end on multiples of this many analysis frames, so a
// feature whose hop divides it (128, 256, 512, 1024, 2048, 4096) has every hop position
// inside exactly one segment.
inline constexpr std::int64_t kSegmentGridFrames = 4096;

inline constexpr double secondsOfFrame(double analysisFrame) {
    return analysisFrame / kAnalysisRateHz;
}

} // namespace analysis
