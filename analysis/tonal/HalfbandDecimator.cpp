#include "analysis/tonal/HalfbandDecimator.h"

#include <cmath>
#include <numbers>

namespace tonal {

HalfbandDecimator::HalfbandDecimator() {
    // Windowed sinc with its cut-off at a quarter of the input rate: every even offset but
    // the centre falls on a zero of the sinc. The Blackman window gives the stop band.
    const double span = kHalfLength + 1;
    for (int offset = 1; offset <= kHalfLength; offset += 2) {
        const double x = std::numbers::pi * offset / 2;
        const double window = 0.42 + 0.5 * std::cos(std::numbers::pi * offset / span) +
                              0.08 * std::cos(2 * std::numbers::pi * offset / span);
        taps_.push_back(float(0.5 * std::sin(x) / x * window));
    }
    reset();
}

void HalfbandDecimator::reset() {
    input_.assign(kHalfLength, 0.0f);
    inputStart_ = -kHalfLength;
    nextOutput_ = 0;
}

void HalfbandDecimator::push(const float* in, std::size_t count, std::vector<float>& out) {
    input_.insert(input_.end(), in, in + count);
    const std::int64_t inputEnd = inputStart_ + std::int64_t(input_.size());
    while (2 * nextOutput_ + kHalfLength < inputEnd) {
        const float* centre = input_.data() + (2 * nextOutput_ - inputStart_);
        float sum = 0.5f * centre[0];
        for (std::size_t i = 0; i < taps_.size(); ++i) {
            const int offset = int(2 * i + 1);
            sum += taps_[i] * (centre[-offset] + centre[offset]);
        }
        out.push_back(sum);
        ++nextOutput_;
    }
    // Keep what the next output reaches back to.
    const std::int64_t keepFrom = 2 * nextOutput_ - kHalfLength;
    if (keepFrom > inputStart_) {
        input_.erase(input_.begin(), input_.begin() + (keepFrom - inputStart_));
        inputStart_ = keepFrom;
    }
}

} // namespace tonal
