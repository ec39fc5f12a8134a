#include "analysis/tonal/TuningEstimator.h"

#include "analysis/tonal/NoteScale.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace tonal {

namespace {
constexpr int kFirstBin = 12 * kBinsPerSemitone; // C2
constexpr int kEndBin = 72 * kBinsPerSemitone;   // C7
constexpr float kPeakShare = 0.1f;
constexpr float kSilence = 1e-4f;
constexpr int kMeanSpanCents = 15;

double angleOfCents(double cents) {
    return 2 * std::numbers::pi * cents / 100.0;
}
} // namespace

void TuningEstimator::addFrame(std::span<const float> bins) {
    if (bins.size() < std::size_t(kEndBin + 1))
        return;
    const float strongest = *std::max_element(bins.begin() + kFirstBin, bins.begin() + kEndBin);
    if (strongest < kSilence)
        return;
    const float floor = strongest * kPeakShare;
    for (int b = kFirstBin; b < kEndBin; ++b) {
        const float m = bins[std::size_t(b)];
        if (m < floor || m < bins[std::size_t(b - 1)] || m <= bins[std::size_t(b + 1)])
            continue;
        const double left = std::log(std::max(bins[std::size_t(b - 1)], 1e-12f));
        const double centre = std::log(m);
        const double right = std::log(std::max(bins[std::size_t(b + 1)], 1e-12f));
        const double curvature = left - 2 * centre + right;
        const double offsetBins = curvature < 0 ? 0.5 * (left - right) / curvature : 0.0;
        const double cents = fineBinCents(b + std::clamp(offsetBins, -0.5, 0.5));
        // Offset from the nearest key, in [-50, 50).
        const double offset = cents - 100.0 * std::floor((cents + 50.0) / 100.0);
        const int index =
            std::clamp(int(std::floor((offset + 50.0) * kClassesPerCent)), 0, kClasses - 1);
        histogram_[std::size_t(index)] += m;
        total_ += m;
    }
}

void TuningEstimator::merge(const TuningEstimator& other) {
    for (std::size_t i = 0; i < histogram_.size(); ++i)
        histogram_[i] += other.histogram_[i];
    total_ += other.total_;
}

double TuningEstimator::cents() const {
    if (total_ <= 0)
        return 0;
    // The densest spot: the histogram summed over +-kMeanSpanCents, around the circle (a
    // running sum).
    const int span = kMeanSpanCents * kClassesPerCent;
    double sum = 0;
    for (int d = -span; d <= span; ++d)
        sum += histogram_[std::size_t(wrap(d, kClasses))];
    int best = 0;
    double bestSum = sum;
    for (int i = 1; i < kClasses; ++i) {
        sum += histogram_[std::size_t(wrap(i + span, kClasses))] -
               histogram_[std::size_t(wrap(i - span - 1, kClasses))];
        if (sum > bestSum) {
            bestSum = sum;
            best = i;
        }
    }
    double s = 0, c = 0;
    for (int d = -span; d <= span; ++d) {
        const int i = wrap(best + d, kClasses);
        const double cents = (i + 0.5) / kClassesPerCent - 50.0;
        s += histogram_[std::size_t(i)] * std::sin(angleOfCents(cents));
        c += histogram_[std::size_t(i)] * std::cos(angleOfCents(cents));
    }
    double cents = std::atan2(s, c) * 100.0 / (2 * std::numbers::pi);
    if (cents <= -50)
        cents += 100;
    return cents;
}

} // namespace tonal
