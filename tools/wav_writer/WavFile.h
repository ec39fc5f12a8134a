#pragma once

// Writes interleaved stereo 32-bit float frames to a WAV file (IEEE float format).

#include <cstdint>
#include <cstdio>
#include <string>

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
