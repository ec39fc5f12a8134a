#include "platform/audio_queue/PlaybackTimeline.h"

#include <algorithm>

namespace platform {

void PlaybackTimeline::restart(std::uint64_t outputFrame) {
    std::lock_guard guard(lock);
    origin = outputFrame;
    segments.clear();
}

void PlaybackTimeline::append(std::uint64_t outputFrame, double sourceFrame,
                              double sourcePerOutput) {
    std::lock_guard guard(lock);
    // Bounded: a reader that never asks must not let this grow without end.
    if (segments.size() > 4096)
        segments.pop_front();
    segments.push_back({outputFrame, sourceFrame, sourcePerOutput});
}

double PlaybackTimeline::sourceFrameAt(std::uint64_t outputFrame, double limitSourceFrame) {
    std::lock_guard guard(lock);
    if (outputFrame < origin || segments.empty() || outputFrame < segments.front().outputFrame)
        return 0;
    // Segments wholly before the frame asked about are no longer needed.
    while (segments.size() > 1 && segments[1].outputFrame <= outputFrame)
        segments.pop_front();
    const Segment& at = segments.front();
    const double source =
        at.sourceFrame + double(outputFrame - at.outputFrame) * at.sourcePerOutput;
    return std::clamp(source, 0.0, std::max(limitSourceFrame, 0.0));
}

} // namespace platform
