#include "analysis/rhythm/TempoSections.h"

#include <algorithm>
#include <cmath>

namespace analysis {
namespace {

constexpr std::size_t kSmoothingBeats = 8; // the median of this many intervals
constexpr std::size_t kSettlingBeats = 8;  // a new tempo must hold this long
constexpr double kChange = 0.04;

double median(std::vector<double> values) {
    std::nth_element(values.begin(), values.begin() + values.size() / 2, values.end());
    return values[values.size() / 2];
}

} // namespace

double medianTempoBpm(const std::vector<double>& beats) {
    if (beats.size() < 2)
        return 0;
    std::vector<double> intervals;
    for (std::size_t i = 1; i < beats.size(); ++i)
        intervals.push_back(beats[i] - beats[i - 1]);
    return 60.0 / median(intervals);
}

std::vector<TempoSection> findTempoSections(const std::vector<double>& beats) {
    std::vector<TempoSection> sections;
    if (beats.size() < 2)
        return sections;
    // The local tempo at each beat: the median of the intervals around it.
    std::vector<double> local(beats.size() - 1);
    for (std::size_t i = 0; i < local.size(); ++i) {
        const std::size_t from = i >= kSmoothingBeats / 2 ? i - kSmoothingBeats / 2 : 0;
        const std::size_t to = std::min(local.size(), from + kSmoothingBeats);
        std::vector<double> intervals;
        for (std::size_t k = from; k < to; ++k)
            intervals.push_back(beats[k + 1] - beats[k]);
        local[i] = 60.0 / median(intervals);
    }
    sections.push_back({beats.front(), local.front()});
    std::size_t sectionStart = 0;
    for (std::size_t i = 0; i + kSettlingBeats <= local.size(); ++i) {
        const double current = sections.back().bpm;
        bool settled = true;
        for (std::size_t k = i; k < i + kSettlingBeats && settled; ++k)
            settled = std::abs(local[k] / current - 1) >= kChange &&
                      std::abs(local[k] / local[i] - 1) < kChange;
        if (settled && i > sectionStart) {
            std::vector<double> span(local.begin() + std::ptrdiff_t(i),
                                     local.begin() + std::ptrdiff_t(i + kSettlingBeats));
            sections.push_back({beats[i], median(span)});
            sectionStart = i;
        }
    }
    // Each section's tempo: the median over the whole section.
    for (std::size_t s = 0; s < sections.size(); ++s) {
        const double end = s + 1 < sections.size() ? sections[s + 1].seconds : beats.back() + 1;
        std::vector<double> inside;
        for (std::size_t i = 0; i < local.size(); ++i)
            if (beats[i] >= sections[s].seconds && beats[i] < end)
                inside.push_back(local[i]);
        if (!inside.empty())
            sections[s].bpm = median(inside);
    }
    return sections;
}

} // namespace analysis
