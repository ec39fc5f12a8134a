#include "tests/support/Signals.h"

#include <cmath>
#include <numbers>
#include <random>
#include <stdexcept>

namespace test_support {

float rampValue(std::int64_t frame, int channel) {
    const std::int64_t step = (frame + 12345 * channel) % 65536;
    return static_cast<float>(step - 32768) / 32768.0f;
}

std::int64_t rampFrame(float value) {
    return (std::lround(value * 32768.0f) + 32768) % 65536;
}

Signal makeRamp(std::int64_t frames, int channels, int sampleRate) {
    Signal signal{sampleRate, channels, {}};
    signal.samples.reserve(std::size_t(frames * channels));
    for (std::int64_t frame = 0; frame < frames; ++frame)
        for (int channel = 0; channel < channels; ++channel)
            signal.samples.push_back(rampValue(frame, channel));
    return signal;
}

Signal makeSine(std::int64_t frames, int channels, int sampleRate, double frequency,
                double amplitude, double phase) {
    Signal signal{sampleRate, channels, {}};
    signal.samples.reserve(std::size_t(frames * channels));
    const double step = 2.0 * std::numbers::pi * frequency / sampleRate;
    for (std::int64_t frame = 0; frame < frames; ++frame)
        for (int channel = 0; channel < channels; ++channel)
            signal.samples.push_back(
                static_cast<float>(amplitude * std::sin(step * double(frame) + phase +
                                                        channel * std::numbers::pi / 2)));
    return signal;
}

Signal makeNoise(std::int64_t frames, int channels, int sampleRate, std::uint32_t seed,
                 double amplitude) {
    Signal signal{sampleRate, channels, {}};
    signal.samples.reserve(std::size_t(frames * channels));
    std::mt19937 generator(seed);
    for (std::int64_t i = 0; i < frames * channels; ++i) {
        // Our own mapping, not a std:: distribution, so the values are the same everywhere.
        const double unit = double(generator()) / double(std::mt19937::max());
        signal.samples.push_back(static_cast<float>(amplitude * (2.0 * unit - 1.0)));
    }
    return signal;
}

Signal makeConstant(std::int64_t frames, int channels, int sampleRate, float value) {
    return Signal{sampleRate, channels, std::vector<float>(std::size_t(frames * channels), value)};
}

std::vector<float> asStereo(const Signal& signal) {
    if (signal.channels == 2)
        return signal.samples;
    if (signal.channels != 1)
        throw std::invalid_argument("asStereo takes mono or stereo");
    std::vector<float> stereo;
    stereo.reserve(signal.samples.size() * 2);
    for (float value : signal.samples) {
        stereo.push_back(value);
        stereo.push_back(value);
    }
    return stereo;
}

} // namespace test_support
