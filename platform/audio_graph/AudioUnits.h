#pragma once

// The three units behind an AudioUnit, each with its own part of the signal path. The
// graph (GraphEngine.h) runs them: its feeding thread pulls frames from the file player,
// pushes them through the time/pitch unit and writes the result into the output unit's
// ring, which the device's real-time thread drains.
//
// Locking: every method marked "graph lock" runs with OpaqueAUGraph::engineLock held; the
// calls from the C layer take it themselves. The output unit's real-time side uses only
// its ring and atomics.

#include "platform/audio_device/AudioDevice.h"
#include "platform/audio_device/WakeSignal.h"
#include "platform/audio_graph/AudioGraph.h"
#include "platform/audio_queue/SpscRing.h"
#include "platform/time_pitch/TimePitchStage.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

namespace platform {

class OpaqueAudioUnit {
public:
    OpaqueAudioUnit(OpaqueAUGraph& graph, const AudioComponentDescription& description)
        : graph(graph), description(description) {}
    virtual ~OpaqueAudioUnit() = default;
    OpaqueAudioUnit(const OpaqueAudioUnit&) = delete;
    OpaqueAudioUnit& operator=(const OpaqueAudioUnit&) = delete;

    // The C layer has checked the scope and element already.
    virtual OSStatus setProperty(AudioUnitPropertyID property, const void* data,
                                 std::uint32_t size);
    virtual OSStatus getProperty(AudioUnitPropertyID property, void* data, std::uint32_t* size);
    virtual OSStatus setParameter(AudioUnitParameterID parameter, float value);
    virtual OSStatus getParameter(AudioUnitParameterID parameter, float* value) const;
    virtual OSStatus reset();

    OpaqueAUGraph& graph;
    const AudioComponentDescription description;
};

// Plays one region of a file: a cursor through the region, with the frames that priming
// read ahead in front of the file.
class FilePlayerUnit final : public OpaqueAudioUnit {
public:
    using OpaqueAudioUnit::OpaqueAudioUnit;

    OSStatus setProperty(AudioUnitPropertyID property, const void* data,
                         std::uint32_t size) override;
    OSStatus getProperty(AudioUnitPropertyID property, void* data, std::uint32_t* size) override;
    OSStatus reset() override;

    // Graph lock.
    double fileRate() const { return rate; }
    bool hasRegion() const { return regionSet; }
    bool isStarted() const { return regionSet && started; }
    bool isExhausted() const { return exhausted; }
    // The next frames of the region, interleaved; fewer than asked only at its end.
    std::uint32_t read(float* out, std::uint32_t frames);
    // Back to the first frame of the region (what was read ahead stays).
    void restartRegion();
    // Drops the region, the start time and what was read ahead.
    void unschedule();

private:
    OSStatus setFile(const void* data, std::uint32_t size);
    OSStatus setRegion(const void* data, std::uint32_t size);
    OSStatus prime(const void* data, std::uint32_t size);
    OSStatus setStartTime(const void* data, std::uint32_t size);
    // Reads region frames [from, from + frames) from the file itself.
    std::uint32_t readFile(std::uint32_t from, float* out, std::uint32_t frames);

    AudioFileID file = nullptr;
    double rate = 0;
    bool regionSet = false;
    ScheduledAudioFileRegion region{};
    bool started = false;
    std::uint32_t cursor = 0;     // frames of the region delivered so far
    bool exhausted = false;       // the region, or the file, has run out
    std::vector<float> readAhead; // region frames [0, readAhead.size() / 2)
    bool readFailureLogged = false;
};

// Speed and pitch: a Rubber Band stretcher in real-time mode, fed a block at a time.
class TimePitchUnit final : public OpaqueAudioUnit {
public:
    TimePitchUnit(OpaqueAUGraph& graph, const AudioComponentDescription& description);

    OSStatus setParameter(AudioUnitParameterID parameter, float value) override;
    OSStatus getParameter(AudioUnitParameterID parameter, float* value) const override;

    // Graph lock.
    // A new stretcher for frames at `fileRate` played at `deviceRate`.
    void configure(double fileRate, double deviceRate) { stretch.configure(fileRate, deviceRate); }
    bool isConfigured() const { return stretch.isConfigured(); }
    // A fresh run at the current parameters.
    void startRun();
    void applyParameters();
    TimePitchStage& stage() { return stretch; }

private:
    TimePitchStage stretch;

    // Set from any thread, applied by the feeding thread.
    std::atomic<float> rate{1.0f}, pitchCents{0.0f};
};

// The device's source: a ring of stretched frames, and the count of silence played after
// the region's last frame, which keeps the file player's time line moving.
class OutputUnit final : public OpaqueAudioUnit, public AudioRenderSource {
public:
    OutputUnit(OpaqueAUGraph& graph, const AudioComponentDescription& description,
               WakeSignal& wake);

    // Graph lock.
    void setTargetFrames(std::uint32_t frames) { target.store(frames); }
    std::uint32_t targetFrames() const { return target.load(); }
    void setPlaying(bool playing) { rtPlaying.store(playing, std::memory_order_release); }
    std::size_t levelFrames() const;
    std::uint64_t writeFrame() const { return ring.writePosition() / 2; }
    void write(const float* interleaved, std::size_t frames);
    // A new run: what the ring holds is not to be heard, the end is not known yet, and the
    // silence counted after the last end no longer counts.
    void beginRun();
    // The last frame of the run is the last one written.
    void markEnd() { endFrame.store(writeFrame(), std::memory_order_release); }
    bool hasEnd() const { return endFrame.load() != kNoEnd; }

    // Any thread but the real-time one: frames the device has taken in this run's terms
    // (past the end, the silence it was given counts too), and where the run ends.
    std::uint64_t framesTaken() const;
    std::uint64_t endFrameOfRun() const { return endFrame.load(std::memory_order_acquire); }

    // AudioRenderSource, real-time thread.
    std::uint32_t renderAudio(float* out, std::uint32_t frames) noexcept override;
    bool expectsToRender() const noexcept override;

    static constexpr std::uint64_t kNoEnd = UINT64_MAX;

private:
    static constexpr int kCountBits = 48;
    static constexpr std::uint64_t kCountMask = (std::uint64_t(1) << kCountBits) - 1;

    WakeSignal& wake;
    SpscRing<float> ring;
    std::atomic<std::uint32_t> target{0};
    std::atomic<bool> rtPlaying{false};
    std::atomic<std::uint64_t> endFrame{kNoEnd};
    // The run the silence count belongs to (its low 16 bits travel with the count).
    std::atomic<std::uint32_t> run{0};
    // (run << 48) | frames of silence the device took after the run's end.
    std::atomic<std::uint64_t> silenceAfterEnd{0};
    std::uint32_t rtRun = 0;           // real-time thread only
    std::uint64_t rtSilenceFrames = 0; // real-time thread only
};

} // namespace platform
