#pragma once

// Encodes interleaved stereo float frames to an audio file with FFmpeg's encoders, on the
// calling thread: WAV as 32-bit float or 16-bit integer, FLAC (24-bit) or MP3 (256 kbit/s).
// AudioEncoder (AudioEncoder.h) runs one on a thread of its own.
//
// Nothing of a file that is not finished is left behind: the frames go to a hidden
// temporary file in the target's folder, which finish() renames to the target and
// abandon() (or the destructor, unless finished) removes. An existing file at the target
// is replaced only by a finished one.
//
// Thread contract: one thread at a time; the object may move between threads.

#include "platform/audio_export/AudioEncoder.h"

#include <cstdint>
#include <memory>
#include <string>

struct AVFrame;

namespace platform {

class FileEncoder {
public:
    FileEncoder();
    ~FileEncoder();
    FileEncoder(const FileEncoder&) = delete;
    FileEncoder& operator=(const FileEncoder&) = delete;

    // Starts a file of `format` at `sampleRate`. False, with error() saying why, when it
    // cannot be written (no such folder, no permission, a disk that refuses).
    bool open(const std::string& path, ExportFormat format, int sampleRate);
    // Encodes `frames` interleaved stereo frames. False on a write error.
    bool write(const float* interleaved, std::size_t frames);
    // Flushes the encoder, closes the file and puts it in place. False on a write error
    // (the temporary file is then removed).
    bool finish();
    // Drops the file being written.
    void abandon();

    // Why the last call failed, in plain words.
    const std::string& error() const { return error_; }

private:
    struct State;
    bool fail(const std::string& what, int ffmpegStatus = 0);
    bool encodeAvailable(bool flushing);
    bool sendAndWrite(const AVFrame* frame);

    std::unique_ptr<State> state;
    std::string error_;
};

} // namespace platform
