// What the tonal analysis costs.
//
//   studyloop-tonal-bench spectrum FILE
//       The note spectrum as the note strip asks for it while the file plays: 25 calls a
//       second of audio from 10 s on for 20 s, then jumps back and forth; the processor
//       time per call (this thread's), and the share of one core that 25 calls a second
//       take. Target: at most 10 %.
//   studyloop-tonal-bench speed FILE [RUNS]
//       In alternating runs: opening FILE and reducing it to peaks as the window does (and
//       `studyloop-inspect FILE`), the whole analysis (beats, bars, key, tuning, chords),
//       and the decode pass with the rhythm's features alone and with the tonal ones
//       added. Medians of wall time, and the analysis against the opening. Target: the
//       analysis in at most 1.5 times the opening.

#include "analysis/recording/AnalyzeRecording.h"
#include "analysis/rhythm/OnsetFeatures.h"
#include "analysis/signal/AnalysisRate.h"
#include "analysis/signal/SignalPass.h"
#include "analysis/tonal/NoteSpectrumReader.h"
#include "analysis/tonal/TonalFeatures.h"
#include "audio/KTAudioFile.h"
#include "audio/KTWaveform.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <functional>
#include <string>
#include <vector>

namespace {

double threadSeconds() {
    timespec now;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return double(now.tv_sec) + 1e-9 * double(now.tv_nsec);
}

double wallSeconds(const std::function<void()>& work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

int spectrum(const std::string& path) {
    tonal::NoteSpectrumReader reader(path);
    if (!reader.isOpen()) {
        std::fprintf(stderr, "cannot open %s\n", path.c_str());
        return 1;
    }
    const double rate = reader.sampleRate();
    tonal::NoteSpectrum out;
    reader.spectrumAt(std::int64_t(10 * rate), 0, out); // the first call opens the window
    int calls = 0;
    double start = threadSeconds();
    for (double seconds = 10.04; seconds < 30; seconds += 0.04, ++calls)
        reader.spectrumAt(std::int64_t(seconds * rate), -200, out);
    const double playing = (threadSeconds() - start) / calls;
    start = threadSeconds();
    for (int i = 0; i < 40; ++i)
        reader.spectrumAt(std::int64_t((i % 2 ? 12.0 : 25.0) * rate), 0, out);
    const double jumping = (threadSeconds() - start) / 40;
    std::printf("note spectrum while playing: %.3f ms a call; 25 calls a second take %.1f %% of "
                "one core (target 10 %%) %s\n",
                playing * 1e3, playing * 25 * 100, playing * 25 <= 0.10 ? "ok" : "MISSED");
    std::printf("note spectrum after a jump: %.2f ms a call\n", jumping * 1e3);
    return 0;
}

int speed(const std::string& path, int runs) {
    std::vector<double> opening, analysing, rhythmPass, bothPass, tonalSteps;
    std::size_t peakBytes = 0, frames = 0;
    for (int run = 0; run < runs; ++run) {
        opening.push_back(wallSeconds([&] {
            const KTAudioFile file(path);
            const KTWaveform waveform(path);
        }));
        analysing.push_back(wallSeconds([&] {
            if (analysis::analyzeRecording(path).status != analysis::AnalysisStatus::Done)
                std::exit(1);
        }));
        rhythmPass.push_back(wallSeconds([&] {
            analysis::OnsetFeatures onsets;
            analysis::runSignalPass(path, {&onsets});
        }));
        analysis::OnsetFeatures onsets;
        tonal::TonalFeatures tonalFeatures(analysis::kAnalysisRateHz);
        bothPass.push_back(wallSeconds([&] {
            analysis::runSignalPass(path, {&onsets, &tonalFeatures});
        }));
        tonalSteps.push_back(
            wallSeconds([&] { tonal::analyseTonality(tonalFeatures.result(), {}); }));
        peakBytes = tonalFeatures.result().peaks.bytes();
        frames = tonalFeatures.result().peaks.frameCount();
    }
    const double open = median(opening), whole = median(analysing);
    std::printf("open + waveform: %.3f s; whole analysis (beats, bars, key, tuning, chords): "
                "%.3f s; ratio %.2f (target 1.5) %s\n",
                open, whole, whole / open, whole <= 1.5 * open ? "ok" : "MISSED");
    std::printf("decode pass with the rhythm's features: %.3f s; with the tonal ones too: "
                "%.3f s (+%.3f s); chords and key after the pass: %.3f s\n",
                median(rhythmPass), median(bothPass), median(bothPass) - median(rhythmPass),
                median(tonalSteps));
    std::printf("tonal features kept: %zu frames, %.1f MB\n", frames, double(peakBytes) / 1e6);
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    if (argc >= 3 && std::strcmp(argv[1], "spectrum") == 0)
        return spectrum(argv[2]);
    if (argc >= 3 && std::strcmp(argv[1], "speed") == 0)
        return speed(argv[2], argc > 3 ? std::atoi(argv[3]) : 5);
    std::fprintf(stderr, "usage: studyloop-tonal-bench spectrum FILE | speed FILE [RUNS]\n");
    return 2;
}
