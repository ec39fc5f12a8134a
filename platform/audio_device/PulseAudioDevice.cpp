#include "platform/audio_device/PulseAudioDevice.h"

#include "platform/log/Log.h"
#include "platform/thread_priority/ThreadPriority.h"

#include <pulse/pulseaudio.h>
#include <pulse/rtclock.h>
#include <thread>

namespace platform {

namespace {

constexpr std::size_t kFrameBytes = 2 * sizeof(float);
// How often a late source is asked again for the rest of a request.
constexpr pa_usec_t kRetryMicroseconds = 2000;
// How long to wait for a server to answer, or a stream to be set up.
constexpr auto kConnectPatience = std::chrono::seconds(2);
// The mainloop thread's real-time priority: low among real-time threads, above all others.
constexpr int kRenderPriority = 10;

} // namespace

struct PulseAudioDevice::Connection {
    pa_threaded_mainloop* mainloop = nullptr;
    pa_context* context = nullptr;
    pa_stream* stream = nullptr;
};

PulseAudioDevice::PulseAudioDevice() : scratch(2 * std::size_t(kMaxBlockFrames)) {
    clock = std::make_unique<DeviceClock>([this](double elapsed) { return clockTick(elapsed); });
    std::lock_guard guard(lock);
    connectServer();
}

PulseAudioDevice::~PulseAudioDevice() {
    clock.reset();
    std::lock_guard guard(lock);
    drain();
    disconnect();
}

void PulseAudioDevice::drain() {
    if (!audible.load() || !connection || !connection->stream)
        return;
    pa_threaded_mainloop_lock(connection->mainloop);
    draining = true; // nothing more is written: the drain ends with what was
    pa_operation* operation =
        corked ? nullptr : pa_stream_drain(connection->stream, nullptr, nullptr);
    pa_threaded_mainloop_unlock(connection->mainloop);
    if (!operation)
        return;
    waitUntil(
        [operation] { return pa_operation_get_state(operation) == PA_OPERATION_RUNNING ? 0 : 1; });
    pa_operation_unref(operation);
}

bool PulseAudioDevice::hasServer() {
    std::lock_guard guard(lock);
    return contextReady();
}

bool PulseAudioDevice::contextReady() {
    if (!connection || !connection->mainloop || !connection->context)
        return false;
    pa_threaded_mainloop_lock(connection->mainloop);
    const bool ready = pa_context_get_state(connection->context) == PA_CONTEXT_READY;
    pa_threaded_mainloop_unlock(connection->mainloop);
    return ready;
}

std::uint32_t PulseAudioDevice::framesToKeepReady() const {
    // The server's own buffer absorbs a late source (see the header): enough for one request
    // and a bit, so a change of rate or pitch is heard soon.
    const std::uint32_t request = requestFrames.load();
    return (request > 0 ? request : 512) + 256;
}

void PulseAudioDevice::prepareToPlay(double preferredSampleRate) {
    std::lock_guard guard(lock);
    if (audible.load() && connection && connection->stream) {
        pa_threaded_mainloop_lock(connection->mainloop);
        if (corked) {
            // Drop the silence still buffered from before the cork, so the server asks for
            // fresh sound at once.
            pa_operation_unref(pa_stream_flush(connection->stream, nullptr, nullptr));
            pa_operation_unref(pa_stream_cork(connection->stream, 0, nullptr, nullptr));
            corked = false;
            idleFrames = 0;
        }
        pa_threaded_mainloop_unlock(connection->mainloop);
        return;
    }
    if (!contextReady()) {
        disconnect();
        connectServer();
    }
    if (openStream(preferredSampleRate)) {
        silentLogged.store(false);
        return;
    }
    if (!silentLogged.exchange(true))
        log("audio output: no sound server; playing silently");
    if (!opened.load() && preferredSampleRate > 0)
        rate.store(preferredSampleRate);
    clock->wake();
}

bool PulseAudioDevice::connectServer() {
    auto c = std::make_unique<Connection>();
    c->mainloop = pa_threaded_mainloop_new();
    if (!c->mainloop)
        return false;
    c->context = pa_context_new(pa_threaded_mainloop_get_api(c->mainloop), "Study Loop");
    connection = std::move(c);
    if (!connection->context)
        return false;
    pa_context_set_state_callback(connection->context, &onContextState, this);
    if (pa_context_connect(connection->context, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0 ||
        pa_threaded_mainloop_start(connection->mainloop) < 0)
        return false;
    return waitUntil([this] {
        const pa_context_state_t state = pa_context_get_state(connection->context);
        return state == PA_CONTEXT_READY ? 1 : PA_CONTEXT_IS_GOOD(state) ? 0 : -1;
    });
}

bool PulseAudioDevice::openStream(double preferredSampleRate) {
    if (!contextReady())
        return false;
    const double wanted = preferredSampleRate > 0 ? preferredSampleRate : rate.load();
    // Once a stream has run, keep its rate so that queues already made stay valid.
    const double ask = opened.load() ? rate.load() : wanted;
    const pa_sample_spec spec{PA_SAMPLE_FLOAT32LE, std::uint32_t(ask), 2};
    if (!pa_sample_spec_valid(&spec))
        return false;

    pa_threaded_mainloop_lock(connection->mainloop);
    pa_stream* stream = pa_stream_new(connection->context, "Study Loop", &spec, nullptr);
    if (!stream) {
        pa_threaded_mainloop_unlock(connection->mainloop);
        return false;
    }
    connection->stream = stream;
    pa_stream_set_state_callback(stream, &onStreamState, this);
    pa_stream_set_write_callback(stream, &onWrite, this);
    pa_buffer_attr attributes{};
    attributes.maxlength = std::uint32_t(-1);
    attributes.tlength = std::uint32_t(
        pa_usec_to_bytes(pa_usec_t(std::chrono::microseconds(kTargetLatency).count()), &spec));
    attributes.prebuf = std::uint32_t(-1);
    attributes.minreq = std::uint32_t(-1);
    attributes.fragsize = std::uint32_t(-1);
    const auto flags = pa_stream_flags_t(PA_STREAM_ADJUST_LATENCY | PA_STREAM_INTERPOLATE_TIMING |
                                         PA_STREAM_AUTO_TIMING_UPDATE);
    corked = false;
    idleFrames = 0;
    const int connected =
        pa_stream_connect_playback(stream, nullptr, &attributes, flags, nullptr, nullptr);
    pa_threaded_mainloop_unlock(connection->mainloop);
    if (connected < 0)
        return false;
    const bool ready = waitUntil([stream] {
        const pa_stream_state_t state = pa_stream_get_state(stream);
        return state == PA_STREAM_READY ? 1 : PA_STREAM_IS_GOOD(state) ? 0 : -1;
    });
    if (!ready)
        return false;

    pa_threaded_mainloop_lock(connection->mainloop);
    if (const pa_buffer_attr* granted = pa_stream_get_buffer_attr(stream)) {
        requestFrames.store(std::uint32_t(granted->minreq / kFrameBytes));
        bufferFrames.store(std::uint32_t(granted->tlength / kFrameBytes));
    }
    rate.store(double(pa_stream_get_sample_spec(stream)->rate));
    pa_threaded_mainloop_unlock(connection->mainloop);
    opened.store(true);
    audible.store(true, std::memory_order_release);
    askForRealtime();
    return true;
}

template <typename Check> bool PulseAudioDevice::waitUntil(Check check) {
    const auto deadline = std::chrono::steady_clock::now() + kConnectPatience;
    for (;;) {
        pa_threaded_mainloop_lock(connection->mainloop);
        const int result = check();
        pa_threaded_mainloop_unlock(connection->mainloop);
        if (result != 0)
            return result > 0;
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
}

void PulseAudioDevice::askForRealtime() {
    const int thread = renderThread.load();
    if (thread == 0)
        return;
    const PriorityOutcome outcome = makeThreadRealtime(thread, kRenderPriority);
    if (!priorityLogged.exchange(true)) {
        const double ms = 1000.0 / rate.load();
        log("audio output: PulseAudio, %.0f ms buffered, requests of %.0f ms; sound thread at %s",
            bufferFrames.load() * ms, requestFrames.load() * ms,
            (outcome.granted ? outcome.how : "normal priority (" + outcome.how + ")").c_str());
    }
}

void PulseAudioDevice::disconnect() {
    audible.store(false, std::memory_order_release);
    if (!connection)
        return;
    if (connection->mainloop) {
        pa_threaded_mainloop_lock(connection->mainloop);
        if (retry) {
            pa_threaded_mainloop_get_api(connection->mainloop)->time_free(retry);
            retry = nullptr;
        }
        if (connection->stream) {
            pa_stream_set_state_callback(connection->stream, nullptr, nullptr);
            pa_stream_set_write_callback(connection->stream, nullptr, nullptr);
            pa_stream_disconnect(connection->stream);
            pa_stream_unref(connection->stream);
        }
        if (connection->context) {
            pa_context_set_state_callback(connection->context, nullptr, nullptr);
            pa_context_disconnect(connection->context);
            pa_context_unref(connection->context);
        }
        pa_threaded_mainloop_unlock(connection->mainloop);
        pa_threaded_mainloop_stop(connection->mainloop);
        pa_threaded_mainloop_free(connection->mainloop);
    }
    connection.reset();
    renderThread.store(0);
}

bool PulseAudioDevice::clockTick(double elapsedSeconds) {
    if (audible.load(std::memory_order_acquire))
        return false; // the server plays; it tells the device if it goes away
    if (opened.load() && !silentLogged.exchange(true))
        log("audio output: the sound server went away; playing silently");
    return playSilently(elapsedSeconds);
}

// ---- mainloop thread ----------------------------------------------------------------------

void PulseAudioDevice::onContextState(pa_context* context, void* self) {
    auto* device = static_cast<PulseAudioDevice*>(self);
    device->renderThread.store(currentThreadId());
    if (!PA_CONTEXT_IS_GOOD(pa_context_get_state(context)))
        device->lostServer();
}

void PulseAudioDevice::onStreamState(pa_stream* stream, void* self) {
    if (!PA_STREAM_IS_GOOD(pa_stream_get_state(stream)))
        static_cast<PulseAudioDevice*>(self)->lostServer();
}

void PulseAudioDevice::lostServer() noexcept {
    audible.store(false, std::memory_order_release);
    clock->wake();
}

void PulseAudioDevice::onWrite(pa_stream* stream, std::size_t bytes, void* self) {
    static_cast<PulseAudioDevice*>(self)->fill(stream, bytes);
}

void PulseAudioDevice::onRetry(pa_mainloop_api* api, pa_time_event* event, const timeval*,
                               void* self) {
    auto* device = static_cast<PulseAudioDevice*>(self);
    api->time_free(event);
    device->retry = nullptr;
    if (device->connection && device->connection->stream &&
        pa_stream_get_state(device->connection->stream) == PA_STREAM_READY)
        device->fill(device->connection->stream,
                     pa_stream_writable_size(device->connection->stream));
}

// How long until a frame written now is heard, taken just before each block is rendered:
// the sources stamp the block's frames with it. Taken after the write instead, it would
// still count the time the server plays until the next request, and everything would
// seem to be heard that much later than it is.
void PulseAudioDevice::noteLatency(pa_stream* stream, double streamRate) noexcept {
    pa_usec_t latency = 0;
    int negative = 0;
    if (pa_stream_get_latency(stream, &latency, &negative) == 0)
        latencyFrames.store(negative ? 0 : std::uint32_t(double(latency) * streamRate / 1e6),
                            std::memory_order_relaxed);
}

void PulseAudioDevice::fill(pa_stream* stream, std::size_t bytes) noexcept {
    if (corked || retry || draining)
        return; // a retry is already due; it takes the whole writable size
    const double streamRate = rate.load(std::memory_order_relaxed);
    while (bytes >= kFrameBytes) {
        void* data = nullptr;
        std::size_t size = bytes;
        if (pa_stream_begin_write(stream, &data, &size) < 0 || !data)
            return;
        const auto frames =
            std::uint32_t(std::min<std::size_t>(size / kFrameBytes, kMaxBlockFrames));
        if (frames == 0) {
            pa_stream_cancel_write(stream);
            return;
        }
        noteLatency(stream, streamRate);
        bool expecting = false;
        const std::uint32_t got =
            mixSources(static_cast<float*>(data), scratch.data(), frames, &expecting);
        if (got < frames && expecting) {
            // A source is late: hand over what it had and ask again in a moment, rather than
            // pad with silence. The server's buffer covers the wait.
            if (got > 0)
                pa_stream_write(stream, data, got * kFrameBytes, nullptr, 0, PA_SEEK_RELATIVE);
            else
                pa_stream_cancel_write(stream);
            retry = pa_context_rttime_new(connection->context,
                                          pa_rtclock_now() + kRetryMicroseconds, &onRetry, this);
            break;
        }
        pa_stream_write(stream, data, frames * kFrameBytes, nullptr, 0, PA_SEEK_RELATIVE);
        bytes -= frames * kFrameBytes;
        idleFrames = expecting ? 0 : idleFrames + frames;
    }
    if (idleFrames > streamRate && !corked) {
        // Nothing has played for a second: stop the stream's wake-ups until the next play.
        pa_operation_unref(pa_stream_cork(stream, 1, nullptr, nullptr));
        corked = true;
    }
}

} // namespace platform
