// Files that are not what they claim: each gives a clear status or reads what it really
// holds, and never crashes or hangs.

#include "tests/platform/AudioFileReading.h"
#include "tests/support/Fixtures.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

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
    const auto pipe = fixtureDirectory() / ("pipe-" + std::to_string(getpid()) + ".wav");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_EQ(openStatus(pipe.string()), kAudioFileUnsupportedFileTypeError);
    std::filesystem::remove(pipe);
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

TEST(AudioFileBadInput, GarbageAfterAValidHeaderNeverHangsOrCrashes) {
    OpenedFile file(validHeaderThenRandomBytes());
    if (file.status != noErr)
        return; // refusing the file outright is as good an answer
    const std::int64_t length = file.length();
    EXPECT_GE(length, 0);
    const std::vector<float> samples = file.readAll();
    EXPECT_LE(std::int64_t(samples.size() / 2), length);
    EXPECT_EQ(file.seek(length / 2), noErr);
    file.read(1000);
}

TEST(AudioFileBadInput, OnlyTheStereoFloatClientFormatIsAccepted) {
    ExtAudioFileRef file = nullptr;
    ASSERT_EQ(ExtAudioFileOpenURL(makeFixture(makeRamp(100, 2, 48000), encoding("flac"), "client"),
                                  &file),
              noErr);
    float buffer[200];
    AudioBufferList list{1, {{2, sizeof buffer, buffer}}};
    std::uint32_t frames = 10;
    EXPECT_EQ(ExtAudioFileRead(file, &frames, &list), kAudioConverterFormatNotSupportedError)
        << "no client format set yet";

    AudioStreamBasicDescription wrong = stereoFloatFormat(48000);
    wrong.mChannelsPerFrame = 1;
    wrong.mBytesPerFrame = wrong.mBytesPerPacket = 4;
    EXPECT_EQ(
        ExtAudioFileSetProperty(file, kExtAudioFileProperty_ClientDataFormat, sizeof wrong, &wrong),
        kAudioConverterFormatNotSupportedError);
    const AudioStreamBasicDescription otherRate = stereoFloatFormat(44100);
    EXPECT_EQ(ExtAudioFileSetProperty(file, kExtAudioFileProperty_ClientDataFormat,
                                      sizeof otherRate, &otherRate),
              kAudioConverterFormatNotSupportedError);
    const AudioStreamBasicDescription right = stereoFloatFormat(48000);
    EXPECT_EQ(
        ExtAudioFileSetProperty(file, kExtAudioFileProperty_ClientDataFormat, sizeof right, &right),
        noErr);
    EXPECT_EQ(
        ExtAudioFileSetProperty(file, kExtAudioFileProperty_FileDataFormat, sizeof right, &right),
        kExtAudioFileInvalidPropertyError);
    frames = 10;
    EXPECT_EQ(ExtAudioFileRead(file, &frames, &list), noErr);
    EXPECT_EQ(frames, 10u);

    AudioStreamBasicDescription fileFormat;
    std::uint32_t size = sizeof fileFormat;
    ASSERT_EQ(
        ExtAudioFileGetProperty(file, kExtAudioFileProperty_FileDataFormat, &size, &fileFormat),
        noErr);
    EXPECT_EQ(fileFormat.mSampleRate, 48000);
    EXPECT_EQ(fileFormat.mChannelsPerFrame, 2u);
    EXPECT_EQ(fileFormat.mFormatID, fourCharCode("flac"));
    size = 4;
    EXPECT_EQ(
        ExtAudioFileGetProperty(file, kExtAudioFileProperty_FileDataFormat, &size, &fileFormat),
        kExtAudioFileInvalidPropertySizeError);
    EXPECT_EQ(ExtAudioFileDispose(file), noErr);
}

} // namespace

namespace {

// A short FLAC, where the demuxer cannot seek and the file is read again from its top: the
// file read again is the one opened, even after its path was given to another file.
TEST(AudioFileBadInput, AFileReplacedAfterOpeningIsStillReadAsOpened) {
    const Signal ramp = makeRamp(1000, 2, 48000);
    const auto fixture = makeFixture(ramp, encoding("flac"), "replaced");
    const auto path = fixtureDirectory() / ("replaced-" + std::to_string(getpid()) + ".flac");
    std::filesystem::copy_file(fixture, path, std::filesystem::copy_options::overwrite_existing);
    OpenedFile file(path.string());
    ASSERT_EQ(file.status, noErr);
    std::filesystem::remove(path);
    std::filesystem::copy_file(
        makeFixture(makeConstant(1000, 2, 48000, 0.5f), encoding("flac"), "replacement"), path);
    ASSERT_EQ(file.seek(500), noErr);
    EXPECT_EQ(file.read(10),
              std::vector<float>(ramp.samples.begin() + 1000, ramp.samples.begin() + 1020));
    std::filesystem::remove(path);
}

} // namespace
