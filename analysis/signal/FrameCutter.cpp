#include "analysis/signal/FrameCutter.h"

#include <algorithm>

namespace analysis {

FrameCutter::FrameCutter(const SegmentSpan& span, int hopFrames, int windowFrames,
                         FrameHandler onFrame)
    : hop_(hopFrames), window_(windowFrames),
      firstIndex_((span.firstFrame + hopFrames - 1) / hopFrames),
      endIndex_((span.endFrame + hopFrames - 1) / hopFrames), nextIndex_(firstIndex_),
      onFrame_(std::move(onFrame)), bufferStart_(windowStart(firstIndex_)) {}

std::int64_t FrameCutter::windowStart(std::int64_t frameIndex) const {
    return frameIndex * hop_ - window_ / 2;
}

void FrameCutter::consume(const float* samples, std::size_t count, std::int64_t firstFrame) {
    // Before the recording's first frame there is silence.
    const std::int64_t haveEnd = bufferStart_ + std::int64_t(buffer_.size());
    if (firstFrame > haveEnd)
        buffer_.resize(buffer_.size() + std::size_t(firstFrame - haveEnd), 0.0f);
    const std::int64_t skip =
        std::max<std::int64_t>(0, bufferStart_ + std::int64_t(buffer_.size()) - firstFrame);
    if (skip < std::int64_t(count))
        buffer_.insert(buffer_.end(), samples + skip, samples + count);
    emitReady(bufferStart_ + std::int64_t(buffer_.size()));
}

void FrameCutter::finish(std::int64_t signalEndFrame) {
    // Frames whose centre is still signal get their window padded with silence.
    const std::int64_t lastIndex = std::min(endIndex_, (signalEndFrame + hop_ - 1) / hop_);
    const std::int64_t haveEnd = bufferStart_ + std::int64_t(buffer_.size());
    if (lastIndex > nextIndex_) {
        const std::int64_t needEnd = windowStart(lastIndex - 1) + window_;
        if (haveEnd > signalEndFrame)
            buffer_.resize(std::size_t(std::max<std::int64_t>(0, signalEndFrame - bufferStart_)));
        if (needEnd > bufferStart_ + std::int64_t(buffer_.size()))
            buffer_.resize(std::size_t(needEnd - bufferStart_), 0.0f);
        endIndex_ = lastIndex;
        emitReady(needEnd);
    }
    buffer_.clear();
}

void FrameCutter::emitReady(std::int64_t lastUsableFrame) {
    while (nextIndex_ < endIndex_ && windowStart(nextIndex_) + window_ <= lastUsableFrame) {
        const std::int64_t offset = windowStart(nextIndex_) - bufferStart_;
        onFrame_(nextIndex_, buffer_.data() + offset);
        ++nextIndex_;
    }
    // Drop what no later window reaches, in large steps so the copy stays cheap.
    const std::int64_t keepFrom = windowStart(nextIndex_);
    if (keepFrom - bufferStart_ > 8 * window_ + 4096) {
        buffer_.erase(buffer_.begin(), buffer_.begin() + (keepFrom - bufferStart_));
        bufferStart_ = keepFrom;
    }
}

} // namespace analysis
