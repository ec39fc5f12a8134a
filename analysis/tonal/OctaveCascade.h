#pragma once

// A mono stream at any rate, halved down to a top level of about 11 kHz (at least 9.6 kHz,
// so that C8 is well inside it), then halved again octave by octave: level 0 is the top,
// level L has the top rate / 2^L. The constant-Q transform takes each octave's bins from the
// level where that octave sits at the same place relative to the rate, so every octave
// needs only a short FFT.
//
// Indices are absolute: level L sample i stands for input sample i · 2^(steps to L), where
// input sample 0 is the one `restart` named. Before it the stream counts as silence.
//
//      input  |x x x x x x x x x x x x x x x x|   (e.g. 44.1 kHz)
//      top    |x   x   x   x   x   x   x   x  |   level 0 (11 kHz): two halvings
//      level 1|x       x       x       x      |   ...
//
// Each level keeps its samples until `discardBefore` lets them go, so what is held is
// bounded by what the caller still needs.
//
// Thread contract: one thread at a time.

#include "analysis/tonal/HalfbandDecimator.h"

#include <cstdint>
#include <vector>

namespace tonal {

class OctaveCascade {
public:
    OctaveCascade(double inputRate, int levelCount);

    double inputRate() const { return inputRate_; }
    int levelCount() const { return int(levels_.size()); }
    double levelRate(int level) const;
    // Input samples per sample of `level`.
    std::int64_t inputStep(int level) const { return std::int64_t(1) << (topSteps_ + level); }
    // Every level has a sample exactly at input indices that are multiples of this.
    std::int64_t alignment() const { return inputStep(levelCount() - 1); }

    // Forgets everything; `firstInput` (a multiple of alignment()) is the input index of the
    // next sample pushed.
    void restart(std::int64_t firstInput);
    std::int64_t nextInput() const { return nextInput_; }

    void push(const float* samples, std::size_t count);

    // One past the last sample of `level` computed so far.
    std::int64_t end(int level) const;
    // Copies `level` samples [first, first + count); silence before the stream
    // start. False when some of them are not computed yet or already discarded.
    bool copy(int level, std::int64_t first, int count, float* out) const;
    void discardBefore(int level, std::int64_t index);

    // The first and one past the last input index that `level` sample `index` depends on
    // through the filters: what must have been pushed for it to be exact.
    std::int64_t firstInputFor(int level, std::int64_t index) const;
    std::int64_t inputEndFor(int level, std::int64_t index) const;

private:
    struct Level {
        // Discarded samples stay in front of `first` until they are many, so that letting
        // a few go does not move all the others.
        std::vector<float> samples;
        std::size_t first = 0;   // samples[first] is the first one kept
        std::int64_t start = 0;  // level index of samples[first]
        std::int64_t origin = 0; // level index of the stream's first sample
        HalfbandDecimator toNext;
        std::vector<float> nextScratch;
    };

    void append(int level, const float* samples, std::size_t count);

    double inputRate_;
    int topSteps_ = 0; // halvings from the input to level 0
    std::vector<HalfbandDecimator> toTop_;
    std::vector<Level> levels_;
    std::int64_t nextInput_ = 0;
    std::vector<float> scratchA_, scratchB_;
};

} // namespace tonal
