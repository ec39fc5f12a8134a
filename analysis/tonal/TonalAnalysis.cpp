#include "analysis/tonal/TonalAnalysis.h"

#include "analysis/tonal/KeyEstimator.h"

namespace tonal {

TonalResult analyseTonality(const KeyFrameBuilder& frames, std::span<const double> beatSeconds) {
    TonalResult result;
    result.tuningCents = frames.tuningCents();
    result.chords = estimateChords(frames.frames(), frames.hopSeconds(), beatSeconds);
    result.key = estimateKey(frames.frames(), result.chords);
    return result;
}

} // namespace tonal
