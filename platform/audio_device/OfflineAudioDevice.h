#pragma once

// An output device without a sound card: the caller pulls it block by block and gets
// exactly what a real device would have been given, as fast as the machine allows. Used
// by the tests and by the render mode of the play tool.
//
// While a source is playing but has not produced its next frames yet (its queue thread is
// still working), pull waits for it rather than filling in silence, so the result does not
// depend on how fast the machine is. Silence appears only where nothing is playing.
//
// Thread contract: pull from one thread at a time (any thread but a queue's own thread,
// which it may wait for). The latency is 0: a frame pulled is a frame heard.

#include "platform/audio_device/AudioDevice.h"

#include <atomic>
#include <chrono>
#include <vector>

namespace platform {

class OfflineAudioDevice : public AudioDevice {
public:
    explicit OfflineAudioDevice(double sampleRate);

    double sampleRate() const override { return rate; }
    std::uint32_t outputLatencyFrames() const override { return 0; }
    // A caller pulls blocks of up to a thousand frames or so, and waits for what is late.
    std::uint32_t framesToKeepReady() const override { return 1536; }
    bool rendersInRealTime() const override { return false; }
    void prepareToPlay(double) override {}

    // Renders `frames` interleaved stereo frames into `out`. Waits for a playing source
    // at most `patience` in all before it gives up and leaves silence, so a stuck source
    // cannot hang the caller. Returns the frames that came from a source.
    std::uint32_t pull(float* out, std::uint32_t frames,
                       std::chrono::milliseconds patience = std::chrono::milliseconds(5000));

    // Like pull, but stops at the first frame no source is going to play (nothing is
    // playing, or the patience ran out) instead of filling in silence: returns how many
    // frames it wrote, 0 when nothing plays. What a recording of the output would keep
    // once the gaps between plays are cut out.
    std::uint32_t pullPlayed(float* out, std::uint32_t frames,
                             std::chrono::milliseconds patience = std::chrono::milliseconds(5000));

    // Frames pulled so far: the device's clock. Any thread.
    std::uint64_t framesPulled() const { return pulled.load(); }

private:
    double rate;
    std::atomic<std::uint64_t> pulled{0};
    std::vector<float> scratch;
};

} // namespace platform
