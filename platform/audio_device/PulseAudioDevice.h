#pragma once

// The real output on a PulseAudio server (and PipeWire's PulseAudio server, which modern
// desktops run), through libpulse's asynchronous API: one stereo float stream, opened at
// the first prepareToPlay at the rate asked for and kept.
//
// Why not a blocking write: the server keeps a buffer of its own for the stream
// (kTargetLatency long) and asks for more as it plays; this device answers each request
// with what the sources have ready. A source that is late gets its frames written a moment
// later instead of a hole of silence, so the server's buffer, not the source's, is what
// absorbs a slow wake-up. Only when that buffer runs dry is anything missed.
//
// The server's buffer is also the delay between a source handing over a frame and hearing
// it, and it is reported as such (outputLatencyFrames, from the server's timing).
//
// While nothing has played for a second the stream is corked, so no thread wakes for
// silence. A server that dies or was never there must not stop the program: the device
// then plays silently at the pace of real time (DeviceClock.h), and the next prepareToPlay
// tries to connect again.
//
// Threads: libpulse's mainloop thread renders (real-time rules apply to it: it only mixes
// the sources and writes to the stream; it asks for real-time scheduling); the clock
// thread stands in while there is no server; every other call comes from non-real-time
// threads and is serialised by an internal lock.

#include "platform/audio_device/AudioDevice.h"
#include "platform/audio_device/DeviceClock.h"

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <vector>

struct pa_threaded_mainloop;
struct pa_context;
struct pa_stream;
struct pa_time_event;
struct pa_mainloop_api;
struct timeval;

namespace platform {

class PulseAudioDevice : public RealTimeAudioDevice {
public:
    // Connects to the server at once if one answers; otherwise the device starts silent.
    PulseAudioDevice();
    ~PulseAudioDevice() override;

    // True when a server answered (at construction, or at the last prepareToPlay).
    bool hasServer();

    std::uint32_t framesToKeepReady() const override;
    void prepareToPlay(double preferredSampleRate) override;

    static constexpr std::chrono::milliseconds kTargetLatency{60};

private:
    struct Connection;

    // With `lock` held.
    bool connectServer();
    bool contextReady();
    bool openStream(double preferredSampleRate);
    void disconnect();
    void drain(); // lets the server play out what it holds
    void askForRealtime();
    // Polls `check` (1 done, 0 not yet, -1 failed) under the mainloop's lock, for a while.
    template <typename Check> bool waitUntil(Check check);
    bool clockTick(double elapsedSeconds);

    // The mainloop thread.
    static void onContextState(pa_context* context, void* self);
    static void onStreamState(pa_stream* stream, void* self);
    static void onWrite(pa_stream* stream, std::size_t bytes, void* self);
    static void onRetry(pa_mainloop_api* api, pa_time_event* event, const timeval* when,
                        void* self);
    void fill(pa_stream* stream, std::size_t bytes) noexcept;
    void noteLatency(pa_stream* stream, double streamRate) noexcept;
    void lostServer() noexcept;

    std::mutex lock;
    std::unique_ptr<Connection> connection;
    std::atomic<std::uint32_t> requestFrames{0}; // what the server asks for at a time
    std::atomic<std::uint32_t> bufferFrames{0};  // what the server keeps in its buffer
    std::atomic<int> renderThread{0};            // kernel id of the mainloop thread
    std::atomic<bool> priorityLogged{false};

    // Mainloop-thread state.
    std::vector<float> scratch;
    double idleFrames = 0; // frames written since a source last expected to render
    bool corked = false;
    bool draining = false;
    pa_time_event* retry = nullptr;

    std::unique_ptr<DeviceClock> clock; // last: its thread uses all of the above
};

} // namespace platform
