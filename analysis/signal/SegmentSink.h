#pragma once

// How features plug into the decode pass (analysis/signal/SignalPass.h).
//
// One pass decodes the recording once, in segments that are decoded side by side from their
// own seek points, and hands every segment's mono signal at kAnalysisRateHz to one sink per
// feature extractor. Adding a feature to that same pass:
//
//   1. Write a FeatureExtractor. `contextFrames()` says how many analysis frames it needs
//      on each side of a segment to compute the values at the segment's own frames exactly
//      as one unbroken pass would (half a window, plus any history it keeps).
//   2. `makeSink(span)` returns a SegmentSink that computes the feature for the frames the
//      segment owns: frames in [span.firstFrame, span.endFrame). It is given the context
//      around them too, and must produce nothing for context frames (the neighbour owns
//      them). FrameCutter (analysis/signal/FrameCutter.h) does this bookkeeping for a
//      feature computed on hop-spaced windows.
//   3. `joinSegments(sinks)` receives the sinks back in time order after every segment
//      finished, and concatenates their values into the extractor's result.
//   4. Add the extractor to the list in analyzeRecording() (analysis/recording) and turn
//      its result into the part of RecordingAnalysis it belongs to.
//
// Thread contract: makeSink and joinSegments run on the thread that runs the pass. Each
// sink is then used by one decoding thread only, from its first consume() to its finish();
// sinks of different segments run at the same time, so a sink writes only to itself (or
// to storage of its own segment). Nothing is called after a pass is cancelled but the
// sinks' destructors.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace analysis {

// One segment of a pass, in analysis frames from the start of the recording.
struct SegmentSpan {
    std::size_t index = 0; // 0, 1, ... in time order
    std::int64_t firstFrame = 0;
    // One past the segment's last frame. The last segment's end is the recording's stated
    // length; a file cut short ends sooner (see SegmentSink::finish).
    std::int64_t endFrame = 0;
    // The context delivered before firstFrame and after endFrame where the recording has
    // it: at most the largest contextFrames() of the pass's extractors.
    std::int64_t contextFrames = 0;
};

class SegmentSink {
public:
    virtual ~SegmentSink() = default;
    // The next block of the segment's signal: `count` mono samples, the first of which is
    // analysis frame `firstFrame`. Blocks follow each other without gaps or overlap. The
    // first block starts at span.firstFrame - span.contextFrames (or at 0).
    virtual void consume(const float* samples, std::size_t count, std::int64_t firstFrame) = 0;
    // After the last block. `signalEndFrame` is one past the last frame of the recording
    // that was delivered: the segment's own end plus context, or where the file's data
    // stopped if that came first (frames past it are silence, not signal).
    virtual void finish(std::int64_t signalEndFrame) = 0;
};

class FeatureExtractor {
public:
    virtual ~FeatureExtractor() = default;
    virtual std::int64_t contextFrames() const = 0;
    virtual std::unique_ptr<SegmentSink> makeSink(const SegmentSpan& span) = 0;
    // Every sink this extractor made, in time order, after all of them finished. A pass
    // over a file cut short hands back only the segments up to where its data stopped.
    virtual void joinSegments(std::vector<std::unique_ptr<SegmentSink>> sinks) = 0;
};

} // namespace analysis
