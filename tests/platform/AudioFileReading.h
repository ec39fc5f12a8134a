#pragma once

// Reading whole files and stretches of them through the audio-file calls, for tests.

#include "platform/audio_file/ExtAudioFile.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace test_support {

class OpenedFile {
public:
    explicit OpenedFile(const std::string& path) {
        status = platform::ExtAudioFileOpenURL(path, &file);
        if (status != platform::noErr)
            return;
        platform::AudioStreamBasicDescription format;
        std::uint32_t size = sizeof format;
        platform::ExtAudioFileGetProperty(file, platform::kExtAudioFileProperty_FileDataFormat,
                                          &size, &format);
        sampleRate = format.mSampleRate;
        const auto client = platform::stereoFloatFormat(sampleRate);
        status = platform::ExtAudioFileSetProperty(
            file, platform::kExtAudioFileProperty_ClientDataFormat, sizeof client, &client);
    }
    ~OpenedFile() {
        if (file)
            platform::ExtAudioFileDispose(file);
    }
    OpenedFile(const OpenedFile&) = delete;
    OpenedFile& operator=(const OpenedFile&) = delete;

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
            platform::AudioBufferList list;
            list.mNumberBuffers = 1;
            list.mBuffers[0] = {2, count * 8, buffer.data()};
            EXPECT_EQ(platform::ExtAudioFileRead(file, &count, &list), platform::noErr);
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

    platform::ExtAudioFileRef file = nullptr;
    platform::OSStatus status = platform::noErr;
    double sampleRate = 0;
};

} // namespace test_support
