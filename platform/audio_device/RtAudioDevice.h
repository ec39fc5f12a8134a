#pragma once

// The real output through RtAudio: ALSA, then JACK on Linux, CoreAudio on macOS; PulseAudio
// only when asked for (PulseAudioDevice talks to a sound server far better). The stream is opened
// on the first prepareToPlay, at the rate asked for if the device takes it, and then kept
// open across files and queues; a queue whose file has another rate converts in its own
// time/pitch stage, so the device is never reopened for that.
//
// No sound device, or one that goes away while playing, must not stop the program: the
// device's clock (DeviceClock.h) then pulls the sources at the pace of real time and drops
// what they render, so playback goes on silently with its timing intact. That is logged
// once. The next prepareToPlay tries to open a device again.
//
// Threads: the RtAudio callback thread renders (real-time rules apply to it); the clock
// thread, while something plays, watches the callback and stands in for it when it stops;
// everything else is called from non-real-time threads, serialised by an internal lock.

#include "platform/audio_device/AudioDevice.h"
#include "platform/audio_device/DeviceClock.h"

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <vector>

class RtAudio;

namespace platform {

class RtAudioDevice : public RealTimeAudioDevice {
public:
    // `bufferFrames`: the block the sound system asks for at a time; smaller is less
    // latency and more wake-ups.
    // `withPulseAudio`: also try RtAudio's own PulseAudio backend, first.
    explicit RtAudioDevice(std::uint32_t bufferFrames = 512, bool withPulseAudio = false);
    ~RtAudioDevice() override;

    // Whether any sound system RtAudio is used for here has an output device.
    static bool anyDeviceAvailable();

    std::uint32_t framesToKeepReady() const override;
    void prepareToPlay(double preferredSampleRate) override;

    // Called by RtAudio on its callback thread.
    int renderCallback(float* out, unsigned frames) noexcept;
    void reportStreamError() noexcept { streamFailed.store(true, std::memory_order_release); }

private:
    bool openStream(double preferredSampleRate); // with `lock` held
    void closeStream();                          // with `lock` held
    bool clockTick(double elapsedSeconds);       // the clock's thread

    std::mutex lock;
    std::unique_ptr<RtAudio> rtAudio;
    std::uint32_t requestedBufferFrames;
    bool withPulseAudio;
    std::atomic<std::uint32_t> bufferFrames{0};
    std::atomic<bool> lastRenderExpected{false};
    std::atomic<bool> streamFailed{false};
    std::atomic<std::uint64_t> callbacks{0};
    std::atomic<std::chrono::steady_clock::time_point> openedAt{};
    std::vector<float> callbackScratch;
    // Clock-thread state.
    std::chrono::steady_clock::time_point lastCallbackSeen{};
    std::uint64_t lastCallbacks = 0;
    std::unique_ptr<DeviceClock> clock; // last: its thread uses all of the above
};

} // namespace platform
