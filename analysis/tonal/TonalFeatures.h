#pragma once

// The tonal analysis's part of the shared decode pass (analysis/signal/SegmentSink.h): a
// constant-Q frame every 2048 analysis frames (186 ms), each feeding the tuning histogram
// and leaving its spectral peaks. Segments are computed side by side and joined; the
// result is what one unbroken pass would give.
//
// Thread contract: as every FeatureExtractor; `result()` after the pass, on the pass's
// thread.

#include "analysis/signal/SegmentSink.h"
#include "analysis/tonal/PeakFrames.h"
#include "analysis/tonal/TuningEstimator.h"

namespace tonal {

struct TonalTrack {
    double hopSeconds = 0; // frame i is centred at i · hopSeconds
    PeakFrames peaks;
    TuningEstimator tuning;
};

class TonalFeatures final : public analysis::FeatureExtractor {
public:
    // For a signal at `sampleRate` (the pass's analysis rate).
    explicit TonalFeatures(double sampleRate);

    std::int64_t contextFrames() const override;
    std::unique_ptr<analysis::SegmentSink> makeSink(const analysis::SegmentSpan& span) override;
    void joinSegments(std::vector<std::unique_ptr<analysis::SegmentSink>> sinks) override;

    const TonalTrack& result() const { return track_; }

private:
    double sampleRate_;
    std::int64_t hopFrames_;
    TonalTrack track_;
};

} // namespace tonal
