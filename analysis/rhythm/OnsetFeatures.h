#pragma once

// The features the rhythm analysis reads, computed in the shared decode pass:
//
// - every 128 analysis frames (11.6 ms, the hop the beat tracker was made for): the onset
//   strength, the rise of log-compressed energy summed over log-spaced bands (spectral
//   flux, 46 ms window), and the same for the bands below 250 Hz alone, where kick drums
//   and bass notes start;
// - every 512 analysis frames (46 ms, 186 ms window): a pitch-class profile (12 values,
//   C = 0) and the bass level, from which bar lines are told by where harmony and bass
//   change.
//
// Thread contract: as every FeatureExtractor (analysis/signal/SegmentSink.h); `result()`
// after the pass, on the pass's thread.

#include "analysis/signal/SegmentSink.h"

#include <array>
#include <cstdint>
#include <vector>

namespace analysis {

struct OnsetTrack {
    static constexpr int kHopFrames = 128;
    static constexpr int kProfileHopFrames = 512;
    std::vector<float> onset;                        // one per hop; frame k is at k * kHopFrames
    std::vector<float> lowOnset;                     // the same below 250 Hz
    std::vector<std::array<float, 12>> pitchClasses; // one per profile hop, summing to 1 (or 0)
    std::vector<float> bassLevel;                    // log energy below 160 Hz, per profile hop

    double hopSeconds() const;
    double profileHopSeconds() const;
};

class OnsetFeatures final : public FeatureExtractor {
public:
    std::int64_t contextFrames() const override;
    std::unique_ptr<SegmentSink> makeSink(const SegmentSpan& span) override;
    void joinSegments(std::vector<std::unique_ptr<SegmentSink>> sinks) override;

    const OnsetTrack& result() const { return track_; }
    OnsetTrack takeResult() { return std::move(track_); }

private:
    OnsetTrack track_;
};

} // namespace analysis
