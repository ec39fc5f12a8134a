// The playback engine's figures, all from what the PulseAudio null sink's monitor heard:
// - holes (runs of silence inside a steady tone) over a minute of studyloop-play at rates
//   0.5, 1 and 2, with the machine idle and with the other core kept busy;
// - the CPU time of the whole studyloop-play process against Rubber Band alone making the
//   same output in this process, at those rates and pitch 0 and +700 cents, flat out and
//   paced a device request at a time as real-time playback is;
// - how soon a rate, pitch or position change is heard, against the engine's own floor:
//   the stretcher's latency and what is queued, plus the delay of a volume step (which
//   takes just the way out through the device) measured in the same run, each the median
//   of several changes;
// - the gap between loop passes and how far the reported playhead is from the sound.
// Run through bench/playback/playback_bench.sh.

#include "audio/KTAudioFile.h"
#include "bench/playback/MonitorCapture.h"
#include "bench/playback/Spawn.h"
#include "platform/audio_device/OfflineAudioDevice.h"
#include "platform/thread_priority/ThreadPriority.h"
#include "playback/KTAudioQueuePlayer.h"
#include "tools/sound_check/Holes.h"
#include "tools/wav_writer/WavFile.h"

#include <QCoreApplication>
#include <QThread>
#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <numeric>
#include <rubberband/RubberBandStretcher.h>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
constexpr int kRate = 44100;

double cpuSeconds(int who = RUSAGE_SELF) {
    rusage usage{};
    getrusage(who, &usage);
    return double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           1e-6 * double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec);
}

void pump(int milliseconds) {
    const auto end = Clock::now() + std::chrono::milliseconds(milliseconds);
    while (Clock::now() < end) {
        QCoreApplication::processEvents();
        QThread::msleep(2);
    }
}

double ms(Clock::duration d) {
    return std::chrono::duration<double, std::milli>(d).count();
}

// Writes a stereo float WAV whose left and right channels are f(frame).
template <typename F>
std::string writeSignal(const std::filesystem::path& folder, const char* name, double seconds,
                        F f) {
    const auto path = folder / name;
    WavFileWriter wav(path.string(), kRate);
    std::vector<float> frames(2 * std::size_t(seconds * kRate));
    for (std::size_t i = 0; i < frames.size() / 2; ++i)
        frames[2 * i] = frames[2 * i + 1] = float(f(i));
    wav.write(frames.data(), std::uint32_t(frames.size() / 2));
    wav.close();
    return path.string();
}

// Frequency from interpolated rising zero crossings in [center - half, center + half).
double localFrequency(const std::vector<float>& x, std::size_t center, std::size_t half) {
    const std::size_t begin = center > half ? center - half : 1;
    const std::size_t end = std::min(x.size(), center + half);
    double first = -1, last = -1;
    int count = 0;
    for (std::size_t i = std::max<std::size_t>(begin, 1); i < end; ++i)
        if (x[i - 1] < 0 && x[i] >= 0) {
            const double t = double(i - 1) + double(-x[i - 1]) / double(x[i] - x[i - 1]);
            if (first < 0)
                first = t;
            last = t;
            ++count;
        }
    return count < 2 ? 0 : (count - 1) * double(kRate) / (last - first);
}

double localRms(const std::vector<float>& x, std::size_t center, std::size_t half) {
    double sum = 0;
    std::size_t n = 0;
    for (std::size_t i = center > half ? center - half : 0; i < std::min(x.size(), center + half);
         ++i, ++n)
        sum += double(x[i]) * x[i];
    return n ? std::sqrt(sum / double(n)) : 0;
}

// The first capture frame from `from` at which `test` holds for 5 ms in a row.
template <typename Test>
std::size_t firstFrameWhere(const MonitorCapture& capture, std::size_t from, Test test) {
    const std::size_t step = kRate / 1000, needed = 5;
    std::size_t run = 0;
    for (std::size_t f = from; f + step < capture.frameCount(); f += step) {
        run = test(f) ? run + 1 : 0;
        if (run == needed)
            return f - (needed - 1) * step;
    }
    return 0;
}

class Reports : public KTAudioQueuePlayerDelegate {
public:
    void playerDidMovePlayheadToFrame(KTAudioQueuePlayer*, int frame) override {
        if (recording)
            moves.push_back({Clock::now(), frame});
    }
    void playerDidCompletePlayback(KTAudioQueuePlayer*) override { completed.store(true); }
    struct Move {
        Clock::time_point time;
        int frame;
    };
    bool recording = false;
    std::vector<Move> moves;
    std::atomic<bool> completed{false};
};

// Every figure here is at least 0; -1 is one that could not be measured, which misses.
void printFigure(const char* name, double value, const char* unit, double target,
                 const char* targetText, double reference, const char* referenceName) {
    const bool met = value >= 0 && (targetText[0] == '<' ? value <= target : value >= target);
    std::printf("%-44s %9.2f %-4s target %s %-6.6g  reference (%s) %9.2f  ratio %6.2f  %s\n", name,
                value, unit, targetText, target, referenceName, reference,
                reference != 0 ? value / reference : 0.0, met ? "ok" : "MISSED");
}

// CPU seconds Rubber Band alone (R3, real-time mode, same settings) takes for `seconds` of
// output at `rate` and `cents`, from the same 440 Hz tone the program plays, fed straight
// from memory on this thread in 256-frame blocks.
// - Flat out (`pacedBy` 0): what the engine costs at the least, on this machine, now.
// - Paced: a device request of `pacedBy` frames drained at a time, then a sleep until the
//   next one is due, as real-time playback must. Each wake-up starts on cold caches; the
//   difference to the flat-out figure is what real time itself costs here, before any of
//   the program's own work. The paced run goes on while the program plays, at the priority
//   of the program's feeding thread, so both meet the same machine: this VM's speed drifts
//   by 20 % from one half-minute to the next, more than the difference being measured.
using RubberBand::RubberBandStretcher;
constexpr auto kStretcherOptions = RubberBandStretcher::OptionProcessRealTime |
                                   RubberBandStretcher::OptionEngineFiner |
                                   RubberBandStretcher::OptionPitchHighConsistency;
constexpr std::size_t kFeedFrames = 256;

// `ready`, when given, is called once the input is made, just before the clock starts.
double bareStretcherCost(double rate, double cents, double seconds, std::size_t pacedBy = 0,
                         const std::function<void()>& ready = {}) {
    RubberBandStretcher stretcher(kRate, 2, kStretcherOptions, 1.0 / rate, std::exp2(cents / 1200));
    stretcher.setMaxProcessSize(kFeedFrames);
    const std::size_t wanted = std::size_t(seconds * kRate);
    // Made before the clock starts, as the program reads its tone from a file.
    std::vector<float> tone(std::size_t(double(wanted) * rate) + 16 * kRate);
    for (std::size_t i = 0; i < tone.size(); ++i)
        tone[i] = float(0.5 * std::sin(2 * M_PI * 440 * double(i) / kRate));
    std::vector<float> out[2] = {std::vector<float>(4096), std::vector<float>(4096)};
    float* outputs[2] = {out[0].data(), out[1].data()};
    const std::size_t chunk = pacedBy ? pacedBy : wanted;
    const auto period = std::chrono::duration<double>(double(chunk) / kRate);
    std::size_t fed = 0, produced = 0;
    if (ready)
        ready();
    auto due = Clock::now();
    const double start = cpuSeconds(RUSAGE_THREAD);
    while (produced < wanted) {
        const std::size_t until = std::min(wanted, produced + chunk);
        while (produced < until) {
            if (const int available = stretcher.available(); available > 0) {
                produced += stretcher.retrieve(
                    outputs, std::min({std::size_t(available), until - produced, out[0].size()}));
                continue;
            }
            const float* inputs[2] = {tone.data() + fed, tone.data() + fed};
            stretcher.process(inputs, kFeedFrames, false);
            fed = std::min(fed + kFeedFrames, tone.size() - kFeedFrames);
        }
        if (pacedBy) {
            due += std::chrono::duration_cast<Clock::duration>(period);
            std::this_thread::sleep_until(due);
        }
    }
    return cpuSeconds(RUSAGE_THREAD) - start;
}

// What the stretcher reports it holds back, in output frames, at these settings.
double stretcherLatencyFrames(double rate, double cents) {
    RubberBandStretcher stretcher(kRate, 2, kStretcherOptions, 1.0 / rate, std::exp2(cents / 1200));
    return double(stretcher.getLatency());
}

// ---- through the null sink -------------------------------------------------------------

struct Live {
    MonitorCapture& capture;
    KTAudioQueuePlayer& player;
    Reports& reports;
};

// Delay from `change` (done at T0) until `heard` holds in the recording.
template <typename Change, typename Heard>
double changeDelay(Live& live, Change change, Heard heard) {
    pump(300);
    const auto t0 = Clock::now();
    change();
    pump(600);
    const std::size_t from = live.capture.frameAt(t0 - std::chrono::milliseconds(20));
    const std::size_t at = firstFrameWhere(live.capture, from, heard);
    return at ? ms(live.capture.timeOfFrame(at) - t0) : -1;
}

// A delay depends on where in the device's cycle the change falls: each figure is the median
// of several changes.
double median(std::vector<double> delays) {
    std::sort(delays.begin(), delays.end());
    return delays[delays.size() / 2];
}

template <typename Measure> double medianOf(int count, Measure measure) {
    std::vector<double> delays;
    for (int i = 0; i < count; ++i)
        delays.push_back(measure());
    return median(delays);
}

// Halves the rate while the sweep plays at rate 1. The sweep's heard frequency is fitted
// before the change; the change shows as the frequency falling behind that line, by 200 Hz/s
// once the rate has halved.
double rateChangeDelay(Live& live) {
    const MonitorCapture& capture = live.capture;
    const auto frequencyAt = [&](std::size_t f) {
        return localFrequency(capture.samples(), f, kRate / 200);
    };
    const auto t0 = Clock::now();
    live.player.setPlaybackRate(0.5);
    pump(500);
    const std::size_t a = capture.frameAt(t0 - std::chrono::milliseconds(250));
    const std::size_t b = capture.frameAt(t0 - std::chrono::milliseconds(20));
    double sx = 0, sy = 0, sxx = 0, sxy = 0;
    int n = 0;
    for (std::size_t f = a; f < b; f += kRate / 500, ++n) {
        const double xs = double(f) / kRate, ys = frequencyAt(f);
        sx += xs, sy += ys, sxx += xs * xs, sxy += xs * ys;
    }
    const double slope = (n * sxy - sx * sy) / (n * sxx - sx * sx);
    const double icept = (sy - slope * sx) / n;
    constexpr double kBehind = 6; // Hz below the line: 30 ms after the knee at 200 Hz/s
    const std::size_t at = firstFrameWhere(capture, b, [&](std::size_t f) {
        return icept + slope * double(f) / kRate - frequencyAt(f) > kBehind;
    });
    return at ? ms(capture.timeOfFrame(at) - t0) - 1000.0 * kBehind / (slope / 2) : -1;
}

void benchDelays(const std::filesystem::path& folder) {
    const std::string tone = writeSignal(folder, "tone440.wav", 8, [](std::size_t i) {
        return 0.5 * std::sin(2 * M_PI * 440 * double(i) / kRate);
    });
    // 440 Hz for 4 s, then 880 Hz.
    const std::string twoTones = writeSignal(folder, "two-tones.wav", 8, [](std::size_t i) {
        const double f = i < 4 * kRate ? 440 : 880;
        return 0.5 * std::sin(2 * M_PI * f * double(i) / kRate);
    });
    // A sweep whose frequency tells the source time: f = 300 + 400 t.
    const std::string sweep = writeSignal(folder, "sweep.wav", 3, [](std::size_t i) {
        const double t = double(i) / kRate;
        return 0.5 * std::sin(2 * M_PI * (300 * t + 200 * t * t));
    });

    MonitorCapture capture(kRate, 150, 64);
    if (!capture.start()) {
        std::printf("no capture of the monitor: is PulseAudio running with sink \"null\"?\n");
        return;
    }
    Reports reports;
    KTAudioQueuePlayer player;
    player.setDelegate(&reports);
    Live live{capture, player, reports};
    const auto& x = capture.samples();
    auto frequencyAt = [&](std::size_t f) { return localFrequency(x, f, kRate / 200); };

    // Reference for every delay: a volume step, applied on the device's own thread, so it
    // takes just the way out through the ring and the device.
    player.setAudioFile(std::make_shared<KTAudioFile>(tone));
    player.setLooped(true);
    player.setVolume(0.0);
    player.play();
    // A fresh stream may take a second or more before the server takes its sound: wait
    // until the (quiet) tone is on the recording.
    for (int waited = 0; waited < 5000; waited += 50) {
        pump(50);
        const std::size_t n = capture.frameCount();
        if (n > kRate / 10 && localRms(x, n - kRate / 20, kRate / 50) > 0.005)
            break;
    }
    pump(500);
    // The volume step is heard once the server has played what it holds, which swings by a
    // device request over the cycle (a change of rate or pitch comes after the ring as well,
    // which swings the other way): its median over seven steps.
    const double volumeDelay = medianOf(7, [&] {
        player.setVolume(0.0);
        return changeDelay(
            live, [&] { player.setVolume(1.0); },
            [&](std::size_t f) {
                return localRms(x, f, kRate / 400) > 0.5 * (0.35 + 0.35 * 0.0427);
            });
    });
    const double pitchDelay = medianOf(3, [&] {
        player.setPitchShift(0);
        return changeDelay(
            live, [&] { player.setPitchShift(1200); },
            [&](std::size_t f) { return frequencyAt(f) > 660; });
    });
    player.setPitchShift(0);

    // Loop gap: a half-second range played round several times.
    player.stop();
    pump(300);
    player.setRangeStartFrameNumFrames(kRate, kRate / 2);
    player.play();
    const std::size_t loopFrom = capture.frameCount();
    pump(2600);
    const std::size_t loopTo = capture.frameCount();
    std::size_t longest = 0, run = 0;
    for (std::size_t i = loopFrom; i < loopTo; ++i) {
        run = std::fabs(x[i]) < 0.01f ? run + 1 : 0;
        longest = std::max(longest, run);
    }
    const double loopGap = 1000.0 * double(longest) / kRate;

    player.setLooped(false);
    player.stop();
    pump(500);

    // Seek: in the 440 Hz half, jump into the 880 Hz half.
    player.setAudioFile(std::make_shared<KTAudioFile>(twoTones));
    player.setLooped(true);
    player.play();
    pump(400);
    const double seekDelay = medianOf(3, [&] {
        player.setCurrentFrame(kRate);
        return changeDelay(
            live, [&] { player.setCurrentFrame(5 * kRate); },
            [&](std::size_t f) { return frequencyAt(f) > 660; });
    });
    player.setLooped(false);
    player.stop();
    pump(500);

    // Sweep: playhead against the sound, then the rate change.
    player.setAudioFile(std::make_shared<KTAudioFile>(sweep));
    player.play();
    // From 0.9 s on: over its first half second the stretcher's sound wanders by up to 3 ms
    // around the source times it stands for, at the same moments run after run, while the
    // playhead follows those times evenly.
    pump(900);
    reports.recording = true;
    pump(1200);
    reports.recording = false;
    std::vector<double> offsets;
    for (const auto& move : reports.moves) {
        // Over 40 ms: the sweep is linear, so the mean frequency is the centre's, and more
        // zero crossings average out their jitter.
        const std::size_t at = capture.frameAt(move.time);
        if (at + kRate / 50 >= capture.frameCount())
            continue; // not all recorded yet
        const double f = localFrequency(x, at, kRate / 50);
        if (f <= 0)
            continue;
        const double heardFrame = (f - 300) / 400 * kRate;             // f = 300 + 400 t
        offsets.push_back((move.frame - heardFrame) * 1000.0 / kRate); // < 0: behind
    }
    std::vector<double> distances(offsets.size());
    std::transform(offsets.begin(), offsets.end(), distances.begin(),
                   [](double offset) { return std::fabs(offset); });
    std::sort(distances.begin(), distances.end());
    const double playheadOffset = distances.empty() ? -1 : distances[distances.size() / 2];
    const double playheadBehind =
        offsets.empty() ? -1 : std::max(0.0, -*std::min_element(offsets.begin(), offsets.end()));
    const double playheadAhead =
        offsets.empty() ? -1 : std::max(0.0, *std::max_element(offsets.begin(), offsets.end()));

    // The first rate change follows the playhead's pass; two more follow a jump back to the
    // start at rate 1 (not a stop: a play right after stop() can be undone by the stop's own
    // running-state news, which comes later).
    std::vector<double> rateDelays{rateChangeDelay(live)};
    while (rateDelays.size() < 3) {
        player.setPlaybackRate(1.0);
        player.setCurrentFrame(0);
        pump(700);
        rateDelays.push_back(rateChangeDelay(live));
    }
    const double rateDelay = median(rateDelays);
    player.stop();
    pump(300);
    capture.stop();

    // The engine's floor for each change: what the stretcher holds (its reported latency at
    // the settings in force when the change was made), for a seek also the three queued
    // 1000-frame buffers at the current rate, plus the volume step's way out, plus 20 ms.
    const double stretcherMs = 1000.0 * stretcherLatencyFrames(1.0, 0) / kRate;
    const double queuedMs = 1000.0 * 3000 / 1.0 / kRate;
    std::printf(
        "\nDelays through the null sink (monitor recorded in-process; every delay includes "
        "the recording side and is the median of three changes, the volume step's of seven)\n");
    std::printf("%-44s %9.2f ms   (the reference: device + recording)\n", "volume step heard after",
                volumeDelay);
    std::printf("%-44s %9.2f ms   (getLatency() at rate 1, pitch 0)\n", "stretcher latency",
                stretcherMs);
    printFigure("setPlaybackRate: heard after", rateDelay, "ms", stretcherMs + volumeDelay + 20,
                "<=", volumeDelay, "volume step");
    printFigure("setPitchShift: heard after", pitchDelay, "ms", stretcherMs + volumeDelay + 20,
                "<=", volumeDelay, "volume step");
    printFigure("setCurrentFrame (rate 1.0): heard after", seekDelay, "ms",
                queuedMs + stretcherMs + volumeDelay + 20, "<=", volumeDelay, "volume step");
    printFigure("silence between loop passes", loopGap, "ms", 30, "<=", volumeDelay, "volume step");
    printFigure("reported playhead vs heard (median)", playheadOffset, "ms", 5, "<=", volumeDelay,
                "volume step");
    printFigure("reported playhead behind the sound (worst)", playheadBehind, "ms", 5,
                "<=", volumeDelay, "volume step");
    printFigure("reported playhead ahead of the sound (worst)", playheadAhead, "ms", 15,
                "<=", volumeDelay, "volume step");
}

// ---- holes and CPU of the whole program ------------------------------------------------

// Runs a program to its end; its CPU seconds (user + system), or -1 if it failed.
double runAndMeasureCpu(const std::vector<std::string>& command) {
    const pid_t pid = spawnQuietly(command, true);
    if (pid == 0)
        return -1;
    int status = 0;
    rusage usage{};
    while (wait4(pid, &status, 0, &usage) < 0 && errno == EINTR) {
    }
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
        return -1;
    return double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           1e-6 * double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec);
}

struct ProgramRun {
    double cpu = -1;
    double pacedStretcher = 0; // CPU of Rubber Band alone, paced, while the program played
    std::vector<sound_check::Hole> holes;
    double heardSeconds = 0;
};

// The server's request size with the buffer the output asks for (the program logs it).
constexpr std::size_t kRequestFrames = kRate * 15 / 1000;
// The program's feeding thread runs at this real-time priority where it is granted.
constexpr int kFeedingPriority = 8;

// studyloop-play on `tone` for `seconds` of output at `rate` and `cents`, recorded, with
// the paced stretcher making the same output on a thread of this process meanwhile.
ProgramRun playAndListen(const std::string& player, const std::string& tone, double rate,
                         double cents, double seconds) {
    ProgramRun result;
    MonitorCapture capture(kRate, seconds + 8);
    if (!capture.start())
        return result;
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    std::thread reference([&] {
        // Real time only once its input is made: making it at that priority would hold up
        // the sound server.
        result.pacedStretcher = bareStretcherCost(rate, cents, seconds, kRequestFrames, [] {
            platform::makeThreadRealtime(platform::currentThreadId(), kFeedingPriority);
        });
    });
    const std::string range = "0:" + std::to_string(std::llround(seconds * rate * kRate));
    result.cpu = runAndMeasureCpu({player, tone, "--range", range, "--rate", std::to_string(rate),
                                   "--pitch", std::to_string(cents)});
    reference.join();
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    capture.stop();
    const std::vector<float> heard(capture.samples().begin(),
                                   capture.samples().begin() +
                                       std::ptrdiff_t(capture.frameCount()));
    result.holes = sound_check::findHoles(heard);
    auto loud = [](float x) { return std::fabs(x) > 0.02f; };
    const auto first = std::find_if(heard.begin(), heard.end(), loud);
    const auto last = std::find_if(heard.rbegin(), heard.rend(), loud);
    if (first != heard.end())
        result.heardSeconds = double(std::distance(first, last.base())) / kRate;
    return result;
}

// CPU seconds studyloop-play takes to start, open the file, play 0.1 s and exit (median of
// three): not playing, so taken out of the program's figure.
double launchCost(const std::string& player, const std::string& tone) {
    std::vector<double> runs;
    for (int i = 0; i < 3; ++i)
        runs.push_back(
            runAndMeasureCpu({player, tone, "--range", "0:" + std::to_string(kRate / 10)}));
    std::sort(runs.begin(), runs.end());
    return std::max(0.0, runs[1]);
}

constexpr double kPacedTarget = 1.10;

void printRun(const char* condition, double rate, double cents, const ProgramRun& run,
              double launch, double bare) {
    const double playing = run.cpu - launch;
    const double paced = run.pacedStretcher;
    double longest = 0;
    for (const auto& hole : run.holes)
        longest = std::max(longest, 1000.0 * double(hole.length) / kRate);
    const double ratio = paced > 0 ? playing / paced : 0.0;
    const bool ok = run.holes.empty() && run.cpu > 0 && ratio <= kPacedTarget;
    std::printf("rate %.1f pitch %+4.0f %-9s heard %6.2f s  holes %2zu (longest %5.1f ms)  "
                "cpu playing %6.2f s  paced stretcher %6.2f s  program against it %5.2f (target "
                "<= %.2f)  %s  | flat-out stretcher %6.2f s, paced against it %.2f\n",
                rate, cents, condition, run.heardSeconds, run.holes.size(), longest, playing, paced,
                ratio, kPacedTarget, ok ? "ok" : "MISSED", bare, bare > 0 ? paced / bare : 0.0);
    for (std::size_t i = 0; i < std::min<std::size_t>(run.holes.size(), 5); ++i)
        std::printf("    hole at %.3f s: %zu frames\n", double(run.holes[i].start) / kRate,
                    run.holes[i].length);
}

void benchProgram(const std::filesystem::path& folder, const std::string& player, double seconds) {
    // Long enough for `seconds` of output at rate 2, without a loop.
    const std::string tone =
        writeSignal(folder, "steady440.wav", 2 * seconds + 5, [](std::size_t i) {
            return 0.5 * std::sin(2 * M_PI * 440 * double(i) / kRate);
        });
    const double launch = launchCost(player, tone);
    std::printf("\nstudyloop-play through the null sink: holes in the recording, CPU of the "
                "whole process while playing (its launch and exit, %.2f s, taken out) against "
                "Rubber Band alone for the same output (same run)\n",
                launch);
    for (double cents : {0.0, 700.0})
        for (double rate : {0.5, 1.0, 2.0}) {
            // Pitch +700 for the CPU figure mainly: a third of the time.
            const double length = cents == 0 ? seconds : seconds / 3;
            const ProgramRun run = playAndListen(player, tone, rate, cents, length);
            printRun("idle", rate, cents, run, launch, bareStretcherCost(rate, cents, length));
        }
    std::atomic<bool> busy{true};
    std::thread burner([&] {
        volatile double sink = 0;
        while (busy.load(std::memory_order_relaxed))
            sink = sink + 1.0;
    });
    for (double rate : {0.5, 1.0, 2.0}) {
        const ProgramRun run = playAndListen(player, tone, rate, 0, seconds);
        printRun("core busy", rate, 0, run, launch, bareStretcherCost(rate, 0, seconds));
    }
    busy.store(false);
    burner.join();
}

} // namespace

// studyloop-playback-bench [all|delays|program] [PATH/TO/studyloop-play] [SECONDS]
int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const std::filesystem::path folder =
        std::filesystem::temp_directory_path() / "studyloop-playback-bench";
    std::filesystem::create_directories(folder);
    const std::string mode = argc > 1 ? argv[1] : "all";
    const std::string player = argc > 2 ? argv[2] : "";
    const double seconds = argc > 3 ? std::atof(argv[3]) : 60;
    if ((mode == "program" || mode == "all") && !player.empty())
        benchProgram(folder, player, seconds);
    if (mode == "delays" || mode == "all")
        benchDelays(folder);
    std::filesystem::remove_all(folder);
    return 0;
}
