#pragma once

// Test signals whose every sample the test knows, as interleaved float frames.

#include <cstdint>
#include <vector>

namespace test_support {

struct Signal {
    int sampleRate = 44100;
    int channels = 2;
    std::vector<float> samples; // interleaved, channels per frame

    std::int64_t frames() const { return channels ? std::int64_t(samples.size()) / channels : 0; }
    float at(std::int64_t frame, int channel) const { return samples[frame * channels + channel]; }
};

// A frame-index ramp: the value tells the frame it came from, exactly representable in 16
// bits, so lossless formats give back exactly this and a seek can be checked to the frame.
// Channel c counts from an offset of 12345·c, wrapping every 65536 frames.
Signal makeRamp(std::int64_t frames, int channels, int sampleRate);
// The frame a ramp value of channel 0 stands for, modulo 65536.
std::int64_t rampFrame(float value);
float rampValue(std::int64_t frame, int channel);

// A sine of `frequency` Hz; channel c has phase `phase` + c·π/2.
Signal makeSine(std::int64_t frames, int channels, int sampleRate, double frequency,
                double amplitude = 0.5, double phase = 0.0);
// Uniform noise in [-amplitude, amplitude] from a fixed seed.
Signal makeNoise(std::int64_t frames, int channels, int sampleRate, std::uint32_t seed,
                 double amplitude = 0.5);
Signal makeConstant(std::int64_t frames, int channels, int sampleRate, float value);

// Material with sharp attacks, which makes every lossy encoder switch to short blocks (real
// music does so at every drum hit; steady tones and noise never do). Stereo, with the
// right channel a little quieter than the left.
// A drum-like burst of decaying noise every 250 ms over a quiet 220 Hz tone.
Signal makeDrumBursts(std::int64_t frames, int sampleRate);
// Single loud clicks at irregular intervals over silence.
Signal makeClicks(std::int64_t frames, int sampleRate);
// Silence for the first third, then noise at nearly full scale.
Signal makeSilenceThenNoise(std::int64_t frames, int sampleRate);

// The client-format view of a signal: two channels, mono duplicated. (Multichannel
// down-mixing is the decoder's business and is checked against ffmpeg's own matrix.)
std::vector<float> asStereo(const Signal& signal);

} // namespace test_support
