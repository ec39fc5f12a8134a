#pragma once

// Halves the sample rate of a stream of mono samples with a linear-phase half-band FIR
// filter, keeping time alignment exact: output sample j stands for input sample 2·j (the
// filter is applied centred on it, not delayed). Input before the first sample counts as
// silence. An output needs input up to 2·j + kHalfLength, so it comes out that much later.
//
// Pass band to 0.195 of the input rate, stop band from 0.305, about 70 dB down: enough for
// the constant-Q octaves, which use at most 0.39 of each level's rate.
//
// Thread contract: one thread at a time; no allocation once the buffer has grown to its
// working size.

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tonal {

class HalfbandDecimator {
public:
    static constexpr int kHalfLength = 23; // taps either side of the centre; odd ones only

    HalfbandDecimator();

    // Feeds `count` input samples; appends the outputs they complete to `out`.
    void push(const float* in, std::size_t count, std::vector<float>& out);
    void reset();

private:
    std::vector<float> taps_; // taps_[i] for offsets 1, 3, 5, ... kHalfLength
    std::vector<float> input_;
    std::vector<float> odd_;      // scratch: the odd input samples one push reads
    std::int64_t inputStart_ = 0; // input index of input_[0]
    std::int64_t nextOutput_ = 0;
};

} // namespace tonal
