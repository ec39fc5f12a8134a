#include "session/LoopRange.h"

#include <algorithm>
#include <cmath>

LoopRange steppedLoop(LoopRange range, int direction, std::int32_t totalFrames) {
    const std::int64_t length = range.length();
    if (length == 0 || length > totalFrames)
        return range;
    const std::int64_t start =
        std::clamp<std::int64_t>(range.start + direction * length, 0, totalFrames - length);
    return {std::int32_t(start), std::int32_t(start + length)};
}

LoopRange resizedLoop(LoopRange range, double factor, std::int32_t totalFrames,
                      std::int32_t minimumFrames) {
    const std::int64_t length = range.length();
    if (length == 0)
        return range;
    const auto wanted = std::int64_t(std::llround(double(length) * factor));
    const std::int64_t end = std::clamp<std::int64_t>(
        range.start + wanted, range.start + std::min<std::int64_t>(minimumFrames, length),
        std::max<std::int64_t>(totalFrames, range.end));
    return {range.start, std::int32_t(end)};
}

LoopRange nudgedLoopStart(LoopRange range, std::int32_t deltaFrames, std::int32_t totalFrames,
                          std::int32_t minimumFrames) {
    const std::int64_t latest = std::int64_t(range.end) - minimumFrames;
    if (latest < 0 || range.end > totalFrames)
        return range;
    const std::int64_t start =
        std::clamp<std::int64_t>(std::int64_t(range.start) + deltaFrames, 0, latest);
    // An edit never makes a range shorter than the minimum when it was longer, nor moves
    // an end the wrong way.
    if ((deltaFrames < 0 && start > range.start) || (deltaFrames > 0 && start < range.start))
        return range;
    return {std::int32_t(start), range.end};
}

LoopRange nudgedLoopEnd(LoopRange range, std::int32_t deltaFrames, std::int32_t totalFrames,
                        std::int32_t minimumFrames) {
    const std::int64_t earliest = std::int64_t(range.start) + minimumFrames;
    if (earliest > totalFrames || range.start < 0)
        return range;
    const std::int64_t end =
        std::clamp<std::int64_t>(std::int64_t(range.end) + deltaFrames, earliest, totalFrames);
    if ((deltaFrames < 0 && end > range.end) || (deltaFrames > 0 && end < range.end))
        return range;
    return {range.start, std::int32_t(end)};
}
