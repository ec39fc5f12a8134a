#include "analysis/tonal/OctaveCascade.h"

#include <algorithm>

namespace tonal {

namespace {
constexpr double kMinTopRate = 9600;
}

OctaveCascade::OctaveCascade(double inputRate, int levelCount) : inputRate_(inputRate) {
    while (inputRate_ / double(std::int64_t(2) << topSteps_) >= kMinTopRate)
        ++topSteps_;
    toTop_.resize(std::size_t(topSteps_));
    levels_.resize(std::size_t(std::max(1, levelCount)));
    restart(0);
}

double OctaveCascade::levelRate(int level) const {
    return inputRate_ / double(inputStep(level));
}

void OctaveCascade::restart(std::int64_t firstInput) {
    nextInput_ = firstInput;
    for (auto& stage : toTop_)
        stage.reset();
    for (int i = 0; i < levelCount(); ++i) {
        Level& level = levels_[std::size_t(i)];
        level.samples.clear();
        level.first = 0;
        level.start = level.origin = firstInput / inputStep(i);
        level.toNext.reset();
    }
}

void OctaveCascade::push(const float* samples, std::size_t count) {
    nextInput_ += std::int64_t(count);
    const float* in = samples;
    std::size_t n = count;
    for (auto& stage : toTop_) {
        std::vector<float>& out = (in == scratchA_.data()) ? scratchB_ : scratchA_;
        out.clear();
        stage.push(in, n, out);
        in = out.data();
        n = out.size();
    }
    append(0, in, n);
}

void OctaveCascade::append(int index, const float* samples, std::size_t count) {
    Level& level = levels_[std::size_t(index)];
    level.samples.insert(level.samples.end(), samples, samples + count);
    if (index + 1 < levelCount()) {
        // The next level's decimator keeps its own history: this level's new samples are
        // all it needs.
        level.nextScratch.clear();
        level.toNext.push(samples, count, level.nextScratch);
        append(index + 1, level.nextScratch.data(), level.nextScratch.size());
    }
}

std::int64_t OctaveCascade::end(int level) const {
    const Level& l = levels_[std::size_t(level)];
    return l.start + std::int64_t(l.samples.size() - l.first);
}

bool OctaveCascade::copy(int level, std::int64_t first, int count, float* out) const {
    const Level& l = levels_[std::size_t(level)];
    if (first + count > end(level))
        return false;
    for (int i = 0; i < count; ++i) {
        const std::int64_t index = first + i;
        if (index < l.origin)
            out[i] = 0.0f;
        else if (index < l.start)
            return false; // discarded
        else
            out[i] = l.samples[l.first + std::size_t(index - l.start)];
    }
    return true;
}

void OctaveCascade::discardBefore(int level, std::int64_t index) {
    Level& l = levels_[std::size_t(level)];
    const std::int64_t drop =
        std::min<std::int64_t>(index - l.start, std::int64_t(l.samples.size() - l.first));
    if (drop <= 0)
        return;
    l.first += std::size_t(drop);
    l.start += drop;
    if (l.first >= 4096 && 2 * l.first >= l.samples.size()) {
        l.samples.erase(l.samples.begin(), l.samples.begin() + std::ptrdiff_t(l.first));
        l.first = 0;
    }
}

std::int64_t OctaveCascade::firstInputFor(int level, std::int64_t index) const {
    for (int step = topSteps_ + level; step > 0; --step)
        index = 2 * index - HalfbandDecimator::kHalfLength;
    return index;
}

std::int64_t OctaveCascade::inputEndFor(int level, std::int64_t index) const {
    for (int step = topSteps_ + level; step > 0; --step)
        index = 2 * index + HalfbandDecimator::kHalfLength;
    return index + 1;
}

} // namespace tonal
