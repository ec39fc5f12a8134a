#pragma once

// Folds interleaved stereo float frames into peak values, one per block of
// KTWaveform::kFramesPerSample frames, fed in pieces of any size.
//
// A block's peak is the largest left + right sum among its frames, times 13000 in single
// precision, truncated toward zero and saturated to 16 bits. Because only the maximum is
// kept, feeding a block in several pieces gives the same value as feeding it whole.

#include <cstddef>
#include <cstdint>

class PeakReducer {
public:
    // Writes peaks to out[0], out[1], ...; the caller sizes `out` for every block.
    explicit PeakReducer(std::int16_t* out) : out(out) {}

    void feed(const float* frames, std::size_t count);
    // Writes the last, partial block (if any). Call once, after the last feed.
    void finish();

    std::size_t blocksWritten() const { return blocks; }
    // The largest peak written; -32768 before any.
    std::int16_t globalMaxValue() const { return globalMax; }

    static std::int16_t peakValue(float leftPlusRight);

private:
    void emit();

    std::int16_t* out;
    std::size_t blocks = 0;
    std::int32_t framesInBlock = 0;
    float blockPeak = 0.0f;
    std::int16_t globalMax = -32768;
};
