#pragma once

// Cuts one segment's signal into the windows of a hop-based feature: frame k is the
// `windowFrames` samples centred on analysis frame k * hopFrames, so its time is
// k * hopFrames / kAnalysisRateHz. It hands over exactly the frames the segment owns
// (k * hopFrames in [span.firstFrame, span.endFrame), and before the end of the signal),
// each once, in order, with zeros where a window reaches before the recording's start or
// past the end of its signal. Needs contextFrames >= windowFrames / 2 in the pass.
//
// Thread contract: used by one thread, like the sink that owns it.

#include "analysis/signal/SegmentSink.h"

#include <cstdint>
#include <functional>
#include <vector>

namespace analysis {

class FrameCutter {
public:
    // `window` holds windowFrames samples and is valid during the call only.
    using FrameHandler = std::function<void(std::int64_t frameIndex, const float* window)>;

    FrameCutter(const SegmentSpan& span, int hopFrames, int windowFrames, FrameHandler onFrame);

    void consume(const float* samples, std::size_t count, std::int64_t firstFrame);
    void finish(std::int64_t signalEndFrame);

    // The first frame index the segment owns.
    std::int64_t firstFrameIndex() const { return firstIndex_; }

private:
    void emitReady(std::int64_t lastUsableFrame);
    std::int64_t windowStart(std::int64_t frameIndex) const;

    std::int64_t hop_;
    int window_;
    std::int64_t firstIndex_;
    std::int64_t endIndex_; // one past the last frame index the segment owns
    std::int64_t nextIndex_;
    FrameHandler onFrame_;
    std::vector<float> buffer_; // samples from bufferStart_ on
    std::int64_t bufferStart_;
};

} // namespace analysis
