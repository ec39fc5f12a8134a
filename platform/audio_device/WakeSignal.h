#pragma once

// Wakes a sleeping thread from any thread, the real-time one included: posting is one
// atomic increment and, when someone sleeps, one futex wake; no lock, no allocation.
//
// The sleeper reads a ticket before it checks for work and sleeps on that ticket, so a post
// that lands between the check and the sleep is never lost:
//
//     auto ticket = signal.ticket();
//     if (!workToDo()) signal.sleep(ticket);

#include <atomic>
#include <cstdint>

namespace platform {

class WakeSignal {
public:
    std::uint32_t ticket() const noexcept { return sequence.load(std::memory_order_acquire); }
    // Returns at once if anything was posted since `ticket` was taken.
    void sleep(std::uint32_t ticket) const noexcept {
        sequence.wait(ticket, std::memory_order_acquire);
    }
    void post() noexcept {
        sequence.fetch_add(1, std::memory_order_acq_rel);
        sequence.notify_all();
    }

private:
    std::atomic<std::uint32_t> sequence{0};
};

} // namespace platform
