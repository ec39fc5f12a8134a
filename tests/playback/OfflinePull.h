#pragma once

// Pulls what a player plays out of the offline device by hand, keeping the Qt event loop
// (and so the players' timers and reports) turning.

#include "platform/audio_device/OfflineAudioDevice.h"

#include <QCoreApplication>
#include <QThread>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <thread>
#include <vector>

namespace playback_test {

// Interleaved stereo frames until `done` holds, `maxFrames` have been taken or a minute has
// passed. Gaps where nothing plays are left out.
template <typename Done>
std::vector<float> pullPlayed(platform::OfflineAudioDevice& device, Done done,
                              std::size_t maxFrames) {
    std::vector<float> out;
    std::vector<float> block(2 * 512);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!done() && out.size() / 2 < maxFrames && std::chrono::steady_clock::now() < deadline) {
        const auto want = std::uint32_t(std::min<std::size_t>(512, maxFrames - out.size() / 2));
        const std::uint32_t got =
            device.pullPlayed(block.data(), want, std::chrono::milliseconds(200));
        out.insert(out.end(), block.begin(), block.begin() + 2 * std::ptrdiff_t(got));
        QCoreApplication::processEvents();
        if (got == 0)
            QThread::msleep(1);
    }
    return out;
}

// Pulls the device on a thread of its own for as long as it lives, as a sound card would
// (flat out, with a millisecond's rest while nothing plays).
class DevicePuller {
public:
    explicit DevicePuller(platform::OfflineAudioDevice& device)
        : thread([this, &device] {
              std::vector<float> block(2 * 512);
              while (pulling.load())
                  if (device.pull(block.data(), 512, std::chrono::milliseconds(20)) == 0)
                      std::this_thread::sleep_for(std::chrono::milliseconds(1));
          }) {}
    ~DevicePuller() {
        pulling.store(false);
        thread.join();
    }
    DevicePuller(const DevicePuller&) = delete;
    DevicePuller& operator=(const DevicePuller&) = delete;

private:
    std::atomic<bool> pulling{true};
    std::thread thread;
};

} // namespace playback_test
