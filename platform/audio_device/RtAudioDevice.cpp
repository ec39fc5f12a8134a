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

int onRender(void* output, void*, unsigned int frames, double, RtAudioStreamStatus,
             void* userData) {
    auto* device = static_cast<RtAudioDevice*>(userData);
    return device->renderCallback(static_cast<float*>(output), frames);
}

#if STUDYLOOP_HAVE_ALSA
// ALSA reports every failed probe (no card, no server behind its default device) on
// standard error by itself; the device says what matters in one line of its own.
void quietAlsa(const char*, int, const char*, int, const char*, ...) {}
#endif

std::vector<RtAudio::Api> backendsInOrder(bool withPulseAudio) {
    std::vector<RtAudio::Api> order = {RtAudio::LINUX_ALSA, RtAudio::UNIX_JACK,
                                       RtAudio::MACOSX_CORE};
    if (withPulseAudio)
        order.insert(order.begin(), RtAudio::LINUX_PULSE);
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

RtAudioDevice::RtAudioDevice(std::uint32_t bufferFrames_, bool withPulseAudio_)
    : requestedBufferFrames(bufferFrames_), withPulseAudio(withPulseAudio_),
      callbackScratch(2 * std::size_t(kMaxBlockFrames)) {
#if STUDYLOOP_HAVE_ALSA
    snd_lib_error_set_handler(&quietAlsa);
#endif
    errorTarget.store(this);
    clock = std::make_unique<DeviceClock>([this](double elapsed) { return clockTick(elapsed); });
}

RtAudioDevice::~RtAudioDevice() {
    clock.reset();
    std::lock_guard guard(lock);
    closeStream();
    RtAudioDevice* self = this;
    errorTarget.compare_exchange_strong(self, nullptr);
}

bool RtAudioDevice::anyDeviceAvailable() {
#if STUDYLOOP_HAVE_ALSA
    snd_lib_error_set_handler(&quietAlsa);
#endif
    for (RtAudio::Api api : backendsInOrder(false)) {
        try {
            RtAudio probe(api);
            probe.showWarnings(false);
            if (probe.getDeviceCount() > 0)
                return true;
        } catch (const RtAudioError&) {
        }
    }
    return false;
}

std::uint32_t RtAudioDevice::framesToKeepReady() const {
    // Every callback must be filled whole: keep three of its blocks ready.
    const std::uint32_t block = bufferFrames.load();
    return 3 * (block > 0 ? block : requestedBufferFrames);
}

void RtAudioDevice::prepareToPlay(double preferredSampleRate) {
    std::lock_guard guard(lock);
    // Something is about to play: the clock watches the callback, or stands in for it.
    clock->wake();
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
    for (RtAudio::Api api : backendsInOrder(withPulseAudio)) {
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
            this->bufferFrames.store(bufferFrames);
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

int RtAudioDevice::renderCallback(float* out, unsigned frames) noexcept {
    callbacks.fetch_add(1, std::memory_order_release);
    if (!audible.load(std::memory_order_acquire)) {
        // The clock thread has taken over; keep the sound system fed with silence.
        std::fill(out, out + 2 * std::size_t(frames), 0.0f);
        return 0;
    }
    bool expecting = false;
    mixSources(out, callbackScratch.data(), frames, &expecting);
    lastRenderExpected.store(expecting, std::memory_order_relaxed);
    return 0;
}

bool RtAudioDevice::clockTick(double elapsedSeconds) {
    using namespace std::chrono;
    const auto now = steady_clock::now();
    if (audible.load()) {
        const std::uint64_t count = callbacks.load(std::memory_order_acquire);
        if (elapsedSeconds == 0 || count != lastCallbacks) {
            lastCallbacks = count;
            lastCallbackSeen = now;
        }
        // A freshly opened stream may wait a second or more for the server before its
        // callbacks flow; only a longer silence of the callback means the device is gone.
        const auto limit = now - openedAt.load() < seconds(4) ? seconds(4) : seconds(2);
        const bool stalled = now - lastCallbackSeen > limit;
        if (!streamFailed.load() && !stalled)
            return lastRenderExpected.load(std::memory_order_relaxed) ||
                   now - openedAt.load() < seconds(4);
        // The device went away: go on without it until the next prepareToPlay.
        audible.store(false, std::memory_order_release);
        streamFailed.store(true);
        if (!silentLogged.exchange(true))
            log("audio output: the sound device stopped; playing silently");
        return true;
    }
    return playSilently(elapsedSeconds);
}

} // namespace platform
