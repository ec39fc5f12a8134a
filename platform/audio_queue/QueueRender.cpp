#include "platform/audio_queue/QueueRender.h"

#include <algorithm>
#include <chrono>
#include <cmath>

namespace platform {

namespace {
// A lead-in longer than this is refused: it is a pause between passes, not a second file.
constexpr double kMaxLeadInSeconds = 60;
} // namespace

QueueRender::QueueRender(SpscRing<float>& ring_, HeardClock& heard_, WakeSignal& wake_,
                         const QueueParameters& parameters_, double deviceRate_)
    : ring(ring_), heard(heard_), wake(wake_), parameters(parameters_), deviceRate(deviceRate_) {}

bool QueueRender::validLeadIn(const AudioQueueLeadIn& leadIn) {
    return std::isfinite(leadIn.seconds) && leadIn.seconds >= 0 &&
           leadIn.seconds <= kMaxLeadInSeconds && std::isfinite(leadIn.beatsPerMinute) &&
           leadIn.beatsPerMinute >= 0;
}

void QueueRender::beginRun(const AudioQueueLeadIn& leadIn) {
    freshStart.store(true);
    renderCyclesAtRunStart.store(renderCycles.load());
    leadInFrames.store(std::uint32_t(std::lround(leadIn.seconds * deviceRate)),
                       std::memory_order_relaxed);
    leadInBeatFrames.store(
        leadIn.beatsPerMinute > 0
            ? std::uint32_t(std::lround(60.0 / leadIn.beatsPerMinute * deviceRate))
            : 0,
        std::memory_order_relaxed);
    leadInBeatsPerBar.store(leadIn.beatsPerBar, std::memory_order_relaxed);
    leadInGeneration.fetch_add(1, std::memory_order_release);
    rtPlaying.store(true, std::memory_order_release);
}

std::uint32_t QueueRender::renderLeadIn(float* out, std::uint32_t frames) noexcept {
    if (const std::uint64_t generation = leadInGeneration.load(std::memory_order_acquire);
        generation != rtLeadInGeneration) {
        rtLeadInGeneration = generation;
        rtLeadInLeft = leadInFrames.load(std::memory_order_relaxed);
        rtCountIn = CountIn{rtLeadInLeft, leadInBeatFrames.load(std::memory_order_relaxed),
                            leadInBeatsPerBar.load(std::memory_order_relaxed), deviceRate};
    }
    const std::uint32_t n = std::min(frames, rtLeadInLeft);
    for (std::uint32_t i = 0; i < n; ++i)
        out[2 * i] = out[2 * i + 1] = countInSample(rtCountIn, rtLeadInLeft - i);
    rtLeadInLeft -= n;
    return n;
}

std::uint32_t QueueRender::render(float* out, std::uint32_t frames) noexcept {
    if (!rtPlaying.load(std::memory_order_acquire))
        return 0;
    renderCycles.fetch_add(1, std::memory_order_acq_rel);
    if (ringStale.load(std::memory_order_acquire))
        return 0; // a reset or stop the queue thread has not taken yet: nothing to hear
    const auto handedAt = std::chrono::steady_clock::now();
    const std::uint32_t leadIn = renderLeadIn(out, frames);
    ring.readableCount(); // takes a discard: the position below is the next frame read
    const std::uint64_t firstFrame = ring.readPosition() / 2;
    const auto fromRing = std::uint32_t(
        ring.read(out + 2 * std::size_t(leadIn), 2 * std::size_t(frames - leadIn)) / 2);
    if (fromRing > 0) {
        const double delay =
            double(latencyFrames.load(std::memory_order_relaxed) + leadIn) / deviceRate;
        heard.publish(firstFrame,
                      handedAt + std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                                     std::chrono::duration<double>(delay)),
                      fromRing);
    }
    // Below its level: the queue thread tops the ring up (it sleeps until told).
    if (ring.writePosition() - ring.readPosition() <
        2 * std::uint64_t(ringTarget.load(std::memory_order_relaxed)))
        wake.post();
    rampGain(out, leadIn + fromRing);
    return leadIn + fromRing;
}

// Ramps the gain across the block so a volume change does not click.
void QueueRender::rampGain(float* out, std::uint32_t frames) noexcept {
    const float target = parameters.volume();
    if (frames > 0) {
        const float step = (target - rtGain) / float(frames);
        for (std::uint32_t i = 0; i < frames; ++i) {
            rtGain += step;
            out[2 * i] *= rtGain;
            out[2 * i + 1] *= rtGain;
        }
        rtGain = target;
        freshStart.store(false, std::memory_order_relaxed);
    } else if (!freshStart.load(std::memory_order_relaxed)) {
        rtGain = target;
    }
}

bool QueueRender::expectsToRender() const noexcept {
    if (!rtPlaying.load(std::memory_order_acquire))
        return false;
    const std::uint64_t end = endPosition.load(std::memory_order_acquire);
    return end == UINT64_MAX || ring.readPosition() < end || awaitsFirstCycle();
}

bool QueueRender::awaitsFirstCycle() const noexcept {
    return renderCycles.load(std::memory_order_acquire) ==
           renderCyclesAtRunStart.load(std::memory_order_acquire);
}

bool QueueRender::endHeard() const {
    const std::uint64_t end = endPosition.load();
    return end != UINT64_MAX && ring.readPosition() >= end && !awaitsFirstCycle();
}

} // namespace platform
