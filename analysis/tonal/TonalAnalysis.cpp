#include "analysis/tonal/TonalAnalysis.h"

#include "analysis/tonal/KeyEstimator.h"

namespace tonal {

TonalResult analyseTonality(const TonalTrack& track, std::span<const double> beatSeconds) {
    TonalResult result;
    result.tuningCents = track.tuning.cents();
    const std::vector<KeyLevels> frames = track.peaks.keyFrames(result.tuningCents);
    result.chords = estimateChords(frames, track.hopSeconds, beatSeconds);
    result.key = estimateKey(frames, result.chords, beatSeconds.empty() ? 0.0 : beatSeconds.back());
    return result;
}

} // namespace tonal
