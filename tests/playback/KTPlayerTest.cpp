// The graph player's transport on the offline device: the fixed skips and their bounds,
// the range end and the loop decided by the playhead timer, range changes that wait for
// the next play, and speed and pitch as accurate as the queue player's.

#include "playback/KTPlayer.h"

#include "platform/audio_device/OfflineAudioDevice.h"
#include "tests/playback/OfflinePull.h"
#include "tests/playback/SignalAnalysis.h"
#include "tests/support/Fixtures.h"
#include "tests/support/Signals.h"

#include <QCoreApplication>
#include <QThread>
#include <chrono>
#include <cmath>
#include <gtest/gtest.h>
#include <memory>
#include <ostream>
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
    void playerDidMovePlayheadToFrame(KTPlayer*, int frame) override { moves.push_back(frame); }
    void playerDidCompletePlayback(KTPlayer*) override { ++completions; }
    std::vector<int> moves;
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
    std::vector<float> renderFrames(std::size_t frames) {
        return render([] { return false; }, frames);
    }
    std::vector<float> renderToCompletion(std::size_t maxFrames = 30 * kRate) {
        return render([&] { return delegate.completions > 0; }, maxFrames);
    }

    // Pulls at the pace a sound card would, silence included, for `seconds`: what is
    // heard while the timer decides the ends of the range.
    std::vector<float> renderInRealTime(double seconds) {
        std::vector<float> out;
        const auto begin = std::chrono::steady_clock::now();
        const auto total = std::size_t(seconds * kRate);
        while (out.size() / 2 < total) {
            const double elapsed =
                std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
            const auto due = std::min(total, std::size_t(elapsed * kRate));
            if (due > out.size() / 2) {
                const std::size_t frames = due - out.size() / 2;
                std::vector<float> block(2 * frames);
                device->pull(block.data(), std::uint32_t(frames));
                out.insert(out.end(), block.begin(), block.end());
            }
            QCoreApplication::processEvents();
            QThread::msleep(2);
        }
        return out;
    }

    std::shared_ptr<platform::OfflineAudioDevice> device;
    std::shared_ptr<KTAudioFile> file;
    std::unique_ptr<KTPlayer> player;
    RecordingDelegate delegate;
};

// 440 Hz for the first two seconds, 880 Hz for the next two.
test_support::Signal twoTones() {
    test_support::Signal signal = makeSine(2 * kRate, 2, kRate, 440);
    const test_support::Signal high = makeSine(2 * kRate, 2, kRate, 880);
    signal.samples.insert(signal.samples.end(), high.samples.begin(), high.samples.end());
    return signal;
}

// rewind and ffwd move 220500 frames whatever the file's rate (a 48 kHz file here, where
// that is not a whole number of seconds), and stop at the range ends asymmetrically.
struct SkipCase {
    const char* name;
    int playhead;
    bool forward;
    int expectedPlayhead;
};
void PrintTo(const SkipCase& c, std::ostream* out) {
    *out << c.name;
}
class SkipTest : public GraphPlayerTest, public ::testing::WithParamInterface<SkipCase> {};

constexpr int kSkipRangeStart = 1000, kSkipRangeLength = 300000;

TEST_P(SkipTest, MovesTheFixedAmountWithinTheRange) {
    const SkipCase c = GetParam();
    load(makeSine(8 * 48000, 2, 48000, 440), "skips48k");
    player->setRangeStartFrameNumFrames(kSkipRangeStart, kSkipRangeLength);
    player->setCurrentFrame(kSkipRangeStart + c.playhead);
    c.forward ? player->ffwd() : player->rewind();
    EXPECT_EQ(player->currentFrame(), double(kSkipRangeStart + c.expectedPlayhead));
    ASSERT_FALSE(delegate.moves.empty());
    EXPECT_EQ(delegate.moves.back(), kSkipRangeStart + c.expectedPlayhead);
}

INSTANTIATE_TEST_SUITE_P(
    Bounds, SkipTest,
    ::testing::Values(SkipCase{"RewindBelowTheSkip", 220499, false, 0},
                      SkipCase{"RewindInside", 250000, false, 29500},
                      SkipCase{"FfwdInside", 50000, true, 270500},
                      SkipCase{"FfwdPastTheEnd", 79501, true, kSkipRangeLength - 1},
                      SkipCase{"FfwdExactlyOntoTheEnd", 79500, true, kSkipRangeLength}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(GraphPlayerTest, FfwdExactlyOntoTheEndWhilePlayingEndsAtTheNextTick) {
    load(makeSine(8 * kRate, 2, kRate, 440), "ffwd-end");
    player->setRangeStartFrameNumFrames(kRate, 6 * kRate);
    player->setCurrentFrame(kRate + 6 * kRate - KTPlayer::kSkipFrames);
    player->play();
    player->ffwd(); // a new start with nothing left to schedule
    EXPECT_TRUE(player->isPlaying());
    const std::vector<float> out = renderToCompletion();
    EXPECT_TRUE(out.empty());
    EXPECT_EQ(delegate.completions, 1);
    EXPECT_FALSE(player->isPlaying());
    EXPECT_EQ(player->currentFrame(), double(kRate));
}

// The range ends and loops at a timer tick, not in the audio: after the last frame of the
// range up to one tick of silence is heard, then the range again from its start.
TEST_F(GraphPlayerTest, LoopIsDecidedByTheTimerWithinATickOfTheEnd) {
    load(makeSine(2 * kRate, 2, kRate, 440), "graph-loop");
    const int length = kRate / 2;
    player->setRangeStartFrameNumFrames(kRate / 4, length);
    player->setLooped(true);
    player->play();
    const std::vector<float> left = channelOf(renderInRealTime(1.9), 0);

    // Passes are the stretches of sound; silence is exact zeros (what the device fills).
    std::vector<std::pair<std::size_t, std::size_t>> passes; // [begin, end)
    std::size_t zeros = 0;
    for (std::size_t i = 0; i < left.size(); ++i) {
        if (left[i] != 0.0f) {
            if (passes.empty() || zeros > 16)
                passes.push_back({i, i + 1});
            passes.back().second = i + 1;
            zeros = 0;
        } else {
            ++zeros;
        }
    }
    ASSERT_GE(passes.size(), 2u);
    EXPECT_LT(passes[0].first, 16u) << "the first pass starts with the first render";
    for (std::size_t p = 0; p + 1 < passes.size(); ++p) {
        // A tick can fall right at a pass's end: then the next pass follows with no silence
        // between, and the two read as one stretch of sound, two passes long.
        const double run = double(passes[p].second - passes[p].first);
        const double passCount = std::max(1.0, std::round(run / length));
        EXPECT_NEAR(run, passCount * length, 0.005 * length * passCount) << "pass " << p;
        // One tick (0.05 s), plus the pacing of the pulls (a few ms) and the lateness of a
        // timer on a busy machine.
        const double gapSeconds = double(passes[p + 1].first - passes[p].second) / kRate;
        EXPECT_LE(gapSeconds, 0.05 + 0.03) << "after pass " << p;
    }
    EXPECT_EQ(delegate.completions, 0);

    // Unlooped, the pass under way is the last.
    player->setLooped(false);
    renderToCompletion();
    EXPECT_EQ(delegate.completions, 1);
    EXPECT_FALSE(player->isPlaying());
    QThread::msleep(2 * KTPlayer::kPlaybackTimerMilliseconds);
    QCoreApplication::processEvents();
    std::vector<float> block(2 * 4096);
    EXPECT_EQ(device->pullPlayed(block.data(), 4096), 0u);
}

// A new range changes the counts at once, but what the file player was given plays on
// until the next play schedules from the new place.
TEST_F(GraphPlayerTest, RangeChangeWhilePlayingWaitsForTheNextPlay) {
    load(twoTones(), "graph-two-tones");
    player->setRangeStartFrameNumFrames(0, kRate);
    player->play();
    renderFrames(kRate / 4);
    player->setRangeStartFrameNumFrames(2 * kRate, kRate);
    const std::vector<float> still = channelOf(renderFrames(kRate / 2), 0);
    EXPECT_NEAR(sineFrequency(still, kRate, 0, still.size()), 440.0, 1.0);
    QThread::msleep(60);
    QCoreApplication::processEvents();
    EXPECT_GE(player->currentFrame(), 2.0 * kRate) << "the playhead counts in the new range";

    // The next play schedules from the playhead in the new range: the new tone at once.
    player->pause();
    player->play();
    const std::vector<float> after = channelOf(renderFrames(kRate / 4), 0);
    EXPECT_NEAR(sineFrequency(after, kRate, 0, 2048), 880.0, 2.0);
}

// Every move while playing is a pause and a new start: nothing scheduled before it is
// heard after it.
TEST_F(GraphPlayerTest, MoveWhilePlayingIsHeardAtOnce) {
    load(twoTones(), "graph-two-tones");
    player->play();
    renderFrames(kRate / 2);
    player->setCurrentFrame(2 * kRate + kRate / 2);
    const std::vector<float> after = channelOf(renderFrames(kRate / 4), 0);
    EXPECT_NEAR(sineFrequency(after, kRate, 0, 2048), 880.0, 2.0);

    player->rewind(); // below 220500 frames into the range: back to its start
    const std::vector<float> back = channelOf(renderFrames(kRate / 4), 0);
    EXPECT_NEAR(sineFrequency(back, kRate, 0, 2048), 440.0, 2.0);
}

// A range plays out at `rate` in range length / rate frames, with its sine at the same
// pitch; a pitch shift moves the sine by exactly that many cents and leaves the length.
// The same bounds as the queue player's.
struct RateCase {
    double rate;
    double cents;
};
void PrintTo(const RateCase& c, std::ostream* out) {
    *out << "rate " << c.rate << ", " << c.cents << " cents";
}
class GraphRatePitchTest : public GraphPlayerTest,
                           public ::testing::WithParamInterface<RateCase> {};

TEST_P(GraphRatePitchTest, KeepsDurationAndMovesPitchOnlyByTheShift) {
    const auto [rate, shift] = GetParam();
    constexpr double kTone = 440;
    load(makeSine(6 * kRate, 2, kRate, kTone), "tone440");
    const int start = kRate / 2, length = 3 * kRate;
    player->setRangeStartFrameNumFrames(start, length);
    player->setPlaybackRate(rate);
    player->setPitchShift(float(shift));
    player->play();
    const std::vector<float> left =
        channelOf(renderToCompletion(std::size_t(length / rate) + 10 * kRate), 0);

    const double expectedFrames = length / rate;
    EXPECT_NEAR(double(left.size()), expectedFrames, 0.005 * expectedFrames);
    const double measured = sineFrequency(left, kRate, kEdge, left.size() - kEdge);
    EXPECT_NEAR(cents(measured, kTone), shift, 1.0) << "measured " << measured << " Hz";
}

INSTANTIATE_TEST_SUITE_P(Rates, GraphRatePitchTest,
                         ::testing::Values(RateCase{0.5, 0}, RateCase{1.0, 700},
                                           RateCase{0.5, -1200}),
                         [](const auto& info) {
                             return "rate" + std::to_string(int(info.param.rate * 100)) + "_cents" +
                                    (info.param.cents < 0 ? "minus" : "") +
                                    std::to_string(int(std::fabs(info.param.cents)));
                         });

} // namespace
} // namespace playback_test
