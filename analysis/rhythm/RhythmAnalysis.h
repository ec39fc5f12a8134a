#pragma once

// The rhythm of a recording from its onset track: beats, bars and tempo.

#include "analysis/rhythm/OnsetFeatures.h"
#include "analysis/rhythm/Rhythm.h"

#include <atomic>

namespace analysis {

// Thread contract: any thread; reads only its arguments. Returns an empty Rhythm when
// `cancel` is set.
Rhythm analyzeRhythm(const OnsetTrack& track, const std::atomic<bool>* cancel = nullptr);

} // namespace analysis
