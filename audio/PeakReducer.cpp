#include "audio/PeakReducer.h"

#include "audio/KTWaveform.h"

std::int16_t PeakReducer::peakValue(float leftPlusRight) {
    const float scaled = leftPlusRight * 13000.0f;
    // Written so that NaN lands on the low end instead of an undefined conversion.
    if (!(scaled > -32768.0f))
        return -32768;
    if (scaled >= 32767.0f)
        return 32767;
    return static_cast<std::int16_t>(static_cast<std::int32_t>(scaled));
}

void PeakReducer::feed(const float* frames, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        const float sum = frames[2 * i] + frames[2 * i + 1];
        if (framesInBlock == 0 || sum > blockPeak)
            blockPeak = sum;
        if (++framesInBlock == KTWaveform::kFramesPerSample)
            emit();
    }
}

void PeakReducer::finish() {
    if (framesInBlock > 0)
        emit();
}

void PeakReducer::emit() {
    const std::int16_t value = peakValue(blockPeak);
    out[blocks++] = value;
    if (value > globalMax)
        globalMax = value;
    framesInBlock = 0;
}
