#include "analysis/rhythm/Salience.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace analysis {

double salienceAt(const std::vector<float>& onset, double hopSeconds,
                  const std::vector<double>& seconds) {
    if (seconds.empty() || onset.empty())
        return 0;
    double sum = 0;
    const auto last = std::int64_t(onset.size()) - 1;
    for (double at : seconds) {
        const auto centre = std::int64_t(std::lround(at / hopSeconds));
        float strongest = 0;
        for (auto k = std::max<std::int64_t>(0, centre - 2); k <= std::min(last, centre + 2); ++k)
            strongest = std::max(strongest, onset[std::size_t(k)]);
        sum += strongest;
    }
    return sum / double(seconds.size());
}

std::vector<double> halfwayPoints(const std::vector<double>& beats) {
    std::vector<double> halves;
    for (std::size_t i = 1; i < beats.size(); ++i)
        halves.push_back(0.5 * (beats[i - 1] + beats[i]));
    return halves;
}

std::vector<double> everyOther(const std::vector<double>& beats, int first) {
    std::vector<double> out;
    for (std::size_t i = std::size_t(first); i < beats.size(); i += 2)
        out.push_back(beats[i]);
    return out;
}

} // namespace analysis
