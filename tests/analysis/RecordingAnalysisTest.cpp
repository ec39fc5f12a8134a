// The analysis runner and the decode pass beneath it: parallel segments give the features
// of one pass, a cancel ends the work at once, bad files give an error.

#include "analysis/recording/AnalysisJob.h"
#include "analysis/recording/AnalyzeRecording.h"
#include "analysis/rhythm/OnsetFeatures.h"
#include "analysis/signal/SignalPass.h"
#include "tests/support/Fixtures.h"
#include "tests/support/Labelled.h"
#include "tests/support/Music.h"

#include <chrono>
#include <gtest/gtest.h>
#include <thread>

using namespace analysis;
using Clock = std::chrono::steady_clock;

namespace {

// Long enough to be decoded in two segments.
std::string longPiece() {
    return test_support::renderMusic({"long_120", 120, 4, 40, true}).string();
}

OnsetTrack onsetsWithThreads(const std::string& path, unsigned threads) {
    OnsetFeatures features;
    PassControl control;
    control.threads = threads;
    EXPECT_EQ(runSignalPass(path, {&features}, control).status, PassStatus::Done);
    return features.takeResult();
}

TEST(SignalPass, SegmentsDecodedApartGiveTheFeaturesOfOnePass) {
    const OnsetTrack whole = onsetsWithThreads(longPiece(), 1);
    const OnsetTrack split = onsetsWithThreads(longPiece(), 2);
    ASSERT_EQ(split.onset.size(), whole.onset.size());
    ASSERT_EQ(split.pitchClasses.size(), whole.pitchClasses.size());
    float largest = 0;
    for (std::size_t k = 0; k < whole.onset.size(); ++k)
        largest = std::max(largest, whole.onset[k]);
    for (std::size_t k = 0; k < whole.onset.size(); ++k)
        ASSERT_NEAR(split.onset[k], whole.onset[k], 1e-3f * largest) << "frame " << k;
    for (std::size_t k = 0; k < whole.pitchClasses.size(); ++k)
        ASSERT_NEAR(split.pitchClasses[k][0], whole.pitchClasses[k][0], 1e-3f) << "frame " << k;
}

TEST(AnalysisJob, CancelEndsTheWorkAtOnce) {
    const std::string path = longPiece();
    const auto start = Clock::now();
    AnalysisJob job(path);
    job.cancel();
    while (!job.isFinished())
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    EXPECT_LT(Clock::now() - start, std::chrono::milliseconds(300));
    EXPECT_EQ(job.takeResult().status, AnalysisStatus::Cancelled);
}

TEST(AnalysisJob, DroppingARunningJobReturnsAtOnce) {
    const std::string path = longPiece();
    auto job = std::make_unique<AnalysisJob>(path);
    while (job->progress() == 0.0 && !job->isFinished())
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    const auto start = Clock::now();
    job.reset();
    EXPECT_LT(Clock::now() - start, std::chrono::milliseconds(300));
}

TEST(AnalysisJob, FinishesWithTheResultAndFullProgress) {
    AnalysisJob job(longPiece());
    while (!job.isFinished())
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    EXPECT_EQ(job.progress(), 1.0);
    const RecordingAnalysis result = job.takeResult();
    EXPECT_EQ(result.status, AnalysisStatus::Done);
    EXPECT_NEAR(result.rhythm.tempoBpm, 120, 4);
}

struct BadFile : test_support::Labelled {
    std::filesystem::path (*make)();
};

class BadFiles : public testing::TestWithParam<BadFile> {};

TEST_P(BadFiles, GiveAnErrorNotACrash) {
    const RecordingAnalysis result = analyzeRecording(GetParam().make().string());
    EXPECT_EQ(result.status, AnalysisStatus::Failed);
    EXPECT_FALSE(result.error.empty());
}

INSTANTIATE_TEST_SUITE_P(Analysis, BadFiles,
                         testing::Values(BadFile{"missing", test_support::missingFile},
                                         BadFile{"empty", test_support::emptyFile},
                                         BadFile{"text_named_mp3", test_support::textFileNamedMp3},
                                         BadFile{"directory", test_support::directoryPath}),
                         test_support::byLabel);

// A file cut short is analysed as far as it goes.
TEST(Analysis, ACutShortFileIsAnalysedAsFarAsItGoes) {
    const auto path = test_support::wavCutOffHalfway();
    const RecordingAnalysis result = analyzeRecording(path.string());
    EXPECT_EQ(result.status, AnalysisStatus::Done) << path << ": " << result.error;
}

} // namespace
