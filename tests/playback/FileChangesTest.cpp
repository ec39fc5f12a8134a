// The open file changes underneath the player: cut short, deleted, or replaced by another
// file while it plays. Nothing may end the program; where data went missing the range ends
// early, and a seek into what is gone plays nothing rather than failing; a file deleted
// or replaced plays on from what was opened.

#include "tests/playback/PlayerHarness.h"
#include "tests/playback/SignalAnalysis.h"

#include <filesystem>
#include <ostream>

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

INSTANTIATE_TEST_SUITE_P(Formats, FileChangesTest,
                         testing::Values(test_support::encoding("wav16"),
                                         test_support::encoding("flac"),
                                         test_support::encoding("mp3cbr")),
                         [](const auto& info) { return info.param.name; });

} // namespace
} // namespace playback_test
