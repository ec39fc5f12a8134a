#include "platform/audio_device/DeviceClock.h"

#include <chrono>

namespace platform {

DeviceClock::DeviceClock(std::function<bool(double)> tick_) : tick(std::move(tick_)) {
    thread = std::thread([this] { run(); });
}

DeviceClock::~DeviceClock() {
    quit.store(true);
    signal.post();
    thread.join();
}

void DeviceClock::run() {
    using namespace std::chrono;
    constexpr auto kTick = milliseconds(10);
    while (!quit.load()) {
        // Sleeping: the first tick after a wake-up counts no elapsed time.
        const std::uint32_t ticket = signal.ticket();
        auto last = steady_clock::now();
        bool running = tick(0.0);
        while (running && !quit.load()) {
            std::this_thread::sleep_for(kTick);
            const auto now = steady_clock::now();
            running = tick(duration<double>(now - last).count());
            last = now;
        }
        if (!quit.load())
            signal.sleep(ticket);
    }
}

} // namespace platform
