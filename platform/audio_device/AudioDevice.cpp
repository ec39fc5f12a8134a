#include "platform/audio_device/AudioDevice.h"

#include "platform/audio_device/RtAudioDevice.h"
#if STUDYLOOP_HAVE_PULSE
#include "platform/audio_device/PulseAudioDevice.h"
#endif

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <thread>

namespace platform {

bool AudioDevice::attach(AudioRenderSource* source) {
    for (auto& slot : sources) {
        AudioRenderSource* empty = nullptr;
        if (slot.compare_exchange_strong(empty, source, std::memory_order_acq_rel))
            return true;
    }
    return false;
}

void AudioDevice::detach(AudioRenderSource* source) {
    for (auto& slot : sources) {
        AudioRenderSource* expected = source;
        slot.compare_exchange_strong(expected, nullptr, std::memory_order_acq_rel);
    }
    // A render that began before the slot was cleared may still hold the pointer: wait
    // until the sequence has moved past it.
    const std::uint64_t seen = renderSequence.load(std::memory_order_acquire);
    if (seen % 2 == 0)
        return;
    for (int spins = 0; renderSequence.load(std::memory_order_acquire) == seen; ++spins) {
        if (spins < 1000)
            std::this_thread::yield();
        else
            std::this_thread::sleep_for(std::chrono::microseconds(100));
    }
}

std::uint32_t AudioDevice::mixSources(float* out, float* scratch, std::uint32_t frames,
                                      bool* expecting) noexcept {
    if (expecting)
        *expecting = false;
    std::fill(out, out + 2 * std::size_t(frames), 0.0f);
    // One renderer at a time: each source is the single consumer of its ring. Two can meet
    // only for a moment while a lost device's callback and the stand-in clock change over;
    // the one that loses renders silence rather than wait.
    bool idle = false;
    if (!rendering.compare_exchange_strong(idle, true, std::memory_order_acquire))
        return 0;
    renderSequence.fetch_add(1, std::memory_order_acq_rel);
    std::uint32_t delivered = 0;
    bool first = true;
    for (auto& slot : sources) {
        AudioRenderSource* source = slot.load(std::memory_order_acquire);
        if (!source)
            continue;
        // The first source writes straight into the output; later ones are summed in.
        std::uint32_t done = 0;
        while (done < frames) {
            const std::uint32_t block = std::min(frames - done, kMaxBlockFrames);
            float* at = out + 2 * std::size_t(done);
            const std::uint32_t got = source->renderAudio(first ? at : scratch, block);
            if (!first) {
                for (std::uint32_t i = 0; i < 2 * got; ++i)
                    at[i] += scratch[i];
            }
            done += got;
            if (got < block)
                break;
        }
        delivered = std::max(delivered, done);
        first = false;
    }
    if (expecting)
        for (auto& slot : sources) {
            const AudioRenderSource* source = slot.load(std::memory_order_acquire);
            *expecting = *expecting || (source && source->expectsToRender());
        }
    renderSequence.fetch_add(1, std::memory_order_acq_rel);
    rendering.store(false, std::memory_order_release);
    return delivered;
}

bool AudioDevice::playSilently(double seconds) {
    if (silentBlock.empty()) {
        silentBlock.resize(2 * std::size_t(kMaxBlockFrames));
        silentScratch.resize(2 * std::size_t(kMaxBlockFrames));
    }
    silentOwed += seconds * sampleRate();
    bool expecting = false;
    do {
        const auto frames = std::uint32_t(std::min<double>(silentOwed, kMaxBlockFrames));
        bool blockExpecting = false;
        mixSources(silentBlock.data(), silentScratch.data(), frames, &blockExpecting);
        expecting = expecting || blockExpecting;
        silentOwed -= frames;
    } while (silentOwed >= 1.0);
    return expecting;
}

namespace {
std::mutex defaultLock;
std::shared_ptr<AudioDevice> defaultDevice;
} // namespace

namespace {

// PulseAudio (or PipeWire's PulseAudio server) when one answers; otherwise the sound
// systems RtAudio knows, and if it finds no device either, PulseAudio again: it plays
// silently and connects when a server appears. STUDYLOOP_AUDIO_OUTPUT=rtaudio picks
// RtAudio with its own PulseAudio backend, to compare the two.
std::shared_ptr<AudioDevice> makeRealDevice() {
    const char* choice = std::getenv("STUDYLOOP_AUDIO_OUTPUT");
    if (choice && std::strcmp(choice, "rtaudio") == 0)
        return std::make_shared<RtAudioDevice>(512, true);
#if STUDYLOOP_HAVE_PULSE
    auto pulse = std::make_shared<PulseAudioDevice>();
    if (pulse->hasServer() || !RtAudioDevice::anyDeviceAvailable())
        return pulse;
#endif
    return std::make_shared<RtAudioDevice>();
}

} // namespace

std::shared_ptr<AudioDevice> defaultAudioDevice() {
    std::lock_guard lock(defaultLock);
    if (!defaultDevice)
        defaultDevice = makeRealDevice();
    return defaultDevice;
}

void setDefaultAudioDevice(std::shared_ptr<AudioDevice> device) {
    std::lock_guard lock(defaultLock);
    defaultDevice = std::move(device);
}

} // namespace platform
