// Files that are not what they claim: each gives a clear status or reads what it really
// holds, and never crashes or hangs.

#include "tests/platform/AudioFileReading.h"
#include "tests/support/Fixtures.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <sys/stat.h>

using namespace test_support;
using namespace platform;

namespace {

OSStatus openStatus(const std::string& location) {
    ExtAudioFileRef file = nullptr;
    const OSStatus status = ExtAudioFileOpenURL(location, &file);
    if (file)
        ExtAudioFileDispose(file);
    EXPECT_EQ(status == noErr, file != nullptr);
    return status;
}

TEST(AudioFileBadInput, OpenFailsWithTheStatusForWhatThePathIs) {
    EXPECT_EQ(openStatus(missingFile()), kFileNotFoundError);
    EXPECT_EQ(openStatus(""), kFileNotFoundError);
    EXPECT_EQ(openStatus(emptyFile()), kAudioFileUnsupportedFileTypeError);
    EXPECT_EQ(openStatus(textFileNamedMp3()), kAudioFileUnsupportedFileTypeError);
    EXPECT_EQ(openStatus(directoryPath()), kAudioFileUnsupportedFileTypeError);
    EXPECT_EQ(openStatus("file://elsewhere.example/music.wav"), kFileNotFoundError);
    // A named pipe with an audio name would block the reader until someone writes to it.
    const ScratchFolder folder;
    ASSERT_EQ(mkfifo((folder / "pipe.wav").c_str(), 0600), 0);
    EXPECT_EQ(openStatus(folder / "pipe.wav"), kAudioFileUnsupportedFileTypeError);
    EXPECT_EQ(openStatus("/dev/zero"), kAudioFileUnsupportedFileTypeError);
}

TEST(AudioFileBadInput, FileUrlsAreDecoded) {
    const auto path = makeFixture(makeRamp(100, 2, 44100), encoding("wav16"), "url name");
    std::string url = "file://";
    for (char c : path.string())
        url += c == ' ' ? std::string("%20") : std::string(1, c);
    EXPECT_EQ(openStatus(url), noErr);
}

TEST(AudioFileBadInput, ATruncatedFileReadsToWhereItsDataEnds) {
    OpenedFile file(wavCutOffHalfway());
    ASSERT_EQ(file.status, noErr);
    const std::int64_t length = file.length();
    EXPECT_GT(length, 9000);
    EXPECT_LT(length, 10000);
    const std::vector<float> samples = file.readAll();
    EXPECT_EQ(std::int64_t(samples.size() / 2), length);
    const Signal ramp = makeRamp(length, 2, 44100);
    EXPECT_EQ(samples, ramp.samples);
}

// A short FLAC, where the demuxer cannot seek and the file is read again from its top: the
// file read again is the one opened, even after its path was given to another file.
TEST(AudioFileBadInput, AFileReplacedAfterOpeningIsStillReadAsOpened) {
    const Signal ramp = makeRamp(1000, 2, 48000);
    const auto fixture = makeFixture(ramp, encoding("flac"), "replaced");
    const ScratchFolder folder;
    std::filesystem::copy_file(fixture, folder / "take.flac");
    OpenedFile file(folder / "take.flac");
    ASSERT_EQ(file.status, noErr);
    std::filesystem::remove(folder / "take.flac");
    std::filesystem::copy_file(
        makeFixture(makeConstant(1000, 2, 48000, 0.5f), encoding("flac"), "replacement"),
        folder / "take.flac");
    ASSERT_EQ(file.seek(500), noErr);
    EXPECT_EQ(file.read(10),
              std::vector<float>(ramp.samples.begin() + 1000, ramp.samples.begin() + 1020));
}

} // namespace
