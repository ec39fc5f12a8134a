#include "platform/audio_device/OfflineAudioDevice.h"

#include <algorithm>
#include <thread>

namespace platform {

namespace {

// Waiting for a source that is behind: the first naps are short, so a source that is just
// finishing a block is not waited on for long; later ones double up to a millisecond, so
// that a source still making a whole block (a stretcher on a slow machine takes
// milliseconds) is not looked at dozens of times, each wake-up taking a core from the
// threads that render.
class Naps {
public:
    void take() {
        std::this_thread::sleep_for(length);
        length = std::min(2 * length, kLongest);
    }
    void reset() { length = kShortest; }

private:
    static constexpr std::chrono::microseconds kShortest{50};
    static constexpr std::chrono::microseconds kLongest{1000};
    std::chrono::microseconds length = kShortest;
};

} // namespace

OfflineAudioDevice::OfflineAudioDevice(double sampleRate)
    : rate(sampleRate), scratch(2 * std::size_t(kMaxBlockFrames)) {}

std::uint32_t OfflineAudioDevice::pull(float* out, std::uint32_t frames,
                                       std::chrono::milliseconds patience) {
    const auto deadline = std::chrono::steady_clock::now() + patience;
    std::uint32_t done = 0;
    std::uint32_t fromSources = 0;
    Naps naps;
    while (done < frames) {
        const std::uint32_t block = std::min(frames - done, kMaxBlockFrames);
        float* at = out + 2 * std::size_t(done);
        bool expecting = false;
        const std::uint32_t got = mixSources(at, scratch.data(), block, &expecting);
        fromSources += got;
        if (got == block) {
            done += block;
            naps.reset();
            continue;
        }
        // Short: keep what came, then either wait for the rest or accept silence.
        done += got;
        if (expecting && std::chrono::steady_clock::now() < deadline) {
            naps.take();
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
    Naps naps;
    while (done < frames) {
        const std::uint32_t block = std::min(frames - done, kMaxBlockFrames);
        bool expecting = false;
        const std::uint32_t got =
            mixSources(out + 2 * std::size_t(done), scratch.data(), block, &expecting);
        done += got;
        if (got == block) {
            naps.reset();
            continue;
        }
        if (!expecting || std::chrono::steady_clock::now() >= deadline)
            break;
        naps.take();
    }
    pulled += done;
    return done;
}

} // namespace platform
