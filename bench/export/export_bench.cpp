// How fast a loop exports: the window's Export Loop (the player's engine on an offline
// device, then the encoder) over 30 s of the demo recording at rates 0.5, 1 and 2 and pitch
// 0 and +700 cents, as a multiple of real time, against Rubber Band alone (the same
// options, fed the same recording in the same blocks, for the same output) in the same run.
// Target: at least 5 times real time.
//
//   studyloop-export-bench RECORDING [OUTPUT_FOLDER]

#include "audio/KTAudioFile.h"
#include "platform/audio_export/AudioEncoder.h"
#include "playback/OfflineRender.h"

#include <QCoreApplication>
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <rubberband/RubberBandStretcher.h>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using RubberBand::RubberBandStretcher;
constexpr double kSeconds = 30;
constexpr std::size_t kFeedFrames = 256;

double since(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// The recording's first `frames` frames, as planar stereo.
std::vector<std::vector<float>> readPlanar(const std::string& path, std::int64_t frames) {
    KTAudioFile file(path);
    std::vector<float> interleaved(std::size_t(frames) * 2);
    std::uint32_t count = std::uint32_t(frames);
    platform::AudioBufferList list;
    list.mNumberBuffers = 1;
    list.mBuffers[0] = {2, count * 8, interleaved.data()};
    platform::ExtAudioFileRead(file.extAudioFile(), &count, &list);
    std::vector<std::vector<float>> planar(2, std::vector<float>(count));
    for (std::uint32_t i = 0; i < count; ++i)
        for (int c = 0; c < 2; ++c)
            planar[std::size_t(c)][i] = interleaved[2 * i + std::size_t(c)];
    return planar;
}

// Seconds Rubber Band alone takes to stretch `input` at `rate` and `cents`, fed in blocks.
double bareStretcher(const std::vector<std::vector<float>>& input, int sampleRate, double rate,
                     double cents) {
    const auto start = Clock::now();
    RubberBandStretcher stretcher(std::size_t(sampleRate), 2,
                                  RubberBandStretcher::OptionProcessRealTime |
                                      RubberBandStretcher::OptionEngineFiner |
                                      RubberBandStretcher::OptionPitchHighConsistency,
                                  1.0 / rate, std::exp2(cents / 1200));
    stretcher.setMaxProcessSize(kFeedFrames);
    std::vector<float> out[2] = {std::vector<float>(4096), std::vector<float>(4096)};
    float* outputs[2] = {out[0].data(), out[1].data()};
    const std::size_t total = input[0].size();
    for (std::size_t fed = 0; fed < total; fed += kFeedFrames) {
        const std::size_t n = std::min(kFeedFrames, total - fed);
        const float* inputs[2] = {input[0].data() + fed, input[1].data() + fed};
        stretcher.process(inputs, n, fed + n == total);
        while (stretcher.available() > 0)
            stretcher.retrieve(outputs,
                               std::min<std::size_t>(std::size_t(stretcher.available()), 4096));
    }
    return since(start);
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    if (argc < 2) {
        std::fprintf(stderr, "usage: studyloop-export-bench RECORDING [OUTPUT_FOLDER]\n");
        return 2;
    }
    const std::string recording = argv[1];
    const std::filesystem::path folder =
        argc > 2 ? std::filesystem::path(argv[2]) : std::filesystem::temp_directory_path();
    const int sampleRate = KTAudioFile(recording).sampleRate();
    const auto frames = std::int64_t(kSeconds * sampleRate);
    const auto input = readPlanar(recording, frames);

    std::printf("Export Loop of %.0f s of %s: output seconds per second of wall time, against "
                "Rubber Band alone making the same output (same run)\n",
                kSeconds, std::filesystem::path(recording).filename().c_str());
    for (const char* extension : {".wav", ".flac", ".mp3"})
        for (double cents : {0.0, 700.0})
            for (double rate : {0.5, 1.0, 2.0}) {
                const std::string target =
                    (folder / (std::string("export-bench") + extension)).string();
                playback::LoopRenderSettings loop;
                loop.numFrames = frames;
                loop.rate = rate;
                loop.cents = cents;
                platform::AudioEncoder encoder;
                const auto start = Clock::now();
                encoder.open(target, *platform::exportFormatForPath(target), sampleRate);
                std::uint64_t written = 0;
                playback::renderLoop(recording, loop, [&](const float* f, std::uint32_t n) {
                    written += n;
                    return encoder.write(f, n);
                });
                encoder.finish();
                const double exportSeconds = since(start);
                const double bare = bareStretcher(input, sampleRate, rate, cents);
                const double heard = double(written) / sampleRate;
                const double multiple = heard / exportSeconds;
                std::printf(
                    "%-5s rate %.1f pitch %+4.0f  %5.1f s of output in %5.2f s: %5.1f x real "
                    "time (target >= 5)  %s  | bare stretcher %5.2f s (%5.1f x), export "
                    "against it %4.2f\n",
                    extension + 1, rate, cents, heard, exportSeconds, multiple,
                    multiple >= 5 ? "ok" : "MISSED", bare, heard / bare, exportSeconds / bare);
                std::filesystem::remove(target);
            }
    return 0;
}
