// The fatal status check and the file class that relies on it, run in child processes:
// what they print, and that they end the process with status 1 from any thread.

#include "audio/CheckError.h"

#include "audio/AudioFilePreflight.h"
#include "audio/KTAudioFile.h"
#include "tests/support/Fixtures.h"

#include <gtest/gtest.h>
#include <mutex>
#include <thread>

using namespace test_support;

namespace {

TEST(CheckErrorDeathTest, PrintsTheStatusAsAFourCharacterCodeWhenPrintable) {
    EXPECT_EXIT(CheckError(platform::statusCode("typ?"), "Open file"), testing::ExitedWithCode(1),
                "^1954115647\nError: Open file \\('typ\\?'\\)\n\n?$");
}

TEST(CheckErrorDeathTest, PrintsOtherStatusesAsDecimalNumbers) {
    EXPECT_EXIT(CheckError(-43, "Open file"), testing::ExitedWithCode(1),
                "^-43\nError: Open file \\(-43\\)\n\n?$");
    EXPECT_EXIT(CheckError(0x00ff0041, "Get num frames"), testing::ExitedWithCode(1),
                "Error: Get num frames \\(16711745\\)");
}

TEST(CheckErrorDeathTest, EndsTheProcessFromAnotherThreadWhileTheMainOneIsBlocked) {
    EXPECT_EXIT(
        {
            std::mutex held;
            held.lock();
            std::thread failing([] { CheckError(-50, "AudioQueueStart failed"); });
            held.lock(); // never returns: only the failing thread can end this
            failing.join();
        },
        testing::ExitedWithCode(1), "Error: AudioQueueStart failed \\(-50\\)");
}

TEST(CheckError, ReturnsForNoError) {
    CheckError(platform::noErr, "nothing wrong");
    EXPECT_EQ(statusText(platform::statusCode("fmt?")), "'fmt?'");
    EXPECT_EQ(statusText(-66561), "-66561");
}

TEST(KTAudioFileDeathTest, AFileThatIsNotAudioEndsTheProcessAtOpen) {
    const std::string text = textFileNamedMp3().string();
    EXPECT_EXIT(KTAudioFile{text}, testing::ExitedWithCode(1), "Error: Open file \\('typ\\?'\\)");
    const std::string missing = missingFile().string();
    EXPECT_EXIT(KTAudioFile{missing}, testing::ExitedWithCode(1), "Error: Open file \\(-43\\)");
}

TEST(KTAudioFile, ReportsLengthAndRateOfTheFileInTheClientFormat) {
    for (const int rate : {22050, 44100, 96000}) {
        const auto path = makeFixture(makeRamp(2345, 1, rate), encoding("flac"), "audiofile");
        const KTAudioFile file(path.string());
        EXPECT_EQ(file.sampleRate(), rate);
        EXPECT_EQ(file.totalFrames(), 2345);
        const platform::AudioStreamBasicDescription format = file.outputFormat();
        EXPECT_EQ(format.mSampleRate, rate);
        EXPECT_EQ(format.mChannelsPerFrame, 2u);
        EXPECT_EQ(format.mBytesPerFrame, 8u);
        EXPECT_EQ(format.mFormatFlags, 9u);
        EXPECT_NE(file.audioFileId(), nullptr);
        EXPECT_FALSE(file.isLoaded());
    }
    EXPECT_EQ(audioFileProblem(directoryPath().string()), "not an audio file ('typ?')");
    EXPECT_EQ(audioFileProblem(missingFile().string()), "the file does not exist (-43)");
}

} // namespace
