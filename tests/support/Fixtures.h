#pragma once

// Real encoded audio files for the tests, made at test time by the ffmpeg tool from a
// Signal, plus the bad files every reader must survive. Files are cached by content in
// the build tree's fixtures folder, so each is encoded once per build.

#include "tests/support/Signals.h"

#include <filesystem>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace test_support {

struct Encoding {
    std::string name;      // "wav16", "mp3cbr", ...
    std::string extension; // ".wav"
    std::vector<std::string> ffmpegArguments;
    bool lossless = false;
    // Lossy codecs with a fixed rate (Opus: 48000) resample anything else.
    int onlySampleRate = 0;
};

// For test names and failure messages: the encoding's name.
void PrintTo(const Encoding& format, std::ostream* out);

// wav16 wav24 wavf32 wavs32 wavf64 aiff flac alac mp3cbr mp3vbr aac vorbis opus webmopus
// mkvflac mkvpcm
const std::vector<Encoding>& allEncodings();
const Encoding& encoding(std::string_view name);

// Encodes `signal` with `format` (cached). Throws std::runtime_error when ffmpeg fails.
std::filesystem::path makeFixture(const Signal& signal, const Encoding& format,
                                  std::string_view label);

// The folder fixtures live in (created on first use).
std::filesystem::path fixtureDirectory();

// Decodes `file` with the ffmpeg tool to interleaved float stereo at the file's rate
// (ffmpeg's own down-mix), as the reference for what a decoder should give.
std::vector<float> decodeWithFfmpeg(const std::filesystem::path& file);

// Decodes an Ogg Vorbis file with oggdec, the reference decoder (libvorbisfile), to
// interleaved float stereo: what the file holds, to 16 bits.
std::vector<float> decodeWithOggdec(const std::filesystem::path& file);

// A copy of an Ogg Vorbis file whose granule positions say that `trimmedFrames` frames
// were trimmed from the start (every audio page's lowered by that much), as a cut made to
// the sample leaves it, and whose last header page also carries the first
// `packetsOnHeaderPage` audio packets (and, when they are the first audio page's all, its
// granule position), as some encoders write it.
std::filesystem::path withRepaginatedOggStart(const std::filesystem::path& file, int trimmedFrames,
                                              int packetsOnHeaderPage = 0);

// Bad input.
std::filesystem::path missingFile();
std::filesystem::path emptyFile();
std::filesystem::path textFileNamedMp3();
std::filesystem::path wavCutOffHalfway(); // header promises twice the data it has
std::filesystem::path directoryPath();

// A fresh folder of the test's own in the system's temporary folder, removed with all it
// holds when the object goes.
class ScratchFolder {
public:
    ScratchFolder();
    ~ScratchFolder();
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    const std::filesystem::path& path() const { return path_; }
    std::filesystem::path operator/(std::string_view name) const { return path_ / name; }

private:
    std::filesystem::path path_;
};

std::string readFile(const std::filesystem::path& path);
// Whole or not at all: another test process may be reading the same file.
void writeFile(const std::filesystem::path& path, std::string_view bytes);

// Runs a shell command line; returns its exit status.
int run(const std::string& commandLine);
// Runs a shell command line; returns its standard output without the trailing newline,
// empty when it fails.
std::string capture(const std::string& commandLine);
std::string shellQuote(const std::string& text);

} // namespace test_support
