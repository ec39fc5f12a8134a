#pragma once

// The beats of a recording, from its onset track.

#include "analysis/rhythm/OnsetFeatures.h"

#include <atomic>
#include <vector>

namespace analysis {

// Beat times in seconds, ascending; empty when the recording has no pulse to follow (or
// when `cancel` was set). Takes tens of milliseconds per minute of audio.
std::vector<double> trackBeats(const OnsetTrack& track, const std::atomic<bool>* cancel = nullptr);

} // namespace analysis
