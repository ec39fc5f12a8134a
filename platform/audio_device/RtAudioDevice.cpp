#include "platform/audio_device/RtAudioDevice.h"

#include "platform/log/Log.h"

#include <chrono>
#include <rtaudio/RtAudio.h>

#if STUDYLOOP_HAVE_ALSA
#include <alsa/asoundlib.h>
#endif

namespace platform {

namespace {

// RtAudio's error callback carries no user data; there is only ever one real device.
std::atomic<RtAudioDevice*> errorTarget{nullptr};

void onStreamError(RtAudioError::Type type, const std::string&) {
    if (type == RtAudioError::WARNING || type == RtAudioError::DEBUG_WARNING)
        return;
    if (RtAudioDevice* device = errorTarget.load())
        device->reportStreamError();
}

int onRender(void* output, void*, unsigned int frames, double, RtAudioStreamStatus status,
             void* userData) {
    auto* device = static_cast<RtAudioDevice*>(userData);
    return device->renderCallback(static_cast<float*>(output), frames,
                                  (status & RTAUDIO_OUTPUT_UNDERFLOW) != 0);
}

#if STUDYLOOP_HAVE_ALSA
// ALSA reports every failed probe (no card, no server behind its default device) on
// standard error by itself; the device says what matters in one line of its own.
void quietAlsa(const char*, int, const char*, int, const char*, ...) {}
#endif

std::vector<RtAudio::Api> backendsInOrder() {
    std::vector<RtAudio::Api> order = {RtAudio::LINUX_PULSE, RtAudio::LINUX_ALSA,
                                       RtAudio::UNIX_JACK, RtAudio::MACOSX_CORE};
    std::vector<RtAudio::Api> compiled;
    RtAudio::getCompiledApi(compiled);
    std::vector<RtAudio::Api> result;
    for (RtAudio::Api api : order)
        for (RtAudio::Api have : compiled)
            if (api == have)
                result.push_back(api);
    return result;
}

} // namespace

RtAudioDevice::RtAudioDevice(std::uint32_t bufferFrames)
    : requestedBufferFrames(bufferFrames), callbackScratch(2 * std::size_t(kMaxBlockFrames)) {
#if STUDYLOOP_HAVE_ALSA
    snd_lib_error_set_handler(&quietAlsa);
#endif
    errorTarget.store(this);
    clock = std::thread([this] { clockThreadMain(); });
}

RtAudioDevice::~RtAudioDevice() {
    quit.store(true);
    clock.join();
    std::lock_guard guard(lock);
    closeStream();
    RtAudioDevice* self = this;
    errorTarget.compare_exchange_strong(self, nullptr);
}

double RtAudioDevice::sampleRate() const {
    return rate.load(std::memory_order_acquire);
}

std::uint32_t RtAudioDevice::outputLatencyFrames() const {
    return audible.load(std::memory_order_acquire) ? latencyFrames.load() : 0;
}

void RtAudioDevice::prepareToPlay(double preferredSampleRate) {
    std::lock_guard guard(lock);
    if (audible.load() && !streamFailed.load())
        return;
    closeStream();
    if (openStream(preferredSampleRate)) {
        silentLogged.store(false);
        return;
    }
    if (!silentLogged.exchange(true))
        log("audio output: no sound device; playing silently");
    if (!opened.load() && preferredSampleRate > 0)
        rate.store(preferredSampleRate);
}

bool RtAudioDevice::openStream(double preferredSampleRate) {
    const double wanted = preferredSampleRate > 0 ? preferredSampleRate : rate.load();
    // Once a stream has run, keep its rate so that queues already made stay valid.
    const double ask = opened.load() ? rate.load() : wanted;
    for (RtAudio::Api api : backendsInOrder()) {
        try {
            auto candidate = std::make_unique<RtAudio>(api);
            candidate->showWarnings(false);
            if (candidate->getDeviceCount() == 0)
                continue;
            RtAudio::StreamParameters parameters;
            parameters.deviceId = candidate->getDefaultOutputDevice();
            parameters.nChannels = 2;
            RtAudio::StreamOptions options;
            options.flags = RTAUDIO_MINIMIZE_LATENCY;
            options.numberOfBuffers = 2;
            options.streamName = "Study Loop";
            unsigned int bufferFrames = requestedBufferFrames;
            candidate->openStream(&parameters, nullptr, RTAUDIO_FLOAT32, static_cast<unsigned>(ask),
                                  &bufferFrames, &onRender, this, &options, &onStreamError);
            const double actual = candidate->getStreamSampleRate();
            const long reported = candidate->getStreamLatency();
            // Backends that do not report a latency hold about two blocks.
            latencyFrames.store(reported > 0 ? std::uint32_t(reported) : 2 * bufferFrames);
            rate.store(actual > 0 ? actual : ask);
            streamFailed.store(false);
            callbacks.store(0);
            openedAt.store(std::chrono::steady_clock::now());
            rtAudio = std::move(candidate);
            rtAudio->startStream();
            opened.store(true);
            audible.store(true);
            return true;
        } catch (const RtAudioError&) {
            continue;
        }
    }
    return false;
}

void RtAudioDevice::closeStream() {
    audible.store(false);
    if (!rtAudio)
        return;
    try {
        if (rtAudio->isStreamRunning())
            rtAudio->abortStream();
        if (rtAudio->isStreamOpen())
            rtAudio->closeStream();
    } catch (const RtAudioError&) {
    }
    rtAudio.reset();
}

int RtAudioDevice::renderCallback(float* out, unsigned frames, bool deviceUnderflow) noexcept {
    callbacks.fetch_add(1, std::memory_order_release);
    if (!audible.load(std::memory_order_acquire)) {
        // The clock thread has taken over; keep the sound system fed with silence.
        std::fill(out, out + 2 * std::size_t(frames), 0.0f);
        return 0;
    }
    bool expecting = false;
    const std::uint32_t got = mixSources(out, callbackScratch.data(), frames, &expecting);
    if ((got < frames && expecting) || deviceUnderflow)
        underruns.fetch_add(1, std::memory_order_relaxed);
    return 0;
}

void RtAudioDevice::clockThreadMain() {
    using namespace std::chrono;
    constexpr auto tick = milliseconds(10);
    std::vector<float> block(2 * std::size_t(kMaxBlockFrames));
    std::vector<float> scratch(2 * std::size_t(kMaxBlockFrames));
    auto last = steady_clock::now();
    auto lastCallbackSeen = last;
    std::uint64_t lastCallbacks = 0;
    double owed = 0;
    while (!quit.load()) {
        std::this_thread::sleep_for(tick);
        const auto now = steady_clock::now();
        const double elapsed = duration<double>(now - last).count();
        last = now;

        if (audible.load()) {
            const std::uint64_t count = callbacks.load(std::memory_order_acquire);
            if (count != lastCallbacks) {
                lastCallbacks = count;
                lastCallbackSeen = now;
            }
            // A freshly opened stream may wait a second or more for the server before its
            // callbacks flow; only a longer silence of the callback means the device is gone.
            const auto limit = now - openedAt.load() < seconds(4) ? seconds(4) : seconds(2);
            const bool stalled = now - lastCallbackSeen > limit;
            if (!streamFailed.load() && !stalled)
                continue;
            // The device went away: go on without it until the next prepareToPlay.
            audible.store(false, std::memory_order_release);
            streamFailed.store(true);
            if (!silentLogged.exchange(true))
                log("audio output: the sound device stopped; playing silently");
            owed = 0;
            continue;
        }
        lastCallbackSeen = now;
        lastCallbacks = callbacks.load();
        // Silent: consume what the sources render at the pace a device would.
        owed += elapsed * rate.load();
        while (owed >= 1.0) {
            const auto frames = std::uint32_t(std::min<double>(owed, kMaxBlockFrames));
            mixSources(block.data(), scratch.data(), frames);
            owed -= frames;
        }
    }
}

} // namespace platform
