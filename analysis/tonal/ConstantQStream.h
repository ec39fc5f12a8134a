#pragma once

// Constant-Q frames of a stream, every `hopFrames` input samples: frame i is centred on
// input sample i · hopFrames (hopFrames a multiple of the cascade's alignment). A stream
// can compute only some of the frames, [firstFrame, endFrame), from samples that start
// early enough before them (reachBefore()) and go on after them (reachAfter()): then
// segments of one signal, computed apart, give exactly the frames of one unbroken pass.
// Before the stream's first sample and after the end given to finish() is silence.
//
// Thread contract: one thread at a time; the handler runs on the calling thread, inside
// push() and finish().

#include "analysis/tonal/ConstantQ.h"

#include <cstdint>
#include <functional>
#include <span>
#include <vector>

namespace tonal {

class ConstantQStream {
public:
    using FrameHandler = std::function<void(std::int64_t frame, std::span<const float> fineBins)>;

    // Samples will start at input index `firstInput` (rounded up to the alignment: samples
    // before that are skipped). Frames from `firstFrame` to before `endFrame` are handed
    // to `onFrame`, in order.
    ConstantQStream(double sampleRate, std::int64_t hopFrames, std::int64_t firstInput,
                    std::int64_t firstFrame, std::int64_t endFrame, FrameHandler onFrame);
    ~ConstantQStream();

    // The input samples a frame reads before and after its centre: the context a segment
    // needs around its own frames.
    static std::int64_t reachBefore(double sampleRate);
    static std::int64_t reachAfter(double sampleRate);
    // The stream's hop nearest to 0.18 s that is a multiple of the alignment: two or three
    // frames a beat, which is what the chords are labelled by, at half the cost of more.
    static std::int64_t hopFramesFor(double sampleRate);

    // Contiguous samples; `firstInput` must be where the last push ended (the first: the
    // constructor's `firstInput`, or before it).
    void push(const float* samples, std::size_t count, std::int64_t firstInput);
    // The signal ends before input index `signalEnd`: frames centred before it that wait
    // for samples after it get silence, and frames from there on are not computed.
    void finish(std::int64_t signalEnd);

private:
    void computeReady(std::int64_t frameLimit);

    OctaveCascade cascade_;
    ConstantQ constantQ_;
    std::int64_t hop_;
    std::int64_t start_;
    std::int64_t nextFrame_;
    std::int64_t endFrame_;
    FrameHandler onFrame_;
    std::vector<float> bins_;
};

} // namespace tonal
