#pragma once

// The real output: a stereo float stream on RtAudio, trying PulseAudio (which PipeWire
// also serves), then ALSA, then JACK on Linux and CoreAudio on macOS. The stream is opened
// on the first prepareToPlay, at the rate asked for if the device takes it, and then kept
// open across files and queues; a queue whose file has another rate converts in its own
// time/pitch stage, so the device is never reopened for that.
//
// No sound server, or a device that goes away while playing, must not stop the program:
// a clock thread of the device's own then pulls the sources at the pace of real time and
// drops what they render, so playback goes on silently with its timing intact. That is
// logged once. The next prepareToPlay tries to open a device again.
//
// Threads: the RtAudio callback thread renders (real-time rules apply to it); the clock
// thread watches the callback and stands in for it when it stops; everything else is
// called from non-real-time threads, serialised by an internal lock.

#include "platform/audio_device/AudioDevice.h"

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

class RtAudio;

namespace platform {

class RtAudioDevice : public AudioDevice {
public:
    // `bufferFrames`: the block the sound system asks for at a time; smaller is less
    // latency and more wake-ups.
    explicit RtAudioDevice(std::uint32_t bufferFrames = 512);
    ~RtAudioDevice() override;

    double sampleRate() const override;
    std::uint32_t outputLatencyFrames() const override;
    void prepareToPlay(double preferredSampleRate) override;

    // True while a sound system takes the output (false: playing silently).
    bool isAudible() const { return audible.load(std::memory_order_acquire); }

    // Called by RtAudio on its callback thread.
    int renderCallback(float* out, unsigned frames, bool deviceUnderflow) noexcept;
    void reportStreamError() noexcept { streamFailed.store(true, std::memory_order_release); }

private:
    bool openStream(double preferredSampleRate); // with `lock` held
    void closeStream();                          // with `lock` held
    void clockThreadMain();

    std::mutex lock;
    std::unique_ptr<RtAudio> rtAudio;
    std::uint32_t requestedBufferFrames;
    std::atomic<double> rate{44100.0};
    std::atomic<std::uint32_t> latencyFrames{0};
    std::atomic<bool> opened{false};  // a stream was opened at least once
    std::atomic<bool> audible{false}; // the stream's callback is delivering
    std::atomic<bool> streamFailed{false};
    std::atomic<bool> silentLogged{false};
    std::atomic<std::uint64_t> callbacks{0};
    std::atomic<std::chrono::steady_clock::time_point> openedAt{};
    std::atomic<bool> quit{false};
    std::vector<float> callbackScratch;
    std::thread clock;
};

} // namespace platform
