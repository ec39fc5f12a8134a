// A file the audio classes cannot read: said in plain words where it can be checked first,
// and otherwise the end of the process with status 1, naming the call that failed, from
// whichever thread met it.

#include "audio/CheckError.h"

#include "audio/AudioFilePreflight.h"
#include "audio/KTAudioFile.h"
#include "tests/support/Fixtures.h"

#include <gtest/gtest.h>
#include <mutex>
#include <thread>

using namespace test_support;

namespace {

TEST(AudioFileProblems, AreSaidInPlainWords) {
    EXPECT_EQ(audioFileProblem(directoryPath().string()), "not an audio file ('typ?')");
    EXPECT_EQ(audioFileProblem(missingFile().string()), "the file does not exist (-43)");
    EXPECT_EQ(audioFileProblem(makeFixture(makeRamp(100, 2, 44100), encoding("flac"), "fine")), "");
}

TEST(AudioFileProblemsDeathTest, EndTheProcessWhenNotCheckedFirst) {
    const std::string text = textFileNamedMp3().string();
    EXPECT_EXIT(KTAudioFile{text}, testing::ExitedWithCode(1), "Error: Open file \\('typ\\?'\\)");
    const std::string missing = missingFile().string();
    EXPECT_EXIT(KTAudioFile{missing}, testing::ExitedWithCode(1), "Error: Open file \\(-43\\)");
    // From another thread while the main one is blocked: only the failing thread can end it.
    EXPECT_EXIT(
        {
            std::mutex held;
            held.lock();
            std::thread failing([] { CheckError(-50, "AudioQueueStart failed"); });
            held.lock();
            failing.join();
        },
        testing::ExitedWithCode(1), "Error: AudioQueueStart failed \\(-50\\)");
}

} // namespace
