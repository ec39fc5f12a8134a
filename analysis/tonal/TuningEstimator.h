#pragma once

// How far a recording is tuned from A440, in cents, from its constant-Q frames.
//
// Every spectral peak of a frame (a local maximum of the fine bins, placed between bins by a
// parabola, from C2 to C7, no weaker than a tenth of the frame's strongest) votes for its
// offset from the nearest equal-tempered note with its amplitude, into a histogram of
// 0.1-cent classes around the circle of one semitone. The answer is the circular mean of the
// votes within 15 cents of the histogram's densest spot: the mode keeps away the
// overtones that equal temperament puts off their notes (the 5th harmonic is 14 cents
// flat of its major third, the 7th 31 cents flat), the mean around it gives the cents'
// fractions.
//
// Thread contract: one thread at a time.

#include <array>
#include <span>

namespace tonal {

class TuningEstimator {
public:
    // `fineBins`: kFineBinCount amplitudes of one frame.
    void addFrame(std::span<const float> fineBins);
    // Adds the votes of another estimator (another stretch of the same recording).
    void merge(const TuningEstimator& other);

    // In (-50, 50]; 0 before any peak was seen.
    double cents() const;
    // The summed weight of the votes so far (0: nothing heard yet).
    double weight() const { return total_; }

private:
    static constexpr int kClassesPerCent = 10;
    static constexpr int kClasses = 100 * kClassesPerCent;
    // Class i: offsets in [i / 10 - 50, (i + 1) / 10 - 50) cents.
    std::array<double, kClasses> histogram_{};
    double total_ = 0;
};

} // namespace tonal
