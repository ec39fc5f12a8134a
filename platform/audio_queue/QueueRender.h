#pragma once

// The real-time side of a queue: each device cycle it plays the lead-in (silence or a
// count-in) of a run that starts, then what the feeder put in the ring, ramps the volume
// across the block, tells the heard clock what is heard when, and wakes the feeder when
// the ring runs low. It also knows when the last frame of a run has been taken.
//
//   ring   ...|---- stale (before a stop or reset) ----|---- this run ----|  end
//   device          not heard: ringStale set             lead-in, then ring  endHeard()
//
// Thread contract: atomics only, no lock, no allocation. render() and expectsToRender()
// on the real-time thread; beginRun/setPlaying/setStale from the queue's calls under its
// control lock; the end and the ring's level from the feeder; the queries from any thread.

#include "platform/audio_device/WakeSignal.h"
#include "platform/audio_queue/AudioQueue.h"
#include "platform/audio_queue/CountIn.h"
#include "platform/audio_queue/HeardClock.h"
#include "platform/audio_queue/QueueParameters.h"
#include "platform/audio_queue/SpscRing.h"

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace platform {

class QueueRender {
public:
    QueueRender(SpscRing<float>& ring, HeardClock& heard, WakeSignal& wake,
                const QueueParameters& parameters, double deviceRate);

    // Real-time thread.
    std::uint32_t render(float* out, std::uint32_t frames) noexcept;
    bool expectsToRender() const noexcept;

    // A start from stopped: takes the lead-in and plays from the next cycle on.
    void beginRun(const AudioQueueLeadIn& leadIn);
    void setPlaying(bool playing) { rtPlaying.store(playing, std::memory_order_release); }
    // What the ring holds is from before a stop or reset until the feeder has discarded it.
    void setStale(bool stale) { ringStale.store(stale, std::memory_order_release); }
    static bool validLeadIn(const AudioQueueLeadIn& leadIn);

    // The feeder, but for the ring's target level, which a start sets from the device.
    void setLatency(std::uint32_t frames) {
        latencyFrames.store(frames, std::memory_order_relaxed);
    }
    void setRingTarget(std::uint32_t frames) { ringTarget.store(frames); }
    std::size_t ringTargetFrames() const { return ringTarget.load(); }
    void setEnd(std::uint64_t ringPosition) { endPosition.store(ringPosition); }
    std::uint64_t end() const { return endPosition.load(); } // UINT64_MAX: not yet known

    // Any thread.
    bool awaitsFirstCycle() const noexcept;
    bool endHeard() const; // the device has taken the run's last frame

private:
    std::uint32_t renderLeadIn(float* out, std::uint32_t frames) noexcept;
    void rampGain(float* out, std::uint32_t frames) noexcept;

    SpscRing<float>& ring;
    HeardClock& heard;
    WakeSignal& wake;
    const QueueParameters& parameters;
    const double deviceRate;

    std::atomic<std::uint32_t> latencyFrames{0}; // the device's, copied for the real-time side
    std::atomic<bool> rtPlaying{false};
    std::atomic<std::uint64_t> endPosition{UINT64_MAX}; // ring position of the last sample
    std::atomic<bool> freshStart{true};                 // no frame delivered since the last start
    std::atomic<bool> ringStale{false};
    // Device cycles rendered while playing, and their count when the current run started:
    // a run ends only once the device has rendered at least once since, as a hardware
    // queue's does. Without it a looped empty range would start and stop as fast as the
    // queue thread can turn, flooding the main thread with its news.
    std::atomic<std::uint64_t> renderCycles{0}, renderCyclesAtRunStart{0};
    // Frames the ring is kept filled to: what the device takes at a time, with room.
    std::atomic<std::uint32_t> ringTarget{0};
    // The lead-in of the run being started: published before rtPlaying, and taken by the
    // real-time thread when it sees a new generation (every start from stopped makes one).
    std::atomic<std::uint32_t> leadInFrames{0}, leadInBeatFrames{0}, leadInBeatsPerBar{4};
    std::atomic<std::uint64_t> leadInGeneration{0};
    // Real-time thread only.
    float rtGain = 1.0f;
    std::uint64_t rtLeadInGeneration = 0;
    std::uint32_t rtLeadInLeft = 0;
    CountIn rtCountIn;
};

} // namespace platform
