#pragma once

// How strongly a recording's onsets mark given instants: the mean, over the instants, of
// the strongest onset within two hops (23 ms) of each. Comparing it at a set of beats and
// at other instants (the half-beats between them, every other beat) tells which metrical
// level and which phase the music itself stresses.

#include <vector>

namespace analysis {

// `onset` has one value per `hopSeconds`; instants outside it count as 0.
double salienceAt(const std::vector<float>& onset, double hopSeconds,
                  const std::vector<double>& seconds);

// The instants halfway between neighbouring beats.
std::vector<double> halfwayPoints(const std::vector<double>& beats);

// Every other beat, starting with beat `first` (0 or 1).
std::vector<double> everyOther(const std::vector<double>& beats, int first);

} // namespace analysis
