#pragma once

// Reads a 32-bit float WAV file (the kind WavFileWriter and parecord write) whole.

#include <filesystem>
#include <optional>
#include <vector>

struct FloatWav {
    int sampleRate = 0;
    int channels = 0;
    std::vector<float> samples; // interleaved
};

// Nullopt when the file is not a 32-bit float WAV. A data chunk whose size was never
// filled in (a recorder killed mid-stream) is taken as running to the end of the file.
std::optional<FloatWav> readFloatWav(const std::filesystem::path& path);
