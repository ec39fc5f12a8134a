// studyloop-play: plays a range of an audio file through KTAudioQueuePlayer the way the
// application does, printing the playhead reports, or renders what would be heard to a WAV
// file with the offline device.

#include "audio/AudioFilePreflight.h"
#include "audio/KTAudioFile.h"
#include "platform/audio_device/OfflineAudioDevice.h"
#include "playback/KTAudioQueuePlayer.h"
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
    double volume = 1.0;
    std::optional<std::pair<long long, long long>> range;
    int loops = 1;
    std::string renderPath;
};

const char* const kUsage =
    "usage: studyloop-play FILE [--rate R] [--pitch CENTS] [--volume V] [--range START:END]\n"
    "                            [--loops N] [--render OUT.wav]\n";

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
            if (!(v = value()) || !parseNumber(*v, options.volume))
                return std::nullopt;
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
    if (options.file.empty())
        return std::nullopt;
    return options;
}

// Prints the playhead and notes the end of playback.
class Reporter : public KTAudioQueuePlayerDelegate {
public:
    explicit Reporter(int sampleRate) : rate(sampleRate) {}
    void playerDidMovePlayheadToFrame(KTAudioQueuePlayer*, int frame) override {
        std::printf("playhead %d (%.3f s)\n", frame, double(frame) / rate);
        std::fflush(stdout);
    }
    void playerDidCompletePlayback(KTAudioQueuePlayer*) override {
        done.store(true);
        QMetaObject::invokeMethod(QCoreApplication::instance(), &QCoreApplication::quit,
                                  Qt::QueuedConnection);
    }
    std::atomic<bool> done{false};

private:
    int rate;
};

// Counts the passes of a looped range and clears the loop flag before the last one ends,
// so that the player reports completion after exactly `loops` passes. Runs after the
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
    const int sampleRate = file->sampleRate();
    const long long totalFrames = file->totalFrames();

    std::shared_ptr<platform::OfflineAudioDevice> offline;
    if (!options.renderPath.empty()) {
        offline = std::make_shared<platform::OfflineAudioDevice>(file->outputFormat().mSampleRate);
        platform::setDefaultAudioDevice(offline);
    }

    Reporter reporter(sampleRate);
    KTAudioQueuePlayer player;
    player.setDelegate(&reporter);
    player.setAudioFile(file);
    const auto [start, end] = options.range.value_or(std::pair{0LL, totalFrames});
    player.setRangeStartFrameNumFrames(double(start), double(end - start));
    player.setPlaybackRate(options.rate);
    player.setPitchShift(float(options.pitchCents));
    player.setVolume(options.volume);
    PassCounter counter{&player, options.loops};
    platform::AudioQueueAddPropertyListener(player.audioQueue(),
                                            platform::kAudioQueueProperty_IsRunning,
                                            &PassCounter::listener, &counter);
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
