#pragma once

// A tempo from taps of a key: after four taps in a row, the beats per minute of their
// average spacing (of the last four, as the taps go on). A pause of more than two seconds
// starts a new row.
//
// Thread contract: one thread (the main thread, in the window).

#include <chrono>
#include <deque>
#include <optional>

class TapTempo {
public:
    using Clock = std::chrono::steady_clock;
    static constexpr int kTapsNeeded = 4;
    static constexpr std::chrono::milliseconds kLongestGap{2000};

    // A tap at `when`; the tempo once enough taps have come.
    std::optional<double> tap(Clock::time_point when);
    int tapsInRow() const { return int(taps_.size()); }

private:
    std::deque<Clock::time_point> taps_;
};
