#include "session/TapTempo.h"

std::optional<double> TapTempo::tap(Clock::time_point when) {
    if (!taps_.empty() && (when - taps_.back() > kLongestGap || when < taps_.back()))
        taps_.clear();
    taps_.push_back(when);
    if (taps_.size() > std::size_t(kTapsNeeded))
        taps_.pop_front();
    if (taps_.size() < std::size_t(kTapsNeeded))
        return std::nullopt;
    const double seconds = std::chrono::duration<double>(taps_.back() - taps_.front()).count();
    if (seconds <= 0)
        return std::nullopt;
    return 60.0 * double(kTapsNeeded - 1) / seconds;
}
