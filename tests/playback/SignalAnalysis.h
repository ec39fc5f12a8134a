#pragma once

// Measurements on rendered or recorded output, for the playback tests.

#include <cstdint>
#include <filesystem>
#include <vector>

namespace playback_test {

// Channel `channel` of interleaved stereo frames.
std::vector<float> channelOf(const std::vector<float>& stereo, int channel);

// The frequency of a steady sine in samples [begin, end), from the spacing of its rising
// zero crossings, each placed by linear interpolation between the samples around it. Over
// a second of a few hundred hertz that is far finer than the one-cent (0.06 %) tolerance
// the tests use.
double sineFrequency(const std::vector<float>& mono, double sampleRate, std::size_t begin,
                     std::size_t end);

double rms(const std::vector<float>& mono, std::size_t begin, std::size_t end);

// First and one-past-last sample whose magnitude exceeds `threshold`; {0, 0} if none.
std::pair<std::size_t, std::size_t> audibleSpan(const std::vector<float>& mono, float threshold);

// Difference in cents between two frequencies.
double cents(double frequency, double reference);

// Interleaved frames and rate of a 32-bit float WAV (as parecord and the play tool write).
} // namespace playback_test
