// studyloop-play: plays a range of an audio file through KTAudioQueuePlayer the way the
// application does (or through KTPlayer, the graph engine, with --engine graph), printing
// the playhead reports, or renders what would be heard to a WAV, FLAC or MP3 file with the
// offline device.

#include "audio/AudioFilePreflight.h"
#include "audio/KTAudioFile.h"
#include "platform/audio_device/OfflineAudioDevice.h"
#include "platform/audio_export/AudioEncoder.h"
#include "playback/KTAudioQueuePlayer.h"
#include "playback/KTPlayer.h"
#include "playback/OfflineRender.h"

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
    bool wav16 = false;
    bool graphEngine = false;
    double clickBeatSeconds = 0; // 0: no click
    int clickBeatsPerBar = 4;
};

const char* const kUsage =
    "usage: studyloop-play FILE [--rate R] [--pitch CENTS] [--volume V] [--range START:END]\n"
    "                            [--loops N] [--render OUT.wav|.flac|.mp3 [--wav16]]\n"
    "                            [--engine queue|graph] [--click SECONDS[:BEATS_PER_BAR]]\n"
    "  --render writes what would be heard (WAV 32-bit float, or 16-bit with --wav16;\n"
    "  FLAC; MP3), at the file's own rate, as fast as it can.\n"
    "  --engine graph plays through the audio-unit graph player, which has no volume.\n"
    "  --click adds the metronome click on a steady beat from the file's start (the first\n"
    "  of each bar higher), heard at the speed played; it is not rendered.\n";

template <typename T> bool parseNumber(const std::string& text, T& out) {
    const char* end = text.data() + text.size();
    auto [ptr, ec] = std::from_chars(text.data(), end, out);
    return ec == std::errc() && ptr == end;
}

// "A:B" as two numbers, each checked by `valid`.
template <typename T, typename U, typename Valid>
bool parsePair(const std::string& text, T& first, U& second, Valid valid) {
    const auto colon = text.find(':');
    return colon != std::string::npos && parseNumber(text.substr(0, colon), first) &&
           parseNumber(text.substr(colon + 1), second) && valid(first, second);
}

// The value `text` of option `arg` into `options`; false for an option that takes no value
// (or none known) or a value it does not take.
bool parseValue(const std::string& arg, const std::string& text, Options& options) {
    if (arg == "--rate")
        return parseNumber(text, options.rate) && options.rate > 0;
    if (arg == "--pitch")
        return parseNumber(text, options.pitchCents);
    if (arg == "--volume")
        return parseNumber(text, options.volume.emplace());
    if (arg == "--engine") {
        options.graphEngine = text == "graph";
        return text == "queue" || text == "graph";
    }
    if (arg == "--loops")
        return parseNumber(text, options.loops) && options.loops >= 1;
    if (arg == "--range")
        return parsePair(text, options.range.emplace().first, options.range->second,
                         [](auto start, auto end) { return start >= 0 && end >= start; });
    if (arg == "--click")
        return (parseNumber(text, options.clickBeatSeconds) ||
                parsePair(text, options.clickBeatSeconds, options.clickBeatsPerBar,
                          [](double, int perBar) { return perBar > 0; })) &&
               options.clickBeatSeconds > 0;
    if (arg == "--render") {
        options.renderPath = text;
        return true;
    }
    return false;
}

std::optional<Options> parseArguments(int argc, char** argv) {
    Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--wav16") {
            options.wav16 = true;
        } else if (!arg.empty() && arg[0] == '-') {
            if (i + 1 >= argc || !parseValue(arg, argv[++i], options))
                return std::nullopt;
        } else if (options.file.empty()) {
            options.file = arg;
        } else {
            return std::nullopt;
        }
    }
    if (options.file.empty() ||
        (options.graphEngine && (options.volume || options.clickBeatSeconds)) ||
        (!options.renderPath.empty() &&
         !platform::exportFormatForPath(options.renderPath, options.wav16)))
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

// What only the queue player has: volume, and passes counted as the player begins them.
void setUpEngine(KTAudioQueuePlayer& player, const Options& options, playback::LoopPasses& passes) {
    player.setVolume(options.volume.value_or(1.0));
    passes.attach(player);
    if (!(options.clickBeatSeconds > 0))
        return;
    const std::shared_ptr<KTAudioFile> file = player.audioFile();
    const double beatFrames = options.clickBeatSeconds * file->sampleRate();
    std::vector<platform::ClickBeat> beats;
    for (long long beat = 0; double(beat) * beatFrames < double(file->totalFrames()); ++beat)
        beats.push_back({double(beat) * beatFrames, beat % options.clickBeatsPerBar == 0});
    player.setClick(std::move(beats), 1.0);
}
void setUpEngine(KTPlayer& player, const Options& options, playback::LoopPasses&) {
    player.setLooped(options.loops > 1);
}

// Writes what is rendered to the file the options name, in the format its name asks for.
class RenderedFile {
public:
    RenderedFile(const Options& options, int sampleRate) : path(options.renderPath) {
        open = encoder.open(path, *platform::exportFormatForPath(path, options.wav16), sampleRate);
        if (!open)
            std::fprintf(stderr, "studyloop-play: %s\n", encoder.error().c_str());
    }
    bool isOpen() const { return open; }
    playback::RenderSink sink() {
        return [this](const float* frames, std::uint32_t count) {
            frameCount += count;
            return encoder.write(frames, count);
        };
    }
    // The exit status once the render is over.
    int finish(int sampleRate) {
        if (!encoder.finish()) {
            std::fprintf(stderr, "studyloop-play: %s\n", encoder.error().c_str());
            return 1;
        }
        std::printf("rendered %llu frames (%.3f s) to %s\n",
                    static_cast<unsigned long long>(frameCount), double(frameCount) / sampleRate,
                    path.c_str());
        return 0;
    }

private:
    std::string path;
    platform::AudioEncoder encoder;
    bool open = false;
    std::uint64_t frameCount = 0;
};

// Plays (or renders, with `offline`) the range through `player`; the exit status.
template <typename Player>
int run(QCoreApplication& app, Player& player, const Options& options,
        const std::shared_ptr<KTAudioFile>& file,
        const std::shared_ptr<platform::OfflineAudioDevice>& offline) {
    const int sampleRate = file->sampleRate();
    const long long totalFrames = file->totalFrames();
    Reporter reporter(sampleRate, options.loops);
    playback::LoopPasses passes(options.loops);
    player.setDelegate(&reporter);
    player.setAudioFile(file);
    const auto [start, end] = options.range.value_or(std::pair{0LL, totalFrames});
    player.setRangeStartFrameNumFrames(double(start), double(end - start));
    player.setPlaybackRate(options.rate);
    player.setPitchShift(float(options.pitchCents));
    setUpEngine(player, options, passes);
    player.play();

    if (!offline)
        return app.exec();
    RenderedFile rendered(options, sampleRate);
    if (!rendered.isOpen())
        return 1;
    playback::pullPlayedUntil(
        *offline, [&] { return reporter.done.load(); }, rendered.sink());
    return rendered.finish(sampleRate);
}

// The queue player's render: the same code the window's Export Loop runs.
int renderWithQueuePlayer(const Options& options, int sampleRate, long long totalFrames) {
    RenderedFile rendered(options, sampleRate);
    if (!rendered.isOpen())
        return 1;
    const auto [start, end] = options.range.value_or(std::pair{0LL, totalFrames});
    playback::LoopRenderSettings settings;
    settings.startFrame = start;
    settings.numFrames = end - start;
    settings.rate = options.rate;
    settings.cents = options.pitchCents;
    settings.volumeLevel = options.volume.value_or(1.0);
    settings.loops = options.loops;
    playback::renderLoop(options.file, settings, rendered.sink());
    return rendered.finish(sampleRate);
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
    if (!options.renderPath.empty() && !options.graphEngine)
        return renderWithQueuePlayer(options, file->sampleRate(), file->totalFrames());

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
    // Printed lines need no display's pace: a report every 70 ms, and fewer wake-ups.
    player.setPlayheadReportInterval(70);
    return run(app, player, options, file, offline);
}
