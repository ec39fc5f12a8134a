#pragma once

// Writes interleaved stereo float frames to an audio file: WAV as 32-bit float or 16-bit
// integer, FLAC (24-bit) or MP3 (256 kbit/s), the format chosen by the file name's extension.
// The encoding runs on a thread of the encoder's own, a few blocks behind the caller, so
// that a render and its encoding share two cores.
//
// Nothing of a file that is not finished is left behind: the frames go to a hidden
// temporary file in the target's folder, which finish() renames to the target and
// abandon() (or the destructor, unless finished) removes. An existing file at the target
// is replaced only by a finished one.
//
// Thread contract: the calls are made from one thread at a time (the object may move
// between threads); write() waits while the encoding is too far behind.

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace platform {

enum class ExportFormat { WavFloat, Wav16, Flac, Mp3 };

// The format a file name asks for: .wav (as 16-bit when `wav16`), .flac, .mp3 (any case);
// nothing for another extension.
std::optional<ExportFormat> exportFormatForPath(const std::string& path, bool wav16 = false);

class FileEncoder;

class AudioEncoder {
public:
    AudioEncoder();
    ~AudioEncoder();
    AudioEncoder(const AudioEncoder&) = delete;
    AudioEncoder& operator=(const AudioEncoder&) = delete;

    // Starts a file of `format` at `sampleRate`. False, with error() saying why, when it
    // cannot be written (no such folder, no permission, a disk that refuses).
    bool open(const std::string& path, ExportFormat format, int sampleRate);
    // Hands `frames` interleaved stereo frames to the encoding thread. False once the
    // encoding has failed (a write error), with error() saying why.
    bool write(const float* interleaved, std::size_t frames);
    // Encodes what is left, flushes the encoder, closes the file and puts it in place. False
    // on a write error (the temporary file is then removed).
    bool finish();
    // Drops the file being written.
    void abandon();

    // Why the last call failed, in plain words.
    const std::string& error() const { return error_; }

private:
    void encodeBlocks();
    // Ends the thread, after it has encoded every block handed over unless `dropQueued`.
    void stopThread(bool dropQueued);

    std::unique_ptr<FileEncoder> file_;
    std::string error_;
    std::thread thread_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<std::vector<float>> queued_; // guarded by mutex_
    std::vector<std::vector<float>> spare_; // emptied blocks to refill; guarded by mutex_
    bool closing_ = false;                  // guarded by mutex_
    bool failed_ = false;                   // guarded by mutex_
};

} // namespace platform
