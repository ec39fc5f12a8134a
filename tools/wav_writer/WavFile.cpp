#include "tools/wav_writer/WavFile.h"

#include <cstring>

namespace {
void put32(unsigned char* at, std::uint32_t v) {
    for (int i = 0; i < 4; ++i)
        at[i] = static_cast<unsigned char>(v >> (8 * i));
}
void put16(unsigned char* at, std::uint16_t v) {
    at[0] = static_cast<unsigned char>(v);
    at[1] = static_cast<unsigned char>(v >> 8);
}
} // namespace

WavFileWriter::WavFileWriter(const std::string& path, int sampleRate) : rate(sampleRate) {
    file = std::fopen(path.c_str(), "wb");
    if (file)
        writeHeader();
}

WavFileWriter::~WavFileWriter() {
    close();
}

void WavFileWriter::writeHeader() {
    const std::uint64_t dataBytes = frames * 8;
    unsigned char header[44];
    std::memcpy(header, "RIFF", 4);
    put32(header + 4, std::uint32_t(36 + dataBytes));
    std::memcpy(header + 8, "WAVEfmt ", 8);
    put32(header + 16, 16);
    put16(header + 20, 3); // IEEE float
    put16(header + 22, 2);
    put32(header + 24, std::uint32_t(rate));
    put32(header + 28, std::uint32_t(rate) * 8);
    put16(header + 32, 8);
    put16(header + 34, 32);
    std::memcpy(header + 36, "data", 4);
    put32(header + 40, std::uint32_t(dataBytes));
    if (std::fwrite(header, 1, sizeof header, file) != sizeof header)
        failed = true;
}

void WavFileWriter::write(const float* data, std::uint32_t count) {
    if (!file || count == 0)
        return;
    if (std::fwrite(data, sizeof(float) * 2, count, file) != count)
        failed = true;
    frames += count;
}

bool WavFileWriter::close() {
    if (!file)
        return !failed;
    if (std::fseek(file, 0, SEEK_SET) == 0)
        writeHeader();
    else
        failed = true;
    if (std::fclose(file) != 0)
        failed = true;
    file = nullptr;
    return !failed;
}
