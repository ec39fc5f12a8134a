#pragma once

// A thread of a device's own for what must go on without the sound system's callbacks:
// watching that they still come, and standing in for them when the sound system is gone.
// It sleeps until woken, then calls `tick` about every 10 ms with the seconds since the
// previous call, for as long as `tick` returns true, and sleeps again. So nothing ticks
// while nothing plays.
//
// Threads: `tick` runs on the clock's thread; wake() may be called from any thread,
// the real-time one included.

#include "platform/audio_device/WakeSignal.h"

#include <atomic>
#include <functional>
#include <thread>

namespace platform {

class DeviceClock {
public:
    explicit DeviceClock(std::function<bool(double elapsedSeconds)> tick);
    ~DeviceClock(); // stops the thread and waits for it
    DeviceClock(const DeviceClock&) = delete;
    DeviceClock& operator=(const DeviceClock&) = delete;

    void wake() noexcept { signal.post(); }

private:
    void run();

    std::function<bool(double)> tick;
    WakeSignal signal;
    std::atomic<bool> quit{false};
    std::thread thread;
};

} // namespace platform
