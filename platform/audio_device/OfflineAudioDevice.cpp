#include "platform/audio_device/OfflineAudioDevice.h"

#include <algorithm>
#include <thread>

namespace platform {

OfflineAudioDevice::OfflineAudioDevice(double sampleRate)
    : rate(sampleRate), scratch(2 * std::size_t(kMaxBlockFrames)) {}

std::uint32_t OfflineAudioDevice::pull(float* out, std::uint32_t frames,
                                       std::chrono::milliseconds patience) {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    std::uint32_t done = 0;
    std::uint32_t fromSources = 0;
    while (done < frames) {
        const std::uint32_t block = std::min(frames - done, kMaxBlockFrames);
        float* at = out + 2 * std::size_t(done);
        bool expecting = false;
        const std::uint32_t got = mixSources(at, scratch.data(), block, &expecting);
        fromSources += got;
        if (got == block) {
            done += block;
            continue;
        }
        // Short: keep what came, then either wait for the rest or accept silence.
        done += got;
        if (expecting && std::chrono::steady_clock::now() < deadline) {
            std::this_thread::sleep_for(std::chrono::microseconds(50));
            continue;
        }
        done += block - got; // the silence mixSources already wrote
    }
    pulled += frames;
    return fromSources;
}

std::uint32_t OfflineAudioDevice::pullPlayed(float* out, std::uint32_t frames,
                                             std::chrono::milliseconds patience) {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    std::uint32_t done = 0;
    while (done < frames) {
        const std::uint32_t block = std::min(frames - done, kMaxBlockFrames);
        bool expecting = false;
        const std::uint32_t got =
            mixSources(out + 2 * std::size_t(done), scratch.data(), block, &expecting);
        done += got;
        if (got == block)
            continue;
        if (!expecting || std::chrono::steady_clock::now() >= deadline)
            break;
        std::this_thread::sleep_for(std::chrono::microseconds(50));
    }
    pulled += done;
    return done;
}

} // namespace platform
