#pragma once

// Reading whole files and stretches of them through the audio-file calls, as the program
// reads them, and how well a decode lines up with what it should be, for tests.

#include "platform/audio_file/ExtAudioFile.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace test_support {

class OpenedFile {
public:
    explicit OpenedFile(const std::string& path)
        : file(platform::ExtAudioFileOpenStereoFloat(path, status)) {}
    ~OpenedFile() {
        if (file)
            platform::ExtAudioFileDispose(file);
    }
    OpenedFile(const OpenedFile&) = delete;
    OpenedFile& operator=(const OpenedFile&) = delete;

    // The file's own format.
    platform::AudioStreamBasicDescription format() const {
        platform::AudioStreamBasicDescription format{};
        std::uint32_t size = sizeof format;
        platform::ExtAudioFileGetProperty(file, platform::kExtAudioFileProperty_FileDataFormat,
                                          &size, &format);
        return format;
    }
    double sampleRate() const { return format().mSampleRate; }
    std::int64_t length() const {
        std::int64_t frames = -1;
        std::uint32_t size = sizeof frames;
        platform::ExtAudioFileGetProperty(file, platform::kExtAudioFileProperty_FileLengthFrames,
                                          &size, &frames);
        return frames;
    }

    // Up to `frames` frames from the read position, in reads of `chunk` frames.
    std::vector<float> read(std::int64_t frames, std::uint32_t chunk = 4096) {
        std::vector<float> out;
        std::vector<float> buffer(std::size_t(chunk) * 2);
        while (std::int64_t(out.size() / 2) < frames) {
            std::uint32_t count =
                std::uint32_t(std::min<std::int64_t>(chunk, frames - std::int64_t(out.size() / 2)));
            EXPECT_EQ(platform::ExtAudioFileReadStereoFloat(file, &count, buffer.data()),
                      platform::noErr);
            if (count == 0)
                break;
            out.insert(out.end(), buffer.begin(), buffer.begin() + std::ptrdiff_t(count) * 2);
        }
        return out;
    }
    std::vector<float> readAll() { return read(INT64_MAX / 4); }

    platform::OSStatus seek(std::int64_t frame) { return platform::ExtAudioFileSeek(file, frame); }
    std::int64_t tell() const {
        std::int64_t position = -1;
        platform::ExtAudioFileTell(file, &position);
        return position;
    }

    platform::OSStatus status = platform::noErr;
    platform::ExtAudioFileRef file = nullptr;
};

// The lag (frames, within ±range) at which the left channel of `decoded` best matches that
// of `reference` over the stretch [from, from + span) of the reference; 0 where that
// stretch is silent.
inline int bestLag(const std::vector<float>& reference, const std::vector<float>& decoded,
                   std::int64_t from, std::int64_t span, int range) {
    const std::int64_t frames = std::int64_t(std::min(reference.size(), decoded.size()) / 2);
    const std::int64_t first = std::max<std::int64_t>(from, range);
    const std::int64_t last = std::min(from + span, frames - range);
    int best = 0;
    double bestScore = 0;
    for (int lag = -range; lag <= range; ++lag) {
        double score = 0;
        for (std::int64_t f = first; f < last; ++f)
            score += double(reference[2 * f]) * decoded[2 * (f + lag)];
        if (score > bestScore) {
            bestScore = score;
            best = lag;
        }
    }
    return best;
}

} // namespace test_support
