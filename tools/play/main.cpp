// studyloop-play: plays a range of an audio file through KTAudioQueuePlayer the way the
// application does (or through KTPlayer, the graph engine, with --engine graph), printing
// the playhead reports, or renders what would be heard to a WAV file with the offline
// device.

#include "audio/AudioFilePreflight.h"
#include "audio/KTAudioFile.h"
#include "platform/audio_device/OfflineAudioDevice.h"
#include "playback/KTAudioQueuePlayer.h"
#include "playback/KTPlayer.h"
#include "tools/wav_writer/WavFile.h"

#include <QCoreApplication>
#include <atomic>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace {

struct Options {
    std::string file;
    double rate = 1.0;
    double pitchCents = 0.0;
    std::optional<double> volume;
    std::optional<std::pair<long long, long long>> range;
    int loops = 1;
    std::string renderPath;
    bool graphEngine = false;
};

const char* const kUsage =
    "usage: studyloop-play FILE [--rate R] [--pitch CENTS] [--volume V] [--range START:END]\n"
    "                            [--loops N] [--render OUT.wav] [--engine queue|graph]\n"
    "  --engine graph plays through the audio-unit graph player, which has no volume.\n";

template <typename T> bool parseNumber(const std::string& text, T& out) {
    const char* end = text.data() + text.size();
    auto [ptr, ec] = std::from_chars(text.data(), end, out);
    return ec == std::errc() && ptr == end;
}

std::optional<Options> parseArguments(int argc, char** argv) {
    Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        auto value = [&]() -> std::optional<std::string> {
            if (i + 1 >= argc)
                return std::nullopt;
            return std::string(argv[++i]);
        };
        std::optional<std::string> v;
        if (arg == "--rate") {
            if (!(v = value()) || !parseNumber(*v, options.rate) || !(options.rate > 0))
                return std::nullopt;
        } else if (arg == "--pitch") {
            if (!(v = value()) || !parseNumber(*v, options.pitchCents))
                return std::nullopt;
        } else if (arg == "--volume") {
            double volume = 0;
            if (!(v = value()) || !parseNumber(*v, volume))
                return std::nullopt;
            options.volume = volume;
        } else if (arg == "--engine") {
            if (!(v = value()) || (*v != "queue" && *v != "graph"))
                return std::nullopt;
            options.graphEngine = *v == "graph";
        } else if (arg == "--loops") {
            if (!(v = value()) || !parseNumber(*v, options.loops) || options.loops < 1)
                return std::nullopt;
        } else if (arg == "--range") {
            if (!(v = value()))
                return std::nullopt;
            const auto colon = v->find(':');
            long long start = 0, end = 0;
            if (colon == std::string::npos || !parseNumber(v->substr(0, colon), start) ||
                !parseNumber(v->substr(colon + 1), end) || start < 0 || end < start)
                return std::nullopt;
            options.range = {start, end};
        } else if (arg == "--render") {
            if (!(v = value()))
                return std::nullopt;
            options.renderPath = *v;
        } else if (!arg.empty() && arg[0] == '-') {
            return std::nullopt;
        } else if (options.file.empty()) {
            options.file = arg;
        } else {
            return std::nullopt;
        }
    }
    if (options.file.empty() || (options.graphEngine && options.volume))
        return std::nullopt;
    return options;
}

// Prints the playhead and notes the end of playback, for either player.
class Reporter : public KTAudioQueuePlayerDelegate, public KTPlayerDelegate {
public:
    Reporter(int sampleRate, int loops) : rate(sampleRate), loops(loops) {}
    void playerDidMovePlayheadToFrame(KTAudioQueuePlayer*, int frame) override { print(frame); }
    void playerDidCompletePlayback(KTAudioQueuePlayer*) override { finish(); }

    // The graph player decides the end of a pass at a tick that reports it: the loop flag
    // set there decides whether the next pass follows, so it is cleared at the last one.
    void playerDidMovePlayheadToFrame(KTPlayer* player, int frame) override {
        print(frame);
        if (player->isPlaybackComplete())
            player->setLooped(++passes < loops);
    }
    void playerDidCompletePlayback(KTPlayer*) override { finish(); }

    std::atomic<bool> done{false};

private:
    void print(int frame) {
        std::printf("playhead %d (%.3f s)\n", frame, double(frame) / rate);
        std::fflush(stdout);
    }
    void finish() {
        done.store(true);
        QMetaObject::invokeMethod(QCoreApplication::instance(), &QCoreApplication::quit,
                                  Qt::QueuedConnection);
    }
    int rate;
    int loops;
    int passes = 0; // main thread
};

// Counts the passes of a looped range and clears the loop flag before the last one ends,
// so that the queue player reports completion after exactly `loops` passes. Runs after the
// player's own listener on the queue's thread.
struct PassCounter {
    KTAudioQueuePlayer* player;
    int loops;
    int stops = 0;
    static void listener(void* userData, platform::AudioQueueRef queue,
                         platform::AudioQueuePropertyID property) {
        auto* self = static_cast<PassCounter*>(userData);
        std::uint32_t running = 0, size = sizeof running;
        if (platform::AudioQueueGetProperty(queue, property, &running, &size) != platform::noErr ||
            running)
            return;
        if (++self->stops == self->loops - 1)
            self->player->setLooped(false);
    }
};

// What only the queue player has: volume, and passes counted by its running-state listener.
void setUpEngine(KTAudioQueuePlayer& player, const Options& options, PassCounter& counter) {
    player.setVolume(options.volume.value_or(1.0));
    counter = PassCounter{&player, options.loops};
    platform::AudioQueueAddPropertyListener(player.audioQueue(),
                                            platform::kAudioQueueProperty_IsRunning,
                                            &PassCounter::listener, &counter);
}
void setUpEngine(KTPlayer&, const Options&, PassCounter&) {}

// Plays (or renders, with `offline`) the range through `player`; the exit status.
template <typename Player>
int run(QCoreApplication& app, Player& player, const Options& options,
        const std::shared_ptr<KTAudioFile>& file,
        const std::shared_ptr<platform::OfflineAudioDevice>& offline) {
    const int sampleRate = file->sampleRate();
    const long long totalFrames = file->totalFrames();
    Reporter reporter(sampleRate, options.loops);
    PassCounter counter{};
    player.setDelegate(&reporter);
    player.setAudioFile(file);
    const auto [start, end] = options.range.value_or(std::pair{0LL, totalFrames});
    player.setRangeStartFrameNumFrames(double(start), double(end - start));
    player.setPlaybackRate(options.rate);
    player.setPitchShift(float(options.pitchCents));
    setUpEngine(player, options, counter);
    player.setLooped(options.loops > 1);
    player.play();

    if (!offline)
        return app.exec();

    WavFileWriter wav(options.renderPath, sampleRate);
    if (!wav.isOpen()) {
        std::fprintf(stderr, "studyloop-play: cannot write %s\n", options.renderPath.c_str());
        return 1;
    }
    std::vector<float> block(2 * 1024);
    std::uint64_t rendered = 0;
    while (!reporter.done.load()) {
        const std::uint32_t got =
            offline->pullPlayed(block.data(), 1024, std::chrono::milliseconds(100));
        wav.write(block.data(), got);
        rendered += got;
        app.processEvents();
        if (got == 0)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    if (!wav.close()) {
        std::fprintf(stderr, "studyloop-play: cannot write %s\n", options.renderPath.c_str());
        return 1;
    }
    std::printf("rendered %llu frames (%.3f s) to %s\n", static_cast<unsigned long long>(rendered),
                double(rendered) / sampleRate, options.renderPath.c_str());
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const std::optional<Options> parsed = parseArguments(argc, argv);
    if (!parsed) {
        std::fputs(kUsage, stderr);
        return 2;
    }
    const Options& options = *parsed;
    if (const std::string problem = audioFileProblem(options.file); !problem.empty()) {
        std::fprintf(stderr, "studyloop-play: %s: %s\n", options.file.c_str(), problem.c_str());
        return 1;
    }
    auto file = std::make_shared<KTAudioFile>(options.file);

    std::shared_ptr<platform::OfflineAudioDevice> offline;
    if (!options.renderPath.empty()) {
        offline = std::make_shared<platform::OfflineAudioDevice>(file->outputFormat().mSampleRate);
        platform::setDefaultAudioDevice(offline);
    }

    // Made after the device is chosen: the graph player takes its output when it is made.
    if (options.graphEngine) {
        KTPlayer player;
        return run(app, player, options, file, offline);
    }
    KTAudioQueuePlayer player;
    return run(app, player, options, file, offline);
}
