#pragma once

// The beats and bars a waveform view shows, as plain data: the frame of each beat, whether
// it starts a bar and that bar's number. The view knows nothing of how they were found.
//
// Pure values and functions, callable from any thread.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <optional>
#include <vector>

namespace waveform_view {

struct BeatMark {
    std::int32_t frame = 0;
    int bar = 0;           // 1 for the first full bar; 0 for the beats before it
    bool downbeat = false; // the first beat of bar `bar`
    bool operator==(const BeatMark&) const = default;
};

using BeatMarks = std::vector<BeatMark>; // in frame order

// The beat nearest `frame` no more than `maxDistanceFrames` away, if any.
inline std::optional<std::int32_t> nearestBeatFrame(const BeatMarks& marks, std::int32_t frame,
                                                    double maxDistanceFrames) {
    const auto after = std::lower_bound(
        marks.begin(), marks.end(), frame,
        [](const BeatMark& mark, std::int32_t value) { return mark.frame < value; });
    std::optional<std::int32_t> best;
    double bestDistance = maxDistanceFrames;
    for (auto it : {after == marks.begin() ? marks.end() : after - 1, after}) {
        if (it == marks.end())
            continue;
        const double distance = std::abs(double(it->frame) - double(frame));
        if (distance <= bestDistance) {
            bestDistance = distance;
            best = it->frame;
        }
    }
    return best;
}

} // namespace waveform_view
