#include "analysis/tonal/ConstantQStream.h"

#include <algorithm>
#include <cmath>

namespace tonal {

namespace {
constexpr double kHopSeconds = 0.18;
constexpr std::size_t kSubBlock = 4096; // samples through the cascade between frame checks
} // namespace

ConstantQStream::ConstantQStream(double sampleRate, std::int64_t hopFrames, std::int64_t firstInput,
                                 std::int64_t firstFrame, std::int64_t endFrame,
                                 FrameHandler onFrame)
    : cascade_(sampleRate, kOctaveLevels), constantQ_(cascade_), hop_(hopFrames), start_(0),
      nextFrame_(std::max<std::int64_t>(0, firstFrame)), endFrame_(endFrame),
      onFrame_(std::move(onFrame)), bins_(kFineBinCount) {
    const std::int64_t alignment = cascade_.alignment();
    start_ = (std::max<std::int64_t>(0, firstInput) + alignment - 1) / alignment * alignment;
    cascade_.restart(start_);
}

ConstantQStream::~ConstantQStream() = default;

std::int64_t ConstantQStream::reachBefore(double sampleRate) {
    const OctaveCascade cascade(sampleRate, kOctaveLevels);
    const ConstantQ constantQ(cascade);
    const std::int64_t centre = 64 * cascade.alignment();
    return centre - constantQ.firstInputFor(centre) + cascade.alignment();
}

std::int64_t ConstantQStream::reachAfter(double sampleRate) {
    const OctaveCascade cascade(sampleRate, kOctaveLevels);
    const ConstantQ constantQ(cascade);
    const std::int64_t centre = 64 * cascade.alignment();
    return constantQ.inputEndFor(centre) - centre;
}

std::int64_t ConstantQStream::hopFramesFor(double sampleRate) {
    const std::int64_t alignment = OctaveCascade(sampleRate, kOctaveLevels).alignment();
    return std::max<std::int64_t>(1, std::llround(kHopSeconds * sampleRate / double(alignment))) *
           alignment;
}

void ConstantQStream::push(const float* samples, std::size_t count, std::int64_t firstInput) {
    // Skip what lies before the aligned start.
    const std::int64_t skip = std::clamp<std::int64_t>(start_ - firstInput, 0, std::int64_t(count));
    samples += skip;
    count -= std::size_t(skip);
    while (count > 0) {
        const std::size_t n = std::min(count, kSubBlock);
        cascade_.push(samples, n);
        samples += n;
        count -= n;
        computeReady(endFrame_);
    }
}

void ConstantQStream::finish(std::int64_t signalEnd) {
    const std::int64_t limit = std::min(endFrame_, (signalEnd + hop_ - 1) / hop_);
    if (nextFrame_ < limit) {
        const std::int64_t end = constantQ_.inputEndFor((limit - 1) * hop_);
        const std::vector<float> silence(kSubBlock, 0.0f);
        while (cascade_.nextInput() < end) {
            cascade_.push(silence.data(),
                          std::size_t(std::min<std::int64_t>(std::int64_t(kSubBlock),
                                                             end - cascade_.nextInput())));
            computeReady(limit);
        }
    }
}

void ConstantQStream::computeReady(std::int64_t frameLimit) {
    while (nextFrame_ < frameLimit && constantQ_.ready(cascade_, nextFrame_ * hop_)) {
        if (constantQ_.compute(cascade_, nextFrame_ * hop_, bins_.data()))
            onFrame_(nextFrame_, bins_);
        ++nextFrame_;
        constantQ_.discardBefore(cascade_, nextFrame_ * hop_);
    }
}

} // namespace tonal
