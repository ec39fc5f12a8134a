#include "tools/wav_writer/WavFileReader.h"

#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>

std::optional<FloatWav> readFloatWav(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    const std::vector<char> bytes((std::istreambuf_iterator<char>(in)),
                                  std::istreambuf_iterator<char>());
    auto u32 = [&](std::size_t at) {
        std::uint32_t v;
        std::memcpy(&v, bytes.data() + at, 4);
        return v;
    };
    auto u16 = [&](std::size_t at) {
        std::uint16_t v;
        std::memcpy(&v, bytes.data() + at, 2);
        return v;
    };
    if (bytes.size() < 12 || std::memcmp(bytes.data(), "RIFF", 4) != 0)
        return std::nullopt;
    FloatWav wav;
    for (std::size_t at = 12; at + 8 <= bytes.size();) {
        const std::string id(bytes.data() + at, 4);
        std::size_t size = u32(at + 4);
        if (id == "fmt ") {
            if (at + 24 > bytes.size() || u16(at + 22) != 32)
                return std::nullopt;
            wav.channels = u16(at + 10);
            wav.sampleRate = int(u32(at + 12));
        } else if (id == "data") {
            if (wav.channels <= 0)
                return std::nullopt;
            if (size == 0 || size == 0xffffffffu || at + 8 + size > bytes.size())
                size = bytes.size() - at - 8;
            wav.samples.resize(size / 4);
            std::memcpy(wav.samples.data(), bytes.data() + at + 8, wav.samples.size() * 4);
            return wav;
        }
        at += 8 + size + (size & 1);
    }
    return std::nullopt;
}
