#pragma once

// Writes WAV files: interleaved stereo 32-bit float frames as they come (IEEE float
// format), or a whole recording of 16-bit PCM at once.

#include <cstdint>
#include <cstdio>
#include <span>
#include <string>

// Writes `interleaved` samples of `channels` channels as 16-bit PCM, the one format every
// decoder reads. False when the file cannot be written.
bool writeWav16(const std::string& path, int sampleRate, int channels,
                std::span<const std::int16_t> interleaved);

class WavFileWriter {
public:
    WavFileWriter(const std::string& path, int sampleRate);
    ~WavFileWriter();
    WavFileWriter(const WavFileWriter&) = delete;
    WavFileWriter& operator=(const WavFileWriter&) = delete;

    bool isOpen() const { return file != nullptr; }
    void write(const float* frames, std::uint32_t count);
    // Fills in the sizes; called by the destructor if not before. False on a write error.
    bool close();

private:
    void writeHeader();
    std::FILE* file = nullptr;
    int rate;
    std::uint64_t frames = 0;
    bool failed = false;
};
