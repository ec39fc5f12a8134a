#pragma once

// A queue's settings that the caller sets and the other threads read as they go: volume,
// play rate and pitch, and whether the time/pitch stage follows them. Out-of-range values
// are clamped; values that are not numbers are refused and change nothing.
//
// Thread contract: atomics only, no lock. Any thread sets and gets; the real-time thread
// reads the volume, the feeder the rest.

#include "platform/audio_queue/AudioQueue.h"

#include <atomic>
#include <cstdint>

namespace platform {

class QueueParameters {
public:
    OSStatus set(AudioQueueParameterID parameter, float value);
    OSStatus get(AudioQueueParameterID parameter, float* value) const;
    // The properties kept here: EnableTimePitch and TimePitchAlgorithm.
    OSStatus setProperty(AudioQueuePropertyID property, std::uint32_t value);
    OSStatus getProperty(AudioQueuePropertyID property, std::uint32_t* value) const;

    float volume() const noexcept { return volumeValue.load(std::memory_order_relaxed); }
    // What the stretcher is to do: the caller's rate and pitch while time/pitch is on,
    // otherwise plain playback.
    struct Stretch {
        double rate, cents;
    };
    Stretch stretch() const;

private:
    std::atomic<float> volumeValue{1.0f}, rate{1.0f}, pitchCents{0.0f};
    std::atomic<bool> timePitchEnabled{false};
    std::atomic<std::uint32_t> timePitchAlgorithm{kAudioQueueTimePitchAlgorithm_Spectral};
};

} // namespace platform
