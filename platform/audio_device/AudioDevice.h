#pragma once

// The output device that every audio queue plays through: one stereo 32-bit float stream,
// opened once and kept open for the life of the program. Queues attach themselves as
// sources; the device mixes whatever its sources produce and renders silence when none
// has anything to play.
//
// Two kinds exist: the real output (RtAudioDevice, driven by the sound system's real-time
// thread) and the offline device (OfflineAudioDevice, pulled block by block by a caller,
// as fast as the machine allows). The queue code cannot tell them apart.
//
// Thread contract:
// - attach, detach, prepareToPlay, sampleRate, outputLatencyFrames: any non-real-time
//   thread.
// - AudioRenderSource::renderAudio is called on the device's real-time thread (or the
//   offline caller's thread) and must not lock, allocate, log or do I/O.
// - detach returns only once the source is no longer being called, so its owner may
//   destroy it right after.

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

namespace platform {

class AudioRenderSource {
public:
    virtual ~AudioRenderSource() = default;

    // Writes up to `frames` interleaved stereo frames to `out` and returns how many it
    // wrote; the device fills the rest with silence (and mixes, when several sources
    // play). Real-time thread.
    virtual std::uint32_t renderAudio(float* out, std::uint32_t frames) noexcept = 0;

    // True while the source has started playing and has not yet handed over its last
    // frame, so a short render means "not ready yet" rather than "nothing to play". The
    // offline device waits for such a source instead of inventing silence. Any thread.
    virtual bool expectsToRender() const noexcept = 0;
};

class AudioDevice {
public:
    static constexpr int kMaxSources = 8;
    static constexpr std::uint32_t kMaxBlockFrames = 4096;

    virtual ~AudioDevice() = default;

    // Frames per second of the stream. A real device that is not open yet reports the
    // rate it will ask for.
    virtual double sampleRate() const = 0;

    // How many frames lie between handing a frame to the device and hearing it.
    virtual std::uint32_t outputLatencyFrames() const = 0;

    // False while a real device plays silently because no sound system takes its output
    // (none at launch, or it went away). Any thread.
    virtual bool isAudible() const { return true; }

    // True when the device takes its frames at the pace of real time (a sound card or a
    // sound server), false when a caller pulls them as fast as it can.
    virtual bool rendersInRealTime() const { return true; }

    // How many frames a source should keep rendered ahead of the device: what the device
    // may take in one render call, with room for the source's thread to wake up.
    virtual std::uint32_t framesToKeepReady() const = 0;

    // Called before a source starts playing: a real device that has lost its sound server
    // (or never had one) tries once to open it again here. Never blocks for long.
    virtual void prepareToPlay(double preferredSampleRate) = 0;

    // Adds a source; false when all slots are taken. The source must stay alive until
    // detach has returned.
    bool attach(AudioRenderSource* source);
    void detach(AudioRenderSource* source);

protected:
    // Renders `frames` frames from every attached source into `out` (mixing when there
    // are several), silence where they have nothing. Returns the largest count any
    // source delivered. Real-time safe, and never runs twice at once (a second caller
    // gets silence). `scratch` holds at least kMaxBlockFrames frames.
    // `expecting`, if given, tells whether a source still expects to render: asked here,
    // inside the render, because a source may be gone as soon as the render has ended.
    std::uint32_t mixSources(float* out, float* scratch, std::uint32_t frames,
                             bool* expecting = nullptr) noexcept;

    // Renders `seconds` worth of frames from the sources and drops them, at the pace a
    // device would take them, for a device that has lost its sound system. Returns whether
    // a source still expects to render. One thread only (the device's clock).
    bool playSilently(double seconds);

private:
    std::vector<float> silentBlock, silentScratch;
    double silentOwed = 0;

    std::atomic<AudioRenderSource*> sources[kMaxSources]{};
    std::atomic<bool> rendering{false};
    // Odd while mixSources runs, so detach can wait out a render in progress.
    std::atomic<std::uint64_t> renderSequence{0};
};

// What the real outputs (PulseAudioDevice, RtAudioDevice) report alike, from atomics their
// own threads set: the stream's rate, its latency while a sound system takes its output,
// and whether one does.
class RealTimeAudioDevice : public AudioDevice {
public:
    double sampleRate() const override { return rate.load(std::memory_order_acquire); }
    std::uint32_t outputLatencyFrames() const override {
        return audible.load(std::memory_order_acquire) ? latencyFrames.load() : 0;
    }
    bool isAudible() const override { return audible.load(std::memory_order_acquire); }

protected:
    std::atomic<double> rate{44100.0};
    std::atomic<std::uint32_t> latencyFrames{0};
    std::atomic<bool> opened{false};  // a stream was opened at least once: its rate is kept
    std::atomic<bool> audible{false}; // a sound system takes the stream's output
    std::atomic<bool> silentLogged{false};
};

// The device new queues play through. Until one is set, the first call opens the real
// output device (RtAudioDevice) and keeps it for the rest of the program. Tests and the
// render mode set an OfflineAudioDevice instead. Any thread.
std::shared_ptr<AudioDevice> defaultAudioDevice();
void setDefaultAudioDevice(std::shared_ptr<AudioDevice> device);

} // namespace platform
