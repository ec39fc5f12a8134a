#pragma once

// Where the tempo changes: the beat-to-beat tempo, smoothed over a few bars, split into
// sections wherever it settles at least 4 % away from the section before.

#include "analysis/rhythm/Rhythm.h"

#include <vector>

namespace analysis {

// Thread contract: any thread; reads only its argument.
std::vector<TempoSection> findTempoSections(const std::vector<double>& beats);

// The median of the beat-to-beat tempo, in beats per minute; 0 for fewer than two beats.
double medianTempoBpm(const std::vector<double>& beats);

} // namespace analysis
