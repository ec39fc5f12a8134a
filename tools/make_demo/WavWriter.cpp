#include "tools/make_demo/WavWriter.h"

#include <fstream>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

namespace make_demo {

namespace {

// WAV is little-endian whatever the host is, so bytes are placed one by one.
void put(std::vector<char>& out, std::uint32_t value, int bytes) {
    for (int i = 0; i < bytes; ++i)
        out.push_back(char((value >> (8 * i)) & 0xffu));
}

void put(std::vector<char>& out, const char (&tag)[5]) {
    out.insert(out.end(), tag, tag + 4);
}

} // namespace

void writeWav16(const std::filesystem::path& path, int sampleRate, int channels,
                std::span<const std::int16_t> interleaved) {
    const std::uint64_t dataBytes = interleaved.size() * 2;
    if (dataBytes > std::numeric_limits<std::uint32_t>::max() - 36)
        throw std::runtime_error("too long for a WAV file");
    const auto blockAlign = std::uint32_t(channels * 2);

    std::vector<char> bytes;
    bytes.reserve(44 + dataBytes);
    put(bytes, "RIFF");
    put(bytes, std::uint32_t(36 + dataBytes), 4);
    put(bytes, "WAVE");
    put(bytes, "fmt ");
    put(bytes, 16, 4);
    put(bytes, 1, 2); // integer PCM
    put(bytes, std::uint32_t(channels), 2);
    put(bytes, std::uint32_t(sampleRate), 4);
    put(bytes, std::uint32_t(sampleRate) * blockAlign, 4);
    put(bytes, blockAlign, 2);
    put(bytes, 16, 2);
    put(bytes, "data");
    put(bytes, std::uint32_t(dataBytes), 4);
    for (std::int16_t sample : interleaved)
        put(bytes, std::uint16_t(sample), 2);

    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(bytes.data(), std::streamsize(bytes.size()));
    file.close();
    if (!file)
        throw std::runtime_error("cannot write " + path.string());
}

} // namespace make_demo
