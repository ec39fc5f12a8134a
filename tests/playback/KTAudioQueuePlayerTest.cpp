// The player's states, ranges, loops and transport on the offline device, pulled by hand.

#include "tests/playback/PlayerHarness.h"
#include "tests/playback/SignalAnalysis.h"
#include "tests/support/Labelled.h"
#include "tests/support/Signals.h"

#include <algorithm>
#include <cmath>
#include <ostream>
#include <thread>

namespace playback_test {
namespace {

using test_support::makeSine;

// The stretcher fades in over its first window and rings out over its last; measurements
// of pitch and level skip that much at both ends.
constexpr std::size_t kEdge = 4096;

struct State {
    bool playing;
    bool completed;
};
State stateOf(const KTAudioQueuePlayer& p) {
    return {p.isPlaying(), p.isCompleted()};
}
bool operator==(State a, State b) {
    return a.playing == b.playing && a.completed == b.completed;
}
void PrintTo(State s, std::ostream* os) {
    *os << "{playing " << s.playing << ", completed " << s.completed << "}";
}
constexpr State kLoaded{false, true}, kPlaying{true, false}, kPaused{false, false},
    kDraining{true, true}, kStopped{false, true};

TEST_F(PlayerTest, WalksThroughTheStateTable) {
    load(makeSine(2 * kRate, 2, kRate, 440), "states");
    EXPECT_EQ(stateOf(*player), kLoaded);
    EXPECT_EQ(player->rangeStartFrame(), 0);
    EXPECT_EQ(player->rangeEndFrame(), 2 * kRate);

    player->play();
    EXPECT_EQ(stateOf(*player), kPlaying);
    renderFrames(kRate / 2);
    player->pause();
    EXPECT_EQ(stateOf(*player), kPaused);
    // Paused: the device gets nothing and the playhead stays.
    const int before = int(player->currentFrame());
    std::vector<float> block(2 * 4096);
    EXPECT_EQ(device->pullPlayed(block.data(), 4096), 0u);
    EXPECT_EQ(int(player->currentFrame()), before);

    player->play();
    EXPECT_EQ(stateOf(*player), kPlaying);
    bool sawDraining = false;
    render(
        [&] {
            sawDraining |= stateOf(*player) == kDraining;
            return delegate.completions.load() > 0;
        },
        10 * kRate);
    EXPECT_TRUE(sawDraining);
    EXPECT_EQ(stateOf(*player), kStopped);
    EXPECT_EQ(delegate.completions.load(), 1);
    // The listener reports from the queue's thread; the controller-like delegate gets it on
    // the main thread without a deadlock.
    EXPECT_TRUE(delegate.completionThreadWasQueueThread.load());
    EXPECT_TRUE(delegate.completedOnMainThread.load());
    EXPECT_EQ(player->currentFrame(), 0.0);
}

TEST_F(PlayerTest, NewFileWhilePlayingIsLoadedAndPlaysOnItsOwn) {
    load(makeSine(4 * kRate, 2, kRate, 440), "first");
    player->play();
    renderFrames(kRate / 4);
    // The old queue goes while it is running; nothing of it may be heard or reported after.
    load(makeSine(kRate, 2, kRate, 880), "second");
    EXPECT_EQ(stateOf(*player), kLoaded);
    player->play();
    const std::vector<float> left = channelOf(renderToCompletion(), 0);
    EXPECT_NEAR(double(left.size()), double(kRate), 0.005 * kRate);
    EXPECT_NEAR(sineFrequency(left, kRate, kEdge, left.size() - kEdge), 880.0, 0.5);
    EXPECT_EQ(delegate.completions.load(), 1);
}

// A pause is taken whenever it comes, also while the last buffers of a looped pass play out
// before the pause between passes: nothing more is heard, no loop pass starts the range
// again, and play goes on from there.
TEST_F(PlayerTest, PauseWhileDrainingHoldsThePass) {
    load(makeSine(kRate, 2, kRate, 440), "drain");
    player->setRangeStartFrameNumFrames(0, 2500); // fewer frames than the three buffers hold
    player->setLooped(true);
    player->setPassPause(0.1, 0);
    player->play();
    // The queue takes the buffers as it needs them; the read that finds the range used up
    // follows shortly, with nothing pulled yet.
    ASSERT_TRUE(waitUntil([&] { return stateOf(*player) == kDraining; }));
    std::vector<float> out = renderFrames(1024);
    player->pause();
    EXPECT_FALSE(player->isPlaying());
    const auto until = std::chrono::steady_clock::now() + std::chrono::milliseconds(300);
    EXPECT_TRUE(render([&] { return std::chrono::steady_clock::now() > until; }, kRate).empty());
    EXPECT_FALSE(player->isPlaying());
    EXPECT_EQ(stopCounter.stops.load(), 0);

    player->setLooped(false);
    player->play();
    const std::vector<float> rest = renderToCompletion();
    out.insert(out.end(), rest.begin(), rest.end());
    EXPECT_EQ(stopCounter.stops.load(), 1);
    EXPECT_NEAR(double(out.size() / 2), 2500.0, 64.0);
}

// A range plays out at `rate` in range length / rate frames, with its sine at the same
// pitch; a pitch shift moves the sine by exactly that many cents and leaves the length.
struct RateCase {
    double rate;
    double cents;
};
void PrintTo(const RateCase& c, std::ostream* out) {
    *out << "rate " << c.rate << ", " << c.cents << " cents";
}
class RatePitchTest : public PlayerTest, public ::testing::WithParamInterface<RateCase> {};

TEST_P(RatePitchTest, KeepsDurationAndMovesPitchOnlyByTheShift) {
    const auto [rate, shift] = GetParam();
    constexpr double kTone = 440;
    load(makeSine(6 * kRate, 2, kRate, kTone), "tone440");
    const int start = kRate / 2, length = 3 * kRate;
    player->setRangeStartFrameNumFrames(start, length);
    player->setPlaybackRate(rate);
    player->setPitchShift(float(shift));
    player->play();
    const std::vector<float> out = renderToCompletion(std::size_t(length / rate) + 10 * kRate);
    const std::vector<float> left = channelOf(out, 0);

    const double expectedFrames = length / rate;
    EXPECT_NEAR(double(left.size()), expectedFrames, 0.005 * expectedFrames);
    const double measured = sineFrequency(left, kRate, kEdge, left.size() - kEdge);
    EXPECT_NEAR(cents(measured, kTone), shift, 1.0) << "measured " << measured << " Hz";
}

INSTANTIATE_TEST_SUITE_P(Rates, RatePitchTest,
                         ::testing::Values(RateCase{0.25, 0}, RateCase{0.5, 0}, RateCase{1.0, 0},
                                           RateCase{1.5, 0}, RateCase{2.0, 0}, RateCase{1.0, 700},
                                           RateCase{1.0, -1200}, RateCase{0.5, 1200}),
                         [](const auto& info) {
                             return "rate" + std::to_string(int(info.param.rate * 100)) + "_cents" +
                                    (info.param.cents < 0 ? "minus" : "") +
                                    std::to_string(int(std::fabs(info.param.cents)));
                         });

// With no pause between passes the loop turns without stopping the queue: a range of a
// whole number of the tone's periods plays as one unbroken tone, with no dip, bump or
// click where a pass joins the next, at any speed.
class LoopTurnTest : public PlayerTest, public ::testing::WithParamInterface<double> {};

TEST_P(LoopTurnTest, LoopedRangePlaysAgainUnbrokenUntilTheLoopIsCleared) {
    const double rate = GetParam();
    load(makeSine(2 * kRate, 2, kRate, 440), "loop");
    const int length = kRate / 2; // 220 periods of the tone
    player->setRangeStartFrameNumFrames(kRate / 4, length);
    player->setPlaybackRate(rate);
    player->setLooped(true);
    player->play();
    std::vector<float> out = render([&] { return delegate.passes.load() >= 3; }, 20 * kRate);
    EXPECT_EQ(delegate.completions.load(), 0);
    EXPECT_EQ(stopCounter.stops.load(), 0);
    player->setLooped(false);
    const std::vector<float> rest = renderToCompletion();
    out.insert(out.end(), rest.begin(), rest.end());
    EXPECT_EQ(delegate.completions.load(), 1);
    EXPECT_EQ(delegate.passes.load(), 3);
    EXPECT_TRUE(waitUntil([&] { return stopCounter.stops.load() == 1; }));
    const double passFrames = length / rate;
    ASSERT_NEAR(double(out.size() / 2), 4.0 * passFrames, 0.005 * 4 * passFrames);
    // Level over every few milliseconds, and the largest step between samples, across
    // the turns: as in the middle of a pass.
    const std::vector<float> left = channelOf(out, 0);
    const double steady = rms(left, kEdge, left.size() - kEdge);
    const std::size_t window = kRate / 200;
    for (std::size_t at = kEdge; at + window < left.size() - kEdge; at += window)
        ASSERT_NEAR(20 * std::log10(rms(left, at, at + window) / steady), 0.0, 0.5)
            << "at frame " << at << " of " << left.size();
    float largestStep = 0;
    for (std::size_t i = kEdge; i < left.size() - kEdge; ++i)
        largestStep = std::max(largestStep, std::fabs(left[i] - left[i - 1]));
    EXPECT_LT(largestStep, 1.05 * 2 * M_PI * 440 / kRate * std::sqrt(2.0) * steady);
}

INSTANTIATE_TEST_SUITE_P(Rates, LoopTurnTest, ::testing::Values(0.5, 1.0, 1.5),
                         [](const auto& info) {
                             return "rate" + std::to_string(int(info.param * 100));
                         });

// The loop turned off late in a pass, when the next pass has been read already: playback
// still completes at the end of the pass heard (within a tick), not one pass later.
TEST_F(PlayerTest, LoopTurnedOffLateInAPassCompletesAtItsEnd) {
    load(makeSine(2 * kRate, 2, kRate, 440), "late-unloop");
    const int length = kRate / 2;
    player->setRangeStartFrameNumFrames(kRate / 4, length);
    player->setLooped(true);
    player->play();
    std::vector<float> out = renderFrames(2 * length - 1000);
    player->setLooped(false);
    const std::vector<float> rest = renderToCompletion();
    out.insert(out.end(), rest.begin(), rest.end());
    EXPECT_EQ(delegate.completions.load(), 1);
    // The turn is looked for at each buffer the queue takes back and each tick: what the
    // device rendered meanwhile (at most a few thousand frames when pulled flat out) is heard.
    EXPECT_NEAR(double(out.size() / 2), 2.0 * length, 0.15 * length);
}

TEST_F(PlayerTest, RangeOfZeroFramesCompletesAtOnceOrLoops) {
    load(makeSine(kRate, 2, kRate, 440), "empty-range");
    player->setRangeStartFrameNumFrames(1000, 0);
    player->play();
    EXPECT_TRUE(renderToCompletion().empty());
    EXPECT_EQ(stateOf(*player), kStopped);

    // Looped: each empty pass stops the queue and the listener plays again, one device
    // cycle later: a pass lasts at least one cycle, as on a sound card, so an empty loop
    // turns at the device's pace and cannot flood the main thread with its news.
    player->setLooped(true);
    const int stopsBefore = stopCounter.stops.load();
    player->play();
    EXPECT_TRUE(render([&] { return stopCounter.stops.load() >= stopsBefore + 3; }, kRate).empty());
    player->setLooped(false);
    EXPECT_TRUE(render([&] { return delegate.completions.load() == 2; }, kRate).empty());
    EXPECT_EQ(player->currentFrame(), 1000.0);
}

using Clock = std::chrono::steady_clock;
struct Report {
    Clock::time_point time;
    int frame;
};
struct TimedReports : RecordingDelegate {
    void playerDidMovePlayheadToFrame(KTAudioQueuePlayer*, int frame) override {
        reports.push_back({Clock::now(), frame});
    }
    std::vector<Report> reports;
};

// The device pulled at the pace of a sound card: every playhead report is where the sound
// is at that moment (a block is heard over its own length from when it is taken), within
// 5 ms either way, and the playhead goes back only at a turn of the loop.
TEST_F(PlayerTest, PlayheadMovesWithTheSound) {
    TimedReports timed;
    load(makeSine(2 * kRate, 2, kRate, 440), "playhead");
    const int start = kRate / 4, length = kRate / 3;
    player->setDelegate(&timed);
    player->setRangeStartFrameNumFrames(start, length);
    player->setLooped(true);
    player->play();
    constexpr std::uint32_t kBlock = 512;
    std::vector<Report> pulls(160); // when each block was taken, and the frames before it
    std::thread card([&] {
        std::vector<float> block(2 * kBlock);
        int heard = 0;
        auto next = Clock::now();
        for (Report& pull : pulls) {
            std::this_thread::sleep_until(next);
            pull = {Clock::now(), heard};
            heard += int(device->pullPlayed(block.data(), kBlock, std::chrono::milliseconds(0)));
            next += std::chrono::microseconds(1000000 * kBlock / kRate);
        }
    });
    waitUntil([&] { return timed.reports.size() > 100; });
    card.join();
    player->setLooped(false);
    player->stop();
    EXPECT_TRUE(waitUntil([&] { return timed.completions.load() == 1; }));
    player->setDelegate(&delegate);
    // The first few reports come before the sound has started.
    for (std::size_t i = 20; i < std::min<std::size_t>(timed.reports.size(), 100); ++i) {
        const Report& r = timed.reports[i];
        auto pull =
            std::upper_bound(pulls.begin(), pulls.end(), r.time,
                             [](Clock::time_point t, const Report& p) { return t < p.time; });
        ASSERT_NE(pull, pulls.begin());
        --pull;
        const double heard =
            pull->frame + std::chrono::duration<double>(r.time - pull->time).count() * kRate;
        double behind = std::fmod(start + std::fmod(heard, length) - r.frame + length, length);
        behind = behind > length / 2 ? behind - length : behind;
        EXPECT_LT(std::fabs(behind), 0.005 * kRate) << "report " << i << " at frame " << r.frame;
        const int step = r.frame - timed.reports[i - 1].frame;
        // Back only by about a pass (a turn), forward by about a tick.
        EXPECT_TRUE(step >= 0 || std::abs(step + length) < 0.05 * kRate) << "report " << i;
        EXPECT_LT(step, 0.05 * kRate) << "report " << i;
    }
}

TEST_F(PlayerTest, StopOnLoopedPlayerStartsTheRangeAgain) {
    load(makeSine(2 * kRate, 2, kRate, 440), "stop-looped");
    player->setLooped(true);
    player->play();
    renderFrames(kRate / 4);
    // The queue's thread may have started the range again by the time stop returns, so
    // whether it reads as stopped in between is not asked.
    player->stop();
    renderFrames(kRate / 2);
    EXPECT_TRUE(waitUntil([&] { return player->isPlaying(); }));
    EXPECT_EQ(delegate.completions.load(), 0);
}

// A play straight after a stop plays the range from its start to the end: the stop's news,
// which comes from the queue's thread after the new start, must not stop the player again.
TEST_F(PlayerTest, PlayStraightAfterStopPlaysTheRangeAgain) {
    load(makeSine(2 * kRate, 2, kRate, 440), "stop-then-play");
    player->play();
    renderFrames(kRate / 4);
    player->stop();
    player->play();
    std::vector<float> out = render([&] { return delegate.completions.load() > 0; }, 10 * kRate);
    EXPECT_TRUE(player->isPlaying() || delegate.completions.load() > 0);
    while (!out.empty() && out.back() == 0.0f)
        out.pop_back();
    EXPECT_NEAR(double(out.size() / 2), double(2 * kRate), 0.005 * kRate);
}

// After a pause, a stop or a move of the playhead drops what was queued at the pause: the
// next play gives the range from the playhead on, with nothing of what played before.
class AfterPauseTest : public PlayerTest, public ::testing::WithParamInterface<bool> {};

TEST_P(AfterPauseTest, PlayStartsCleanFromThePlayhead) {
    const bool stop = GetParam();
    load(makeSine(2 * kRate, 2, kRate, 440), "after-pause");
    player->play();
    renderFrames(kRate / 2);
    player->pause();
    if (stop) {
        player->stop();
        ASSERT_TRUE(waitUntil([&] { return delegate.completions.load() == 1; }));
        EXPECT_EQ(stateOf(*player), kStopped);
    } else {
        player->setCurrentFrame(kRate);
    }
    player->play();
    const int expected = stop ? 2 * kRate : kRate;
    std::vector<float> out =
        render([&] { return delegate.completions.load() == 1 + stop; }, 10 * kRate);
    // The silence rendered after the end, until the completion reached this thread,
    // depends on how fast the machine is and does not count.
    while (!out.empty() && out.back() == 0.0f)
        out.pop_back();
    EXPECT_NEAR(double(out.size() / 2), double(expected), 0.005 * kRate);
}

INSTANTIATE_TEST_SUITE_P(Moves, AfterPauseTest, ::testing::Bool(),
                         [](const auto& info) { return info.param ? "Stop" : "Seek"; });

// rewind and ffwd move 2 seconds and stop at the range ends, asymmetrically: past the end
// gives the last frame, exactly on the end stays there.
struct MoveCase : test_support::Labelled {
    int rangeStart, rangeLength, playhead;
    bool forward;
    int expectedPlayhead;
};
class TransportTest : public PlayerTest, public ::testing::WithParamInterface<MoveCase> {};

TEST_P(TransportTest, MovesTwoSecondsWithinTheRange) {
    const MoveCase c = GetParam();
    load(makeSine(12 * kRate, 2, kRate, 440), "transport");
    player->setRangeStartFrameNumFrames(c.rangeStart, c.rangeLength);
    player->setCurrentFrame(c.rangeStart + c.playhead);
    c.forward ? player->ffwd() : player->rewind();
    EXPECT_EQ(player->currentFrame(), double(c.rangeStart + c.expectedPlayhead));
    ASSERT_FALSE(delegate.moves.empty());
    EXPECT_EQ(delegate.moves.back(), c.rangeStart + c.expectedPlayhead);
    std::int64_t position = -1;
    platform::ExtAudioFileTell(file->extAudioFile(), &position);
    EXPECT_EQ(position, c.rangeStart + c.expectedPlayhead);
}

constexpr int kRate = PlayerTest::kRate;
INSTANTIATE_TEST_SUITE_P(
    Ends, TransportTest,
    ::testing::Values(MoveCase{"RewindInside", 1000, 5 * kRate, 3 * kRate, false, kRate},
                      MoveCase{"RewindAtStart", 1000, 5 * kRate, 0, false, 0},
                      MoveCase{"RewindPastStart", 1000, 5 * kRate, kRate, false, 0},
                      MoveCase{"FfwdInside", 1000, 5 * kRate, kRate, true, 3 * kRate},
                      MoveCase{"FfwdPastEnd", 1000, 5 * kRate, 4 * kRate, true, 5 * kRate - 1},
                      MoveCase{"FfwdExactlyOnEnd", 1000, 5 * kRate, 3 * kRate, true, 5 * kRate}),
    test_support::byLabel);

TEST_F(PlayerTest, ReadPositionPastTheRangeEndReadsOnToTheFileEnd) {
    load(makeSine(3 * kRate, 2, kRate, 440), "past-end");
    player->setRangeStartFrameNumFrames(0, kRate);
    player->setCurrentFrame(2 * kRate);
    player->play();
    const std::vector<float> out = renderToCompletion();
    // Unsigned arithmetic: full buffers are read until the file itself runs out.
    EXPECT_NEAR(double(out.size() / 2), double(kRate), 0.005 * kRate);
}

TEST_F(PlayerTest, SeekWhilePlayingIsHeardWithinTheQueuedBuffers) {
    // Two tones: 440 Hz for 2 s, then 880 Hz.
    test_support::Signal signal = makeSine(2 * kRate, 2, kRate, 440);
    const test_support::Signal high = makeSine(2 * kRate, 2, kRate, 880);
    signal.samples.insert(signal.samples.end(), high.samples.begin(), high.samples.end());
    load(signal, "two-tones");
    player->play();
    renderFrames(kRate / 2);
    player->setCurrentFrame(2 * kRate + kRate / 2);
    const std::vector<float> after = channelOf(renderFrames(kRate), 0);
    // The queue hands a buffer back only when it needs its frames, so at most one buffer
    // read before the seek is still unfed; with what the stretcher holds and the ring
    // ahead of the device that is all the old tone left. (Had all three queued buffers
    // still been waiting, the old tone would last 2000 frames longer, into the window.)
    const std::size_t settled = 1000 + 2 * 2048 + 1536;
    EXPECT_NEAR(sineFrequency(after, kRate, settled, settled + kRate / 4), 880.0, 1.0);
    // And the playhead follows the jump.
    EXPECT_TRUE(
        waitUntil([&] { return !delegate.moves.empty() && delegate.moves.back() > 2 * kRate; }));
}

} // namespace
} // namespace playback_test
