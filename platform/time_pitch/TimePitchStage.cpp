#include "platform/time_pitch/TimePitchStage.h"

#include <algorithm>
#include <cmath>
#include <rubberband/RubberBandStretcher.h>

namespace platform {

using RubberBand::RubberBandStretcher;

TimePitchStage::TimePitchStage() {
    for (auto& channel : planarIn)
        channel.assign(kFeedFrames, 0.0f);
    for (auto& channel : planarOut)
        channel.assign(kRetrieveFrames, 0.0f);
}

TimePitchStage::~TimePitchStage() = default;

void TimePitchStage::configure(double fileRate_, double deviceRate_) {
    if (stretcher && fileRate_ == fileRate && deviceRate_ == deviceRate)
        return;
    fileRate = fileRate_;
    deviceRate = deviceRate_;
    // Pitch: resample after stretching, whichever way the pitch goes. Resampling the input
    // instead (cheaper for upward shifts) puts a pitch change behind all the input the
    // stretcher holds, about 90 ms at rate 1, before it is heard; after stretching it is
    // heard with the next block that is rendered.
    const auto options = RubberBandStretcher::OptionProcessRealTime |
                         RubberBandStretcher::OptionEngineFiner |
                         RubberBandStretcher::OptionPitchHighConsistency;
    stretcher =
        std::make_unique<RubberBandStretcher>(std::size_t(std::lround(fileRate)), 2, options,
                                              deviceRate / fileRate, fileRate / deviceRate);
    stretcher->setMaxProcessSize(kFeedFrames);
    appliedRate = 1;
    appliedCents = 0;
}

void TimePitchStage::setParameters(double rate, double cents) {
    if (rate == appliedRate && cents == appliedCents)
        return;
    // The time ratio also stretches to the device's rate, and the pitch scale takes that
    // shift back out.
    stretcher->setTimeRatio(deviceRate / fileRate / rate);
    stretcher->setPitchScale(std::exp2(cents / 1200.0) * fileRate / deviceRate);
    appliedRate = rate;
    appliedCents = cents;
}

void TimePitchStage::startRun() {
    stretcher->reset();
    stretcher->setTimeRatio(deviceRate / fileRate / appliedRate);
    stretcher->setPitchScale(std::exp2(appliedCents / 1200.0) * fileRate / deviceRate);
    // Real-time mode does no alignment of its own: lead in with the silence it prefers and
    // drop the delay it reports, so source frame 0 is the first frame out.
    std::fill(planarIn[0].begin(), planarIn[0].end(), 0.0f);
    std::fill(planarIn[1].begin(), planarIn[1].end(), 0.0f);
    const float* channels[2] = {planarIn[0].data(), planarIn[1].data()};
    for (std::size_t pad = stretcher->getPreferredStartPad(); pad > 0;) {
        const std::size_t n = std::min(pad, kFeedFrames);
        stretcher->process(channels, n, false);
        pad -= n;
    }
    outputToDiscard = stretcher->getStartDelay();
    fed = 0;
    written = 0;
    inputEnded = false;
    flushLeft = 0;
}

void TimePitchStage::process(const float* interleaved, std::size_t frames) {
    frames = std::min(frames, kFeedFrames);
    for (std::size_t i = 0; i < frames; ++i) {
        planarIn[0][i] = interleaved[2 * i];
        planarIn[1][i] = interleaved[2 * i + 1];
    }
    const float* channels[2] = {planarIn[0].data(), planarIn[1].data()};
    stretcher->process(channels, frames, false);
    fed += double(frames);
}

double TimePitchStage::outputLeftAfterInput() const {
    return std::max(0.0, (fed - written) / sourcePerOutput());
}

bool TimePitchStage::reachedEnd() const {
    return inputEnded && outputLeftAfterInput() < 0.5;
}

bool TimePitchStage::flushBlock() {
    // The stretcher holds back up to a window of input plus its delay. Silence pushes that
    // out, a block at a time so the caller can pass on output between blocks. Never a
    // final block: that makes the stretcher render its whole tail in one call, which at a
    // slow rate takes long enough to leave a device waiting just before the last frames;
    // the tail beyond the input is cut anyway.
    if (!inputEnded) {
        inputEnded = true;
        flushLeft =
            4 * (stretcher->getPreferredStartPad() + stretcher->getSamplesRequired() + kFeedFrames);
    }
    if (reachedEnd() || flushLeft == 0)
        return false;
    std::fill(planarIn[0].begin(), planarIn[0].end(), 0.0f);
    std::fill(planarIn[1].begin(), planarIn[1].end(), 0.0f);
    const float* channels[2] = {planarIn[0].data(), planarIn[1].data()};
    const std::size_t n = std::min(flushLeft, kFeedFrames);
    flushLeft -= n;
    stretcher->process(channels, n, false);
    return true;
}

std::size_t TimePitchStage::available() const {
    const int frames = stretcher->available();
    if (frames <= 0 || reachedEnd())
        return 0;
    return std::size_t(frames);
}

std::size_t TimePitchStage::retrieve(float* interleaved, std::size_t frames, double* sourceStart) {
    frames = std::min(frames, kRetrieveFrames);
    float* channels[2] = {planarOut[0].data(), planarOut[1].data()};
    const std::size_t got = stretcher->retrieve(channels, frames);
    const std::size_t first = std::min(outputToDiscard, got);
    outputToDiscard -= first;
    std::size_t count = got - first;
    if (inputEnded)
        count = std::min(count, std::size_t(std::llround(outputLeftAfterInput())));
    for (std::size_t i = 0; i < count; ++i) {
        interleaved[2 * i] = planarOut[0][first + i];
        interleaved[2 * i + 1] = planarOut[1][first + i];
    }
    *sourceStart = written;
    written += double(count) * sourcePerOutput();
    return count;
}

} // namespace platform
