#include "tools/wav_writer/WavFile.h"

#include <array>
#include <cstring>
#include <vector>

namespace {
void put32(unsigned char* at, std::uint32_t v) {
    for (int i = 0; i < 4; ++i)
        at[i] = static_cast<unsigned char>(v >> (8 * i));
}
void put16(unsigned char* at, std::uint16_t v) {
    at[0] = static_cast<unsigned char>(v);
    at[1] = static_cast<unsigned char>(v >> 8);
}
// The 44-byte header of a file of `dataBytes` bytes of samples; `format` 1 is integer PCM,
// 3 IEEE float.
std::array<unsigned char, 44> wavHeader(std::uint16_t format, int channels, int bits, int rate,
                                        std::uint64_t dataBytes) {
    const auto blockAlign = std::uint32_t(channels * bits / 8);
    std::array<unsigned char, 44> header{};
    std::memcpy(header.data(), "RIFF", 4);
    put32(header.data() + 4, std::uint32_t(36 + dataBytes));
    std::memcpy(header.data() + 8, "WAVEfmt ", 8);
    put32(header.data() + 16, 16);
    put16(header.data() + 20, format);
    put16(header.data() + 22, std::uint16_t(channels));
    put32(header.data() + 24, std::uint32_t(rate));
    put32(header.data() + 28, std::uint32_t(rate) * blockAlign);
    put16(header.data() + 32, std::uint16_t(blockAlign));
    put16(header.data() + 34, std::uint16_t(bits));
    std::memcpy(header.data() + 36, "data", 4);
    put32(header.data() + 40, std::uint32_t(dataBytes));
    return header;
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
    const auto header = wavHeader(3, 2, 32, rate, frames * 8); // IEEE float
    if (std::fwrite(header.data(), 1, header.size(), file) != header.size())
        failed = true;
}

bool writeWav16(const std::string& path, int sampleRate, int channels,
                std::span<const std::int16_t> interleaved) {
    const std::uint64_t dataBytes = interleaved.size() * 2;
    if (dataBytes > 0xffffffffu - 36)
        return false;
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (!file)
        return false;
    const auto header = wavHeader(1, channels, 16, sampleRate, dataBytes); // integer PCM
    bool written = std::fwrite(header.data(), 1, header.size(), file) == header.size();
    // WAV is little-endian whatever the host is, so each sample is placed byte by byte.
    std::vector<unsigned char> bytes(static_cast<std::size_t>(dataBytes));
    for (std::size_t i = 0; i < interleaved.size(); ++i)
        put16(bytes.data() + 2 * i, std::uint16_t(interleaved[i]));
    written = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size() && written;
    return std::fclose(file) == 0 && written;
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
