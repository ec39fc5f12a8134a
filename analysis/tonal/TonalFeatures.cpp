#include "analysis/tonal/TonalFeatures.h"

#include "analysis/tonal/ConstantQStream.h"

#include <algorithm>
#include <optional>

namespace tonal {

namespace {

class TonalSink final : public analysis::SegmentSink {
public:
    TonalSink(double sampleRate, std::int64_t hopFrames, const analysis::SegmentSpan& span)
        : sampleRate_(sampleRate), hop_(hopFrames), span_(span) {}

    void consume(const float* samples, std::size_t count, std::int64_t firstFrame) override {
        if (!stream_)
            stream_.emplace(sampleRate_, hop_, firstFrame, (span_.firstFrame + hop_ - 1) / hop_,
                            (span_.endFrame + hop_ - 1) / hop_,
                            [this](std::int64_t, std::span<const float> bins) {
                                tuning.addFrame(bins);
                                peaks.addFrame(bins);
                            });
        stream_->push(samples, count, firstFrame);
    }

    void finish(std::int64_t signalEndFrame) override {
        if (stream_)
            stream_->finish(signalEndFrame);
    }

    PeakFrames peaks;
    TuningEstimator tuning;

private:
    double sampleRate_;
    std::int64_t hop_;
    analysis::SegmentSpan span_;
    std::optional<ConstantQStream> stream_;
};

} // namespace

TonalFeatures::TonalFeatures(double sampleRate)
    : sampleRate_(sampleRate), hopFrames_(ConstantQStream::hopFramesFor(sampleRate)) {
    track_.hopSeconds = double(hopFrames_) / sampleRate;
}

std::int64_t TonalFeatures::contextFrames() const {
    return std::max(ConstantQStream::reachBefore(sampleRate_),
                    ConstantQStream::reachAfter(sampleRate_));
}

std::unique_ptr<analysis::SegmentSink> TonalFeatures::makeSink(const analysis::SegmentSpan& span) {
    return std::make_unique<TonalSink>(sampleRate_, hopFrames_, span);
}

void TonalFeatures::joinSegments(std::vector<std::unique_ptr<analysis::SegmentSink>> sinks) {
    track_.peaks = PeakFrames{};
    track_.tuning = TuningEstimator{};
    for (auto& sink : sinks) {
        const auto& tonal = static_cast<const TonalSink&>(*sink);
        track_.peaks.append(tonal.peaks);
        track_.tuning.merge(tonal.tuning);
    }
}

} // namespace tonal
