#pragma once

// Writes interleaved stereo float frames to an audio file with FFmpeg's encoders: WAV as
// 32-bit float or 16-bit integer, FLAC (24-bit) or MP3 (256 kbit/s), the format chosen by
// the file name's extension.
//
// Nothing of a file that is not finished is left behind: the frames go to a hidden
// temporary file in the target's folder, which finish() renames to the target and
// abandon() (or the destructor, unless finished) removes. An existing file at the target
// is replaced only by a finished one.
//
// Thread contract: one thread at a time; the object may move between threads.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

struct AVFrame;

namespace platform {

enum class ExportFormat { WavFloat, Wav16, Flac, Mp3 };

// The format a file name asks for: .wav (as 16-bit when `wav16`), .flac, .mp3 (any case);
// nothing for another extension.
std::optional<ExportFormat> exportFormatForPath(const std::string& path, bool wav16 = false);

class AudioEncoder {
public:
    AudioEncoder();
    ~AudioEncoder();
    AudioEncoder(const AudioEncoder&) = delete;
    AudioEncoder& operator=(const AudioEncoder&) = delete;

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
