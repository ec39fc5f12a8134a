#pragma once

// 16-bit PCM WAV: the one format every decoder reads, so the demo opens wherever the app runs.

#include <cstdint>
#include <filesystem>
#include <span>

namespace make_demo {

// Writes interleaved samples; throws std::runtime_error when the file cannot be written.
void writeWav16(const std::filesystem::path& path, int sampleRate, int channels,
                std::span<const std::int16_t> interleaved);

} // namespace make_demo
