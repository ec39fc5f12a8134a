// The graph player on the offline device: speed and pitch as accurate as the queue player's.

#include "playback/KTPlayer.h"

#include "platform/audio_device/OfflineAudioDevice.h"
#include "tests/playback/OfflinePull.h"
#include "tests/playback/SignalAnalysis.h"
#include "tests/support/Fixtures.h"
#include "tests/support/Signals.h"

#include <QCoreApplication>
#include <cmath>
#include <gtest/gtest.h>
#include <memory>
#include <vector>

namespace playback_test {
namespace {

using test_support::makeSine;

constexpr int kRate = 44100;
// The stretcher fades in over its first window and rings out over its last; measurements
// of pitch skip that much at both ends.
constexpr std::size_t kEdge = 4096;

class RecordingDelegate : public KTPlayerDelegate {
public:
    void playerDidCompletePlayback(KTPlayer*) override { ++completions; }
    int completions = 0;
};

class GraphPlayerTest : public ::testing::Test {
protected:
    void SetUp() override {
        device = std::make_shared<platform::OfflineAudioDevice>(kRate);
        platform::setDefaultAudioDevice(device);
        player = std::make_unique<KTPlayer>();
        player->setDelegate(&delegate);
    }

    void TearDown() override {
        player.reset();
        QCoreApplication::processEvents();
        platform::setDefaultAudioDevice(nullptr);
    }

    void load(const test_support::Signal& signal, const char* label) {
        const auto path =
            test_support::makeFixture(signal, test_support::encoding("wavf32"), label);
        file = std::make_shared<KTAudioFile>(path.string());
        player->setAudioFile(file);
    }

    // Pulls what the player plays, gaps left out, until `done` holds or `maxFrames` have
    // been taken, keeping the event loop (and so the playhead timer) turning.
    template <typename Done> std::vector<float> render(Done done, std::size_t maxFrames) {
        return pullPlayed(*device, done, maxFrames);
    }
    std::vector<float> renderToCompletion(std::size_t maxFrames = 30 * kRate) {
        return render([&] { return delegate.completions > 0; }, maxFrames);
    }

    std::shared_ptr<platform::OfflineAudioDevice> device;
    std::shared_ptr<KTAudioFile> file;
    std::unique_ptr<KTPlayer> player;
    RecordingDelegate delegate;
};

// The graph player, in one smoke test: a range plays out at half speed in twice its
// length, its sine a fifth higher. Its transport under every command is the player storm's.
TEST_F(GraphPlayerTest, PlaysARangeSlowerAndTransposed) {
    constexpr double kTone = 440, kRateHalf = 0.5, kShift = 700;
    load(makeSine(6 * kRate, 2, kRate, kTone), "tone440");
    const int start = kRate / 2, length = 3 * kRate;
    player->setRangeStartFrameNumFrames(start, length);
    player->setPlaybackRate(kRateHalf);
    player->setPitchShift(float(kShift));
    player->play();
    const std::vector<float> left =
        channelOf(renderToCompletion(std::size_t(length / kRateHalf) + 10 * kRate), 0);

    const double expectedFrames = length / kRateHalf;
    EXPECT_NEAR(double(left.size()), expectedFrames, 0.005 * expectedFrames);
    const double measured = sineFrequency(left, kRate, kEdge, left.size() - kEdge);
    EXPECT_NEAR(cents(measured, kTone), kShift, 1.0) << "measured " << measured << " Hz";
}

} // namespace
} // namespace playback_test
