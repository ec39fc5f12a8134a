// The turn of a looped range as heard through the PulseAudio null sink's monitor:
// studyloop-play loops two bars of the demo recording that begin on a drum hit, at 50 % and
// 100 % speed, and for each turn this prints the silence between the passes (ms) and the
// level of the hit that opens the new pass against the same hit heard mid-pass (dB), which
// comes from a play of the bar before and the two bars without a loop.
//
//   looped     |hit ..... pass 1 .....|hit ..... pass 2 .....|hit ...
//   reference  |bar before ...........|hit ..... (mid-pass) ........|
//
// Run through bench/playback/loop_bench.sh; needs parecord.

#include "bench/playback/Spawn.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <vector>

namespace {

constexpr int kRate = 44100;
// The demo recording at 105 beats a minute: a bar is 100800 frames; the loop is the two
// bars from 8 s on, whose first frame is a drum hit.
constexpr long long kBarFrames = 100800;
constexpr long long kLoopStart = 352800;
constexpr long long kLoopFrames = 2 * kBarFrames;
constexpr int kPasses = 4;
constexpr float kSilent = 1e-3f; // what the listen tool calls a hole
constexpr float kSound = 0.02f;  // the first sound of a run

bool waitFor(pid_t pid) {
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

// The left channel of a 16-bit stereo WAV as parecord writes it.
std::vector<float> readWav(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::vector<char> bytes((std::istreambuf_iterator<char>(in)), {});
    std::size_t at = 12;
    while (at + 8 <= bytes.size() && std::string(&bytes[at], 4) != "data") {
        std::uint32_t size = 0;
        std::memcpy(&size, &bytes[at + 4], 4);
        at += 8 + size;
    }
    std::vector<float> left;
    for (std::size_t i = at + 8; i + 4 <= bytes.size(); i += 4) {
        std::int16_t sample = 0;
        std::memcpy(&sample, &bytes[i], 2);
        left.push_back(float(sample) / 32768.0f);
    }
    return left;
}

// What the null sink's monitor heard while `command` ran, from its first sound on. parecord
// rather than a capture in this process: it keeps every frame on a busy machine.
std::vector<float> listen(const std::vector<std::string>& command) {
    const std::string path = "/tmp/studyloop-loop-bench.wav";
    const pid_t recorder = spawnQuietly({"parecord", "--device=null.monitor", "--file-format=wav",
                                         "--rate=44100", "--channels=2", "--format=s16le", path});
    if (!recorder)
        return {};
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    const pid_t player = spawnQuietly(command);
    const bool ok = player && waitFor(player);
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    kill(recorder, SIGINT);
    waitFor(recorder);
    const std::vector<float> x = readWav(path);
    std::remove(path.c_str());
    const auto first =
        std::find_if(x.begin(), x.end(), [](float v) { return std::fabs(v) > kSound; });
    if (!ok || first == x.end())
        return {};
    return {first, x.end()};
}

// The level of the hit that starts at `at`: RMS over its first 30 ms of the recording's
// own time, as long again in the output as the speed makes it, in dB. A fixed stretch of
// the attack, so that a few frames of misplacement hardly move it.
double hitLevel(const std::vector<float>& x, std::size_t at, double rate) {
    const auto frames = std::size_t(0.03 * kRate / rate);
    double sum = 0;
    for (std::size_t i = at; i < std::min(x.size(), at + frames); ++i)
        sum += double(x[i]) * x[i];
    return 10 * std::log10(sum / double(frames) + 1e-18);
}

// The longest run of silent frames in [from, to), and where it ends.
std::pair<std::size_t, std::size_t> longestSilence(const std::vector<float>& x, std::size_t from,
                                                   std::size_t to) {
    std::size_t best = 0, bestEnd = 0, run = 0;
    for (std::size_t i = from; i < std::min(to, x.size()); ++i) {
        run = std::fabs(x[i]) < kSilent ? run + 1 : 0;
        if (run > best) {
            best = run;
            bestEnd = i + 1;
        }
    }
    return {best, bestEnd};
}

// Frames of holes (runs of at least 64 silent frames) in [from, to): how much later than
// planned what follows them is heard.
std::size_t holeFrames(const std::vector<float>& x, std::size_t from, std::size_t to) {
    std::size_t total = 0, run = 0;
    for (std::size_t i = from; i < std::min(to, x.size()); ++i) {
        run = std::fabs(x[i]) < kSilent ? run + 1 : 0;
        total += run == 64 ? 64 : run > 64;
    }
    return total;
}

// Runs of at least 64 silent frames (the listen tool's holes) between the first and the
// last sound.
int holes(const std::vector<float>& x) {
    std::size_t last = x.size();
    while (last > 0 && std::fabs(x[last - 1]) <= kSound)
        --last;
    int count = 0;
    std::size_t run = 0;
    for (std::size_t i = 0; i < last; ++i) {
        run = std::fabs(x[i]) < kSilent ? run + 1 : 0;
        count += run == 64;
    }
    return count;
}

void benchRate(const std::string& player, const std::string& demo, double rate) {
    const std::string rateText = std::to_string(rate);
    const auto passFrames = std::size_t(double(kLoopFrames) / rate);
    const auto barFrames = std::size_t(double(kBarFrames) / rate);
    const std::string reference =
        std::to_string(kLoopStart - kBarFrames) + ":" + std::to_string(kLoopStart + kLoopFrames);
    const std::vector<float> mid = listen({player, demo, "--range", reference, "--rate", rateText});
    const std::string loop =
        std::to_string(kLoopStart) + ":" + std::to_string(kLoopStart + kLoopFrames);
    const std::vector<float> looped = listen(
        {player, demo, "--range", loop, "--rate", rateText, "--loops", std::to_string(kPasses)});
    const auto hitFrames = std::size_t(0.03 * kRate / rate);
    if (mid.size() < 2 * barFrames + hitFrames || looped.size() < kPasses * passFrames) {
        std::printf("rate %3.0f %%: nothing heard (is PulseAudio running with sink \"null\"?)\n",
                    100 * rate);
        return;
    }
    const double midLevel = hitLevel(mid, barFrames, rate);
    std::printf("rate %3.0f %%: holes in the loop's recording %d; first pass (from stopped) hit "
                "%+5.2f dB against mid-pass\n",
                100 * rate, holes(looped), hitLevel(looped, 0, rate) - midLevel);
    // Each turn is a pass after the one before, later by whatever holes came between.
    std::size_t turn = 0;
    for (int k = 1; k < kPasses; ++k) {
        const std::size_t expected = turn + passFrames;
        const std::size_t late = holeFrames(looped, turn + kRate / 100, expected + kRate / 15);
        const auto [silence, end] =
            longestSilence(looped, expected - kRate / 30, expected + late + kRate / 15);
        turn = expected + late;
        std::printf("  turn %d: gap %6.2f ms  hit %+5.2f dB against mid-pass\n", k,
                    1000.0 * double(silence) / kRate, hitLevel(looped, turn, rate) - midLevel);
    }
}

} // namespace

// studyloop-loop-bench PATH/TO/studyloop-play PATH/TO/demo.wav
int main(int argc, char** argv) {
    if (argc < 3) {
        std::fprintf(stderr, "usage: studyloop-loop-bench STUDYLOOP-PLAY DEMO.wav\n");
        return 2;
    }
    for (double rate : {0.5, 1.0})
        benchRate(argv[1], argv[2], rate);
    return 0;
}
