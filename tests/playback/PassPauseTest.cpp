// The pause between the passes of a looped range and its count-in, measured in what the
// offline device renders: the pause keeps its length and the clicks their beat at any
// speed, the last click falls one beat before the next pass, and a pause of the player
// holds the lead-in where it is. The metronome click, mixed after the time stretcher too:
// each beat of a looped range clicks where it is heard at any speed, the loop's turn
// included, the higher click on the bar line; off, the sound is bit for bit as without it.

#include "platform/audio_queue/CountIn.h"
#include "tests/playback/PlayerHarness.h"
#include "tests/playback/SignalAnalysis.h"

#include <cmath>
#include <optional>

namespace playback_test {
namespace {

using test_support::makeSine;

// Runs of samples louder than `threshold`, each as [begin, end), joined across gaps
// shorter than `gap` (a decaying click or a sine's zero crossings are not gaps).
std::vector<std::pair<std::size_t, std::size_t>> soundRuns(const std::vector<float>& mono,
                                                           float threshold, std::size_t gap) {
    std::vector<std::pair<std::size_t, std::size_t>> runs;
    for (std::size_t i = 0; i < mono.size(); ++i) {
        if (std::fabs(mono[i]) <= threshold)
            continue;
        if (!runs.empty() && i - runs.back().second < gap)
            runs.back().second = i + 1;
        else
            runs.push_back({i, i + 1});
    }
    return runs;
}

class PassPauseTest : public PlayerTest, public testing::WithParamInterface<double> {};

TEST_P(PassPauseTest, PauseAndClicksKeepTheirTimingAtAnySpeed) {
    const double rate = GetParam();
    load(makeSine(2 * kRate, 2, kRate, 440), "pass-pause");
    player->setRangeStartFrameNumFrames(kRate / 4, kRate / 2);
    player->setPlaybackRate(rate);
    player->setLooped(true);
    // Four clicks half a second apart, the first 0.2 s into the pause.
    player->setPassPause(2.2, 120);
    player->play();
    const double passFrames = kRate / 2 / rate;
    std::vector<float> out = render([&] { return stopCounter.stops.load() >= 2; },
                                    std::size_t(2 * passFrames + 4 * kRate));
    player->setLooped(false);
    const std::vector<float> left = channelOf(out, 0);

    // The tone, four clicks, the tone again.
    const auto runs = soundRuns(left, 0.02f, kRate / 200);
    ASSERT_GE(runs.size(), 6u);
    const std::size_t firstPassEnd = runs[0].second;
    const std::size_t secondPassStart = runs[5].first;
    EXPECT_NEAR(double(runs[0].second - runs[0].first), passFrames, 0.01 * passFrames);
    // The designed gap between passes is no sound at all, so it is not in the render.
    EXPECT_NEAR(double(secondPassStart - firstPassEnd), 2.2 * kRate, 0.003 * kRate);
    const double beat = 0.5 * kRate;
    for (int click = 1; click <= 4; ++click) {
        SCOPED_TRACE("click " + std::to_string(click));
        const double beforeThePass =
            double(secondPassStart) - double(runs[std::size_t(click)].first);
        EXPECT_NEAR(beforeThePass, (5 - click) * beat, 0.002 * kRate);
        EXPECT_LT(runs[std::size_t(click)].second - runs[std::size_t(click)].first,
                  std::size_t(platform::kCountInClickSeconds * kRate));
    }
    // The click a bar before the pass is the higher one.
    const auto pitchOf = [&](std::size_t run) {
        return sineFrequency(left, kRate, runs[run].first, runs[run].first + kRate / 100);
    };
    EXPECT_NEAR(pitchOf(1), platform::kCountInBarHz, 20);
    EXPECT_NEAR(pitchOf(2), platform::kCountInBeatHz, 20);
}

INSTANTIATE_TEST_SUITE_P(Rates, PassPauseTest, testing::Values(0.5, 2.0), [](const auto& info) {
    return "rate" + std::to_string(int(info.param * 100));
});

TEST_F(PlayerTest, APauseOfThePlayerHoldsTheLeadInWhereItIs) {
    load(makeSine(kRate, 2, kRate, 440), "pass-pause-held");
    player->setRangeStartFrameNumFrames(0, kRate / 4);
    player->setLooped(true);
    player->setPassPause(1.0, 0); // silence only
    player->play();
    std::vector<float> out = render([&] { return stopCounter.stops.load() >= 1; }, 2 * kRate);
    const std::vector<float> into = renderFrames(kRate / 4);
    EXPECT_TRUE(player->isPlaying()) << "the pause between passes counts as playing";
    player->pause();
    const auto until = std::chrono::steady_clock::now() + std::chrono::milliseconds(300);
    EXPECT_TRUE(render([&] { return std::chrono::steady_clock::now() > until; }, kRate).empty())
        << "nothing plays while paused";
    player->play();
    player->setLooped(false);
    const std::vector<float> rest = renderToCompletion(3 * kRate);
    out.insert(out.end(), into.begin(), into.end());
    out.insert(out.end(), rest.begin(), rest.end());

    const auto runs = soundRuns(channelOf(out, 0), 0.02f, kRate / 200);
    ASSERT_EQ(runs.size(), 2u);
    EXPECT_NEAR(double(runs[1].first - runs[0].second), 1.0 * kRate, 0.003 * kRate);
}

class ClickTest : public PlayerTest, public testing::WithParamInterface<double> {
protected:
    // Two passes of [0.1 s, 1.1 s) of a tone too quiet to count as sound, at `rate`, with
    // a bar of four beats clicking at `level` (and beats outside the loop that never click).
    std::vector<float> twoPasses(double rate, std::optional<double> level) {
        load(makeSine(2 * kRate, 2, kRate, 440, 0.01), "click");
        player->setRangeStartFrameNumFrames(kRate / 10, kRate);
        player->setPlaybackRate(rate);
        player->setLooped(true);
        if (level)
            player->setClick({{0.05 * kRate, true},
                              {0.45 * kRate, false},
                              {0.2 * kRate, true},
                              {0.7 * kRate, false},
                              {0.95 * kRate, false},
                              {1.5 * kRate, true}},
                             *level);
        player->play();
        return renderFrames(std::size_t(2 * kRate / rate));
    }
};

TEST_P(ClickTest, EachBeatClicksWhereItIsHeard) {
    const double rate = GetParam();
    const std::vector<float> left = channelOf(twoPasses(rate, 1.0), 0);
    const auto runs = soundRuns(left, 0.02f, kRate / 200);
    ASSERT_EQ(runs.size(), 8u);
    for (std::size_t click = 0; click < runs.size(); ++click) {
        const double secondsAtSpeedOne = double(click / 4) + 0.1 + 0.25 * double(click % 4);
        EXPECT_NEAR(double(runs[click].first), secondsAtSpeedOne / rate * kRate, 0.001 * kRate)
            << "click " << click;
        EXPECT_NEAR(sineFrequency(left, kRate, runs[click].first, runs[click].first + kRate / 100),
                    click % 4 == 0 ? platform::kCountInBarHz : platform::kCountInBeatHz, 20);
    }
}

INSTANTIATE_TEST_SUITE_P(Rates, ClickTest, testing::Values(0.5, 1.0), [](const auto& info) {
    return "rate" + std::to_string(int(info.param * 100));
});

TEST_F(ClickTest, OffLeavesTheSoundBitForBit) {
    const std::vector<float> without = twoPasses(0.5, std::nullopt);
    TearDown();
    SetUp();
    EXPECT_EQ(twoPasses(0.5, 0.0), without);
}

} // namespace
} // namespace playback_test
