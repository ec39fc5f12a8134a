#pragma once

// The source frame being heard, as a moment and a pace: the real-time thread publishes,
// for each device cycle, the source frame that the block's first frame stands for, the
// steady-clock time it will be heard and how fast the source moves; readers carry that on
// to any moment, so a playhead moves with the sound between device cycles.
//
//   feeding thread    note(): output frame -> source frame mappings, as they change
//   real-time thread  publish(): block at output frame p, heard at T, n frames long
//   any thread        at(t) = source(p) + (t - T) * source frames per second
//                     (carried on for at most two blocks past T: a pause holds it)
//
// A new run (restart) or a reset (invalidate) makes what was published before it stale:
// at() says nothing until the real-time thread has reached the new run's frames.
//
// Thread contract: note() and restart() from the one thread feeding the ring at a time;
// publish() from the real-time thread only (no lock, no allocation); invalidate() and at()
// from any thread. Published values go through a sequence count: a reader retries while a
// publish is under way, the writer never waits.

#include "platform/audio_queue/SpscRing.h"

#include <atomic>
#include <chrono>
#include <cstdint>

namespace platform {

class HeardClock {
public:
    using Clock = std::chrono::steady_clock;

    explicit HeardClock(double deviceRate) : deviceRate(deviceRate) {}

    // Feeding thread: a new run whose source frame 0 is at output frame `outputFrame`.
    void restart(std::uint64_t outputFrame);
    // Feeding thread: output frames from `outputFrame` on stand for source frames from
    // `sourceFrame` on, `sourcePerOutput` per frame. One that only carries on the mapping
    // before it (within half a frame) is not passed on.
    void note(std::uint64_t outputFrame, double sourceFrame, double sourcePerOutput);
    // Any thread: what was published so far is stale (a reset).
    void invalidate() { generation.fetch_add(1, std::memory_order_acq_rel); }

    // Real-time thread: the block about to be handed to the device starts at output frame
    // `outputFrame`, is heard from `heardAt` on, and has `frames` frames from the ring.
    void publish(std::uint64_t outputFrame, Clock::time_point heardAt,
                 std::uint32_t frames) noexcept;

    // Any thread: the source frame heard at `time`; false when nothing of the current run
    // has been published.
    bool at(Clock::time_point time, double* sourceFrame) const;

private:
    struct Mapping {
        std::uint64_t outputFrame = 0;
        double sourceFrame = 0;
        double sourcePerOutput = 0;
        std::uint64_t generation = 0;
    };
    void push(const Mapping& mapping);

    const double deviceRate;
    SpscRing<Mapping> pending{256};
    std::atomic<std::uint64_t> generation{0};
    Mapping lastPushed;        // feeding thread
    bool pushedAny = false;    // feeding thread
    Mapping rtCurrent, rtNext; // real-time thread
    bool rtHaveCurrent = false, rtHaveNext = false;

    std::atomic<std::uint64_t> sequence{0}; // odd while a publish is under way
    std::atomic<double> heardSource{0};
    std::atomic<std::int64_t> heardAtNanoseconds{0};
    std::atomic<double> sourcePerSecond{0};
    std::atomic<std::int64_t> horizonNanoseconds{0};
    std::atomic<std::uint64_t> heardGeneration{UINT64_MAX};
};

} // namespace platform
