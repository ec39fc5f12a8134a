#include "platform/audio_queue/HeardClock.h"

#include <algorithm>
#include <cmath>

namespace platform {

void HeardClock::restart(std::uint64_t outputFrame) {
    const std::uint64_t run = generation.fetch_add(1, std::memory_order_acq_rel) + 1;
    push({outputFrame, 0.0, 0.0, run});
}

void HeardClock::note(std::uint64_t outputFrame, double sourceFrame, double sourcePerOutput) {
    const std::uint64_t run = generation.load(std::memory_order_acquire);
    if (pushedAny && lastPushed.generation == run &&
        lastPushed.sourcePerOutput == sourcePerOutput && outputFrame >= lastPushed.outputFrame) {
        const double carriedOn =
            lastPushed.sourceFrame +
            double(outputFrame - lastPushed.outputFrame) * lastPushed.sourcePerOutput;
        if (std::fabs(carriedOn - sourceFrame) < 0.5)
            return;
    }
    push({outputFrame, sourceFrame, sourcePerOutput, run});
}

void HeardClock::push(const Mapping& mapping) {
    // Full only if the real-time thread has stopped taking them (no device cycles): the
    // mapping is then lost, and the next one that differs goes instead.
    if (pending.write(&mapping, 1) == 1) {
        lastPushed = mapping;
        pushedAny = true;
    }
}

void HeardClock::publish(std::uint64_t outputFrame, Clock::time_point heardAt,
                         std::uint32_t frames) noexcept {
    // Every mapping that starts at or before the block's first frame is in force by now.
    for (;;) {
        if (!rtHaveNext && pending.read(&rtNext, 1) == 0)
            break;
        rtHaveNext = true;
        if (rtNext.outputFrame > outputFrame)
            break;
        rtCurrent = rtNext;
        rtHaveCurrent = true;
        rtHaveNext = false;
    }
    if (!rtHaveCurrent)
        return;
    const double ahead =
        outputFrame > rtCurrent.outputFrame ? double(outputFrame - rtCurrent.outputFrame) : 0.0;
    const std::uint64_t s = sequence.load(std::memory_order_relaxed);
    sequence.store(s + 1, std::memory_order_relaxed);
    std::atomic_thread_fence(std::memory_order_release);
    heardSource.store(rtCurrent.sourceFrame + ahead * rtCurrent.sourcePerOutput,
                      std::memory_order_relaxed);
    heardAtNanoseconds.store(
        std::chrono::duration_cast<std::chrono::nanoseconds>(heardAt.time_since_epoch()).count(),
        std::memory_order_relaxed);
    sourcePerSecond.store(rtCurrent.sourcePerOutput * deviceRate, std::memory_order_relaxed);
    // Carried on past the block for as long again: a late cycle does not stall the
    // playhead, a pause (no more cycles) does not run it far ahead.
    horizonNanoseconds.store(std::int64_t(2e9 * double(frames) / deviceRate),
                             std::memory_order_relaxed);
    heardGeneration.store(rtCurrent.generation, std::memory_order_relaxed);
    sequence.store(s + 2, std::memory_order_release);
}

bool HeardClock::at(Clock::time_point time, double* sourceFrame) const {
    for (;;) {
        const std::uint64_t s = sequence.load(std::memory_order_acquire);
        if (s & 1)
            continue;
        const double source = heardSource.load(std::memory_order_relaxed);
        const std::int64_t heardAt = heardAtNanoseconds.load(std::memory_order_relaxed);
        const double pace = sourcePerSecond.load(std::memory_order_relaxed);
        const std::int64_t horizon = horizonNanoseconds.load(std::memory_order_relaxed);
        const std::uint64_t run = heardGeneration.load(std::memory_order_relaxed);
        std::atomic_thread_fence(std::memory_order_acquire);
        if (sequence.load(std::memory_order_relaxed) != s)
            continue;
        if (run != generation.load(std::memory_order_acquire))
            return false;
        const std::int64_t now =
            std::chrono::duration_cast<std::chrono::nanoseconds>(time.time_since_epoch()).count();
        const std::int64_t elapsed = std::min(now - heardAt, horizon);
        *sourceFrame = std::max(0.0, source + 1e-9 * double(elapsed) * pace);
        return true;
    }
}

} // namespace platform
