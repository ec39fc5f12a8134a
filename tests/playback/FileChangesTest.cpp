// The open file changes underneath the player: cut short, deleted, or replaced by another
// file while it plays, or on a share that stops answering. Nothing may end the program;
// where data went missing the range ends early, and a seek into what is gone plays nothing
// rather than failing; a file deleted or replaced plays on from what was opened; a play
// never waits for the file's storage.

#include "tests/playback/PlayerHarness.h"
#include "tests/playback/SignalAnalysis.h"

#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <ostream>
#include <thread>

namespace playback_test {
namespace {

namespace fs = std::filesystem;
using test_support::Encoding;

class FileChangesTest : public PlayerTest, public testing::WithParamInterface<Encoding> {
protected:
    // A private copy of a four-second tone, to change at will; loaded into the player.
    void loadCopy(const char* label) {
        const auto fixture = test_support::makeFixture(
            test_support::makeSine(4 * kRate, 2, kRate, 440), GetParam(), label);
        copy = fs::path(fixture).replace_filename(
            std::string(label) + "-" + std::to_string(getpid()) + fixture.extension().string());
        fs::copy_file(fixture, copy, fs::copy_options::overwrite_existing);
        file = std::make_shared<KTAudioFile>(copy.string());
        player->setAudioFile(file);
    }
    void TearDown() override {
        PlayerTest::TearDown();
        fs::remove(copy);
    }
    fs::path copy;
};

TEST_P(FileChangesTest, AFileCutShortWhilePlayingEndsTheRangeEarly) {
    loadCopy("cut-short");
    player->play();
    std::vector<float> out = renderFrames(kRate / 2);
    fs::resize_file(copy, fs::file_size(copy) / 4);
    const std::vector<float> rest = renderToCompletion(6 * kRate);
    out.insert(out.end(), rest.begin(), rest.end());
    EXPECT_EQ(delegate.completions.load(), 1);
    EXPECT_LT(out.size() / 2, std::size_t(3 * kRate)) << "the range ended where the data did";

    // A seek into what is gone, then play: nothing to hear, and the range ends at once.
    player->setCurrentFrame(3.5 * kRate);
    player->play();
    const std::vector<float> nothing =
        render([&] { return delegate.completions.load() >= 2; }, 6 * kRate);
    EXPECT_EQ(delegate.completions.load(), 2);
    EXPECT_LT(nothing.size() / 2, std::size_t(kRate / 4));
    // And back to the start: what is still there plays.
    player->setCurrentFrame(0);
    player->play();
    EXPECT_FALSE(renderFrames(kRate / 4).empty());
}

TEST_P(FileChangesTest, AFileDeletedOrReplacedWhilePlayingPlaysOnAsOpened) {
    loadCopy("deleted");
    player->play();
    std::vector<float> out = renderFrames(kRate / 2);
    fs::remove(copy);
    // Another file, of another length, now stands at the path.
    fs::copy_file(test_support::makeFixture(test_support::makeSine(kRate, 2, kRate, 660),
                                            GetParam(), "replacement"),
                  copy);
    player->setCurrentFrame(kRate); // a seek after the change
    const std::vector<float> rest = renderToCompletion(8 * kRate);
    out.insert(out.end(), rest.begin(), rest.end());
    EXPECT_EQ(delegate.completions.load(), 1);
    // Half a second, then from the seek to the end, after what was queued before it.
    EXPECT_NEAR(double(out.size() / 2), 3.6 * kRate, 0.1 * kRate);
    const std::vector<float> left = channelOf(out, 0);
    EXPECT_NEAR(sineFrequency(left, kRate, left.size() - kRate, left.size() - 8192), 440, 1)
        << "the opened file, not the new one";
}

// slow_mount.py (a FUSE file system of the tests' own) serves the tone; while its source
// folder holds ".stalled" every read waits, as on a share whose server stopped answering.
// The player reads on the queue's thread: play returns at once and the range plays once
// the share answers. Skipped where FUSE cannot be mounted.
TEST_F(PlayerTest, PlayReturnsAtOnceWhileTheShareStalls) {
    const fs::path share = fs::temp_directory_path() / ("stalled-" + std::to_string(getpid()));
    const fs::path source = share / "source", mount = share / "mount";
    fs::create_directories(source);
    fs::create_directories(mount);
    fs::copy_file(test_support::makeFixture(test_support::makeSine(8 * kRate, 2, kRate, 440),
                                            test_support::encoding("wavf32"), "share"),
                  source / "tune.wav", fs::copy_options::overwrite_existing);
    struct AtExit {
        std::function<void()> run;
        ~AtExit() { run(); }
    } cleanUp{[&] {
        fs::remove(source / ".stalled");
        player.reset();
        file.reset();
        test_support::run("umount -l " + test_support::shellQuote(mount.string()) + " 2>/dev/null");
        fs::remove_all(share);
    }};
    test_support::run("/usr/bin/python3 " + test_support::shellQuote(STUDYLOOP_SLOW_MOUNT) + " " +
                      test_support::shellQuote(source.string()) + " " +
                      test_support::shellQuote(mount.string()) + " 0 >/dev/null 2>&1 &");
    if (!waitUntil([&] { return fs::exists(mount / "tune.wav"); }))
        GTEST_SKIP() << "FUSE could not be mounted here";
    file = std::make_shared<KTAudioFile>((mount / "tune.wav").string());
    player->setAudioFile(file);
    player->setRangeStartFrameNumFrames(4 * kRate, kRate / 2); // nothing of it read yet

    std::ofstream(source / ".stalled").put('x');
    std::thread answer([&] {
        std::this_thread::sleep_for(std::chrono::seconds(2));
        fs::remove(source / ".stalled");
    });
    const auto began = std::chrono::steady_clock::now();
    player->play();
    const auto took = std::chrono::steady_clock::now() - began;
    answer.join();
    // A wait on the share lasts as long as the stall; a busy machine is far quicker.
    EXPECT_LT(took, std::chrono::seconds(1)) << "play waited for the file's storage";
    EXPECT_NEAR(double(renderToCompletion().size() / 2), kRate / 2, 0.005 * kRate);
}

INSTANTIATE_TEST_SUITE_P(Formats, FileChangesTest,
                         testing::Values(test_support::encoding("wav16"),
                                         test_support::encoding("flac"),
                                         test_support::encoding("mp3cbr")),
                         [](const auto& info) { return info.param.name; });

} // namespace
} // namespace playback_test
