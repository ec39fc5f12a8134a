// Long random sequences of commands against each player, the window's (on the audio queue)
// and the graph player, as a session in which every key is pressed at every moment would
// go: play, pause, stop, rewind, ffwd, seeks anywhere, ranges empty, inverted or past the
// end, rate, pitch and volume beyond the sliders' limits, loop on and off, pauses between
// passes, and a new file while playing. The offline device is pulled flat out by a thread
// of its own, so ranges end and loops turn over many times.
//
// After every command: the process is alive, every playhead report, and the playhead while
// playing, is inside the file, and after a pause the player stays paused until it is told
// to play or stop. At the end of each round, with the loop off and the player stopped: for
// the queue player, one report (completion or loop pass) for each time the queue stopped
// and each pass that began without a stop.
// A watchdog ends a test that hangs with the stacks of all threads.
//
// STUDYLOOP_STORM_SEED=N replays seed N; STUDYLOOP_STORM_STEPS=N runs N commands a seed.

#include "playback/KTPlayer.h"
#include "tests/playback/PlayerHarness.h"
#include "tests/support/Signals.h"
#include "tests/support/Storm.h"

#include <cmath>
#include <optional>
#include <sstream>
#include <tuple>

namespace playback_test {
namespace {

using namespace test_support;

constexpr int kRoundLength = 40;

// Counts the stops of one queue and the reports the player made while it was the live one.
struct QueueStops {
    std::atomic<int> stops{0};
    static void listener(void* self, platform::AudioQueueRef queue,
                         platform::AudioQueuePropertyID property) {
        std::uint32_t running = 1, size = sizeof running;
        platform::AudioQueueGetProperty(queue, property, &running, &size);
        if (!running)
            static_cast<QueueStops*>(self)->stops.fetch_add(1);
    }
};

class StormDelegate : public RecordingDelegate, public KTPlayerDelegate {
public:
    using RecordingDelegate::playerDidCompletePlayback;
    using RecordingDelegate::playerDidMovePlayheadToFrame;
    void playerDidMovePlayheadToFrame(KTPlayer*, int frame) override { moves.push_back(frame); }
    void playerDidCompletePlayback(KTPlayer*) override { completions.fetch_add(1); }
    int reports() const { return completions.load() + passes.load(); }
};

enum class Engine { Queue, Graph };

void PrintTo(Engine engine, std::ostream* out) {
    *out << (engine == Engine::Queue ? "queue player" : "graph player");
}

class PlayerStorm : public PlayerTest,
                    public ::testing::WithParamInterface<std::tuple<Engine, std::uint64_t>> {
protected:
    // `step` on the player under test.
    template <typename Step> auto on(Step step) { return graph ? step(*graph) : step(*player); }
    bool playing() {
        return on([](auto& p) { return p.isPlaying(); });
    }

    void SetUp() override {
        PlayerTest::SetUp();
        player->setDelegate(&stormDelegate);
        if (std::get<Engine>(GetParam()) == Engine::Graph) {
            graph = std::make_unique<KTPlayer>();
            graph->setDelegate(&stormDelegate);
        }
        files = {
            makeFixture(makeDrumBursts(2 * kRate, kRate), encoding("wavf32"), "storm-drums"),
            makeFixture(makeSine(kRate * 3 / 2, 2, 48000, 330), encoding("flac"), "storm-48k"),
            makeFixture(makeClicks(kRate / 3, 22050), encoding("mp3cbr"), "storm-short-mp3"),
            makeFixture(makeSine(1, 2, kRate, 440), encoding("wav16"), "storm-one-frame"),
        };
        puller.emplace(*device);
    }
    void TearDown() override {
        on([](auto& p) { p.setLooped(false); });
        player.reset();
        graph.reset();
        puller.reset();
        PlayerTest::TearDown();
    }

    void open(std::size_t index) {
        file = std::make_shared<KTAudioFile>(files[index].string());
        total = file->totalFrames();
        held = false;
        on([&](auto& p) { p.setAudioFile(file); });
        counters.push_back(std::make_unique<QueueStops>());
        if (!graph)
            platform::AudioQueueAddPropertyListener(player->audioQueue(),
                                                    platform::kAudioQueueProperty_IsRunning,
                                                    &QueueStops::listener, counters.back().get());
        // A report of the queue just replaced may still be on its way to this thread.
        settle(100);
        startRound();
    }

    void settle(int milliseconds) {
        const auto until =
            std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
        do {
            QCoreApplication::processEvents();
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        } while (std::chrono::steady_clock::now() < until);
    }

    // The queue's stops, and the passes that began without one; a stop a play overtook is
    // not reported, as the player plays on.
    int passEnds() const {
        return counters.back()->stops.load() + int(player->turnsWithoutStop()) -
               int(player->stopsOvertakenByPlay());
    }

    void startRound() {
        stopsAtRoundStart = passEnds();
        reportsAtRoundStart = stormDelegate.reports();
    }

    // Loop off, player stopped and every report delivered; then each stop of the queue in
    // this round must have given exactly one report.
    void endRound() {
        on([](auto& p) { p.setLooped(false); });
        player->setPassPause(0, 0);
        on([](auto& p) { p.stop(); });
        held = false;
        int stable = 0;
        int lastStops = -1;
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        for (int round = 0; stable < 50 && std::chrono::steady_clock::now() < deadline; ++round) {
            settle(2);
            // A stop that met the loop's restart half-way is taken back by it (the
            // listener starts the range again); stop again until one holds.
            if (round % 50 == 49 && playing())
                on([](auto& p) { p.stop(); });
            const int stops = passEnds();
            const bool quiet =
                !playing() && (graph || stops - stopsAtRoundStart ==
                                            stormDelegate.reports() - reportsAtRoundStart);
            stable = quiet && stops == lastStops ? stable + 1 : 0;
            lastStops = stops;
        }
        EXPECT_FALSE(playing()) << "still playing after a stop with the loop off";
        if (!graph) {
            EXPECT_EQ(stormDelegate.reports() - reportsAtRoundStart, passEnds() - stopsAtRoundStart)
                << "reports (completions and loop passes) against the queue's stops this round";
        }
        startRound();
    }

    // A frame from anywhere around the file, the file's edges often.
    std::int64_t anyFrame(StormRandom& random) const {
        switch (random.between(0, 5)) {
        case 0:
            return 0;
        case 1:
            return total - 1;
        case 2:
            return total;
        case 3:
            return -random.between(1, total + 1);
        default:
            return random.between(-total / 4, total + total / 4);
        }
    }

    // `announce` hears each command before it is carried out.
    template <typename Announce> std::string step(StormRandom& random, Announce announce) {
        std::ostringstream said;
        switch (random.weighted({10, 5, 3, 3, 4, 5, 5, 3, 3, 2, 4, 1, 1, 10})) {
        case 0:
            said << "play";
            announce(said.str());
            held = false;
            on([](auto& p) { p.play(); });
            break;
        case 1:
            said << "pause";
            announce(said.str());
            held = true;
            on([](auto& p) { p.pause(); });
            break;
        case 2:
            said << "stop";
            announce(said.str());
            held = false;
            on([](auto& p) { p.stop(); });
            break;
        case 3:
            said << "rewind";
            announce(said.str());
            on([](auto& p) { p.rewind(); });
            break;
        case 4:
            said << "ffwd";
            announce(said.str());
            on([](auto& p) { p.ffwd(); });
            break;
        case 5: {
            const std::int64_t frame = anyFrame(random);
            said << "setCurrentFrame " << frame;
            announce(said.str());
            on([&](auto& p) { p.setCurrentFrame(double(frame)); });
            break;
        }
        case 6: {
            const std::int64_t start = anyFrame(random);
            const std::int64_t kinds[] = {0, -random.between(1, total + 1),
                                          random.between(1, total), 2 * total + 1, total - start};
            const std::int64_t length = kinds[random.between(0, 4)];
            said << "setRange " << start << " + " << length;
            announce(said.str());
            on([&](auto& p) { p.setRangeStartFrameNumFrames(double(start), double(length)); });
            break;
        }
        case 7: {
            const double rates[] = {0.1, 4.0, 0.05, 8.0, 0.0, -1.0, random.real(0.1, 4.0)};
            const double rate = rates[random.between(0, 6)];
            said << "setPlaybackRate " << rate;
            announce(said.str());
            on([&](auto& p) { p.setPlaybackRate(rate); });
            break;
        }
        case 8: {
            const float pitches[] = {-2400, 2400, -4800, 9600, float(random.real(-2400, 2400))};
            const float cents = pitches[random.between(0, 4)];
            said << "setPitchShift " << cents;
            announce(said.str());
            on([&](auto& p) { p.setPitchShift(cents); });
            break;
        }
        case 9: {
            const double level = random.real(-0.5, 1.5);
            said << "setVolume " << level;
            announce(said.str());
            on([&](auto& p) {
                if constexpr (requires { p.setVolume(level); })
                    p.setVolume(level);
            });
            break;
        }
        case 10: {
            const bool looped = !on([](auto& p) { return p.isLooped(); });
            said << "setLooped " << looped;
            announce(said.str());
            on([&](auto& p) { p.setLooped(looped); });
            break;
        }
        case 11: {
            const double seconds = random.chance(0.5) ? random.real(0, 0.2) : 0;
            const double tempo = random.chance(0.5) ? random.real(60, 400) : 0;
            said << "setPassPause " << seconds << " s, " << tempo << " bpm";
            announce(said.str());
            if (!graph)
                player->setPassPause(seconds, tempo);
            break;
        }
        case 12: {
            const auto index = std::size_t(random.between(0, std::int64_t(files.size()) - 1));
            said << "setAudioFile " << files[index].filename().string();
            announce(said.str());
            open(index);
            break;
        }
        default: {
            const auto milliseconds = int(random.between(0, 30));
            said << "wait " << milliseconds << " ms";
            announce(said.str());
            settle(milliseconds);
            break;
        }
        }
        return said.str();
    }

    std::vector<std::filesystem::path> files;
    std::int64_t total = 0;
    StormDelegate stormDelegate;
    std::vector<std::unique_ptr<QueueStops>> counters;
    int stopsAtRoundStart = 0;
    int reportsAtRoundStart = 0;
    std::optional<DevicePuller> puller;
    std::unique_ptr<KTPlayer> graph; // the player under test when set, else `player`
    bool held = false;               // paused, and not told to play or stop since
};

TEST_P(PlayerStorm, EveryCommandAnyTimeKeepsThePlayerWhole) {
    const std::uint64_t seed = std::get<std::uint64_t>(GetParam());
    StormRandom random(seed);
    Watchdog watchdog(std::chrono::seconds(30), "the player storm, seed " + std::to_string(seed));
    StormTrail trail(seed);

    open(0);
    const int steps = stormSteps(400);
    for (int i = 0; i < steps && !HasFailure(); ++i) {
        const std::size_t movesBefore = stormDelegate.moves.size();
        trail.add(i, step(random, [&](const std::string& said) {
                      watchdog.feed(trail.textWith(i, said));
                  }));
        QCoreApplication::processEvents();

        // While playing the playhead is shown inside the range; stopped, it may stand past
        // a range that was moved under it (by design), but what is reported never does.
        if (held) {
            EXPECT_FALSE(playing()) << "playing again after a pause; " << trail.text();
        }
        if (playing()) {
            const double frame = on([](auto& p) { return p.currentFrame(); });
            EXPECT_TRUE(frame >= 0 && frame <= double(total))
                << "the playhead at " << frame << " of " << total << " frames; " << trail.text();
        }
        for (std::size_t m = movesBefore; m < stormDelegate.moves.size(); ++m)
            EXPECT_TRUE(stormDelegate.moves[m] >= 0 && stormDelegate.moves[m] <= total)
                << "a playhead report of " << stormDelegate.moves[m] << " in a file of " << total
                << " frames; " << trail.text();
        if (i % kRoundLength == kRoundLength - 1) {
            watchdog.feed("the end of a round after command " + std::to_string(i));
            endRound();
            if (HasFailure())
                ADD_FAILURE() << trail.text();
        }
    }
    watchdog.feed("the last round's end");
    endRound();
}

INSTANTIATE_TEST_SUITE_P(Seeds, PlayerStorm,
                         ::testing::Combine(::testing::Values(Engine::Queue, Engine::Graph),
                                            ::testing::ValuesIn(stormSeeds({1, 2, 3}))),
                         [](const auto& info) {
                             return (std::get<Engine>(info.param) == Engine::Queue ? "Queue_"
                                                                                   : "Graph_") +
                                    stormSeedName(std::get<std::uint64_t>(info.param));
                         });

} // namespace
} // namespace playback_test
