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
    const std::int64_t outputs = (inputEnd - 1 - kHalfLength) / 2 + 1 - nextOutput_;
    if (outputs > 0) {
        // Output j is 0.5 x[2j] plus tap i times the odd samples x[2j -+ (2i + 1)]. With the
        // odd samples gathered into one row, each tap is a pass over contiguous memory.
        const std::size_t n = std::size_t(outputs);
        const std::size_t first = std::size_t(2 * nextOutput_ - kHalfLength - inputStart_);
        odd_.resize(n + kHalfLength);
        for (std::size_t t = 0; t < odd_.size(); ++t)
            odd_[t] = input_[first + 2 * t];
        const std::size_t start = out.size();
        out.resize(start + n);
        float* y = out.data() + start;
        for (std::size_t j = 0; j < n; ++j)
            y[j] = 0.5f * input_[first + kHalfLength + 2 * j];
        const std::size_t half = taps_.size();
        for (std::size_t i = 0; i < half; ++i) {
            const float tap = taps_[i];
            const float* before = odd_.data() + (half - 1 - i);
            const float* after = odd_.data() + (half + i);
            for (std::size_t j = 0; j < n; ++j)
                y[j] += tap * (before[j] + after[j]);
        }
        nextOutput_ += outputs;
    }
    // Keep what the next output reaches back to.
    const std::int64_t keepFrom = 2 * nextOutput_ - kHalfLength;
    if (keepFrom > inputStart_) {
        input_.erase(input_.begin(), input_.begin() + (keepFrom - inputStart_));
        inputStart_ = keepFrom;
    }
}

} // namespace tonal
