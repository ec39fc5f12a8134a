#include "tests/support/Signals.h"

#include <algorithm>
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

namespace {

// Our own mapping of the generator to [-1, 1], the same everywhere.
double unitNoise(std::mt19937& generator) {
    return 2.0 * double(generator()) / double(std::mt19937::max()) - 1.0;
}

Signal fromMono(const std::vector<double>& mono, int sampleRate) {
    Signal signal{sampleRate, 2, {}};
    signal.samples.reserve(mono.size() * 2);
    for (double value : mono) {
        signal.samples.push_back(static_cast<float>(std::clamp(value, -0.98, 0.98)));
        signal.samples.push_back(static_cast<float>(std::clamp(0.9 * value, -0.98, 0.98)));
    }
    return signal;
}

} // namespace

Signal makeDrumBursts(std::int64_t frames, int sampleRate) {
    std::vector<double> mono(static_cast<std::size_t>(frames));
    const double step = 2.0 * std::numbers::pi * 220.0 / sampleRate;
    for (std::size_t i = 0; i < mono.size(); ++i)
        mono[i] = 0.05 * std::sin(step * double(i));
    std::mt19937 generator(21);
    const auto burstLength = std::size_t(sampleRate / 10);
    for (std::size_t start = 0; start < mono.size(); start += std::size_t(sampleRate / 4))
        for (std::size_t i = 0; i < burstLength && start + i < mono.size(); ++i)
            mono[start + i] +=
                0.8 * std::exp(-double(i) / (sampleRate / 70.0)) * unitNoise(generator);
    return fromMono(mono, sampleRate);
}

Signal makeClicks(std::int64_t frames, int sampleRate) {
    std::vector<double> mono(std::size_t(frames), 0.0);
    std::mt19937 generator(22);
    for (std::size_t at = std::size_t(sampleRate / 20); at + 64 < mono.size();
         at += std::size_t(sampleRate / 8) + generator() % std::size_t(sampleRate / 5))
        for (std::size_t i = 0; i < 64; ++i)
            mono[at + i] = 0.9 * std::exp(-double(i) / 8.0) * (i % 2 ? -1.0 : 1.0);
    return fromMono(mono, sampleRate);
}

Signal makeSilenceThenNoise(std::int64_t frames, int sampleRate) {
    std::vector<double> mono(std::size_t(frames), 0.0);
    std::mt19937 generator(23);
    for (std::size_t i = mono.size() / 3; i < mono.size(); ++i)
        mono[i] = 0.9 * unitNoise(generator);
    return fromMono(mono, sampleRate);
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
