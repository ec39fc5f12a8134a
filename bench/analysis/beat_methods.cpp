// studyloop-beat-methods METHOD FILE: other beat trackers run on the same analysis signal
// the program decodes, so the benchmark can compare them with the program's own analysis.
// METHOD is "qm" (the Queen Mary tracker as its authors chain it: complex-domain onset
// function, TempoTrackV2, DownBeat with four beats to the bar) or "aubio" (aubio's tempo
// tracker, which finds no bars). Prints one JSON object as studyloop-inspect --analysis
// does: tempo, beatsPerBar, beats, downbeats.

#include "analysis/signal/AnalysisRate.h"
#include "analysis/signal/SignalPass.h"

#include <algorithm>
#include <aubio/aubio.h>
#include <cstdio>
#include <cstring>
#include <dsp/onsets/DetectionFunction.h>
#include <dsp/tempotracking/DownBeat.h>
#include <dsp/tempotracking/TempoTrackV2.h>
#include <string>
#include <vector>

namespace {

constexpr int kHop = 128; // 11.6 ms, as 512 at 44.1 kHz
constexpr int kWindow = 256;

// Keeps the whole analysis signal: fine for the benchmark's pieces of a minute or two.
class Collector final : public analysis::FeatureExtractor {
public:
    std::int64_t contextFrames() const override { return 0; }
    std::unique_ptr<analysis::SegmentSink> makeSink(const analysis::SegmentSpan& span) override {
        return std::make_unique<Sink>(span);
    }
    void joinSegments(std::vector<std::unique_ptr<analysis::SegmentSink>> sinks) override {
        for (auto& sink : sinks) {
            auto& part = static_cast<Sink&>(*sink).samples;
            signal.insert(signal.end(), part.begin(), part.end());
        }
    }
    std::vector<float> signal;

private:
    struct Sink final : analysis::SegmentSink {
        explicit Sink(const analysis::SegmentSpan& span) : span(span) {}
        void consume(const float* data, std::size_t count, std::int64_t first) override {
            for (std::size_t i = 0; i < count; ++i)
                if (first + std::int64_t(i) >= span.firstFrame &&
                    first + std::int64_t(i) < span.endFrame)
                    samples.push_back(data[i]);
        }
        void finish(std::int64_t) override {}
        analysis::SegmentSpan span;
        std::vector<float> samples;
    };
};

void print(double bpm, int beatsPerBar, const std::vector<double>& beats,
           const std::vector<double>& downbeats) {
    std::printf("{\"tempo\": %.2f, \"beatsPerBar\": %d, \"beats\": [", bpm, beatsPerBar);
    for (std::size_t i = 0; i < beats.size(); ++i)
        std::printf("%s%.3f", i ? ", " : "", beats[i]);
    std::printf("], \"downbeats\": [");
    for (std::size_t i = 0; i < downbeats.size(); ++i)
        std::printf("%s%.3f", i ? ", " : "", downbeats[i]);
    std::printf("]}\n");
}

double medianBpm(const std::vector<double>& beats) {
    if (beats.size() < 2)
        return 0;
    std::vector<double> intervals;
    for (std::size_t i = 1; i < beats.size(); ++i)
        intervals.push_back(beats[i] - beats[i - 1]);
    std::nth_element(intervals.begin(), intervals.begin() + intervals.size() / 2, intervals.end());
    return 60.0 / intervals[intervals.size() / 2];
}

void queenMary(const std::vector<float>& signal) {
    DFConfig config{};
    config.stepSize = kHop;
    config.frameLength = kWindow;
    config.DFType = DF_COMPLEXSD;
    config.dbRise = 3;
    config.adaptiveWhitening = false;
    config.whiteningRelaxCoeff = -1;
    config.whiteningFloor = -1;
    DetectionFunction detection(config);
    DownBeat downBeat(float(analysis::kAnalysisRateHz), 4, kHop);
    downBeat.setBeatsPerBar(4);
    std::vector<double> df;
    std::vector<double> frame(kWindow);
    for (std::size_t start = 0; start + kWindow <= signal.size(); start += kHop) {
        for (int i = 0; i < kWindow; ++i)
            frame[std::size_t(i)] = signal[start + std::size_t(i)];
        df.push_back(detection.processTimeDomain(frame.data()));
        downBeat.pushAudioBlock(signal.data() + start);
    }
    // As its authors do: the first two values are the function starting up.
    if (df.size() > 2)
        df.erase(df.begin(), df.begin() + 2);
    std::vector<double> periods(df.size(), 0.0);
    std::vector<double> tempi;
    std::vector<double> beatFrames;
    TempoTrackV2 tracker(float(analysis::kAnalysisRateHz), kHop);
    tracker.calculateBeatPeriod(df, periods, tempi);
    tracker.calculateBeats(df, periods, beatFrames);
    std::size_t length = 0;
    const float* decimated = downBeat.getBufferedAudio(length);
    std::vector<int> downbeatIndices;
    downBeat.findDownBeats(decimated, length, beatFrames, downbeatIndices);
    const double hopSeconds = double(kHop) / analysis::kAnalysisRateHz;
    std::vector<double> beats;
    std::vector<double> downbeats;
    for (double frame : beatFrames)
        beats.push_back((frame + 2) * hopSeconds);
    for (int index : downbeatIndices)
        if (index >= 0 && std::size_t(index) < beats.size())
            downbeats.push_back(beats[std::size_t(index)]);
    print(medianBpm(beats), 4, beats, downbeats);
}

void aubio(std::vector<float>& signal) {
    aubio_tempo_t* tempo =
        new_aubio_tempo("default", 2 * kWindow, kHop, uint_t(analysis::kAnalysisRateHz));
    fvec_t* input = new_fvec(kHop);
    fvec_t* output = new_fvec(1);
    std::vector<double> beats;
    for (std::size_t start = 0; start + kHop <= signal.size(); start += kHop) {
        std::copy_n(signal.data() + start, kHop, input->data);
        aubio_tempo_do(tempo, input, output);
        if (output->data[0] != 0)
            beats.push_back(aubio_tempo_get_last_s(tempo));
    }
    print(medianBpm(beats), 0, beats, {});
    del_fvec(output);
    del_fvec(input);
    del_aubio_tempo(tempo);
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 3 || (std::strcmp(argv[1], "qm") != 0 && std::strcmp(argv[1], "aubio") != 0)) {
        std::fprintf(stderr, "usage: studyloop-beat-methods qm|aubio FILE\n");
        return 2;
    }
    Collector collector;
    const analysis::PassResult pass = analysis::runSignalPass(argv[2], {&collector});
    if (pass.status != analysis::PassStatus::Done) {
        std::fprintf(stderr, "studyloop-beat-methods: %s: %s\n", argv[2], pass.error.c_str());
        return 1;
    }
    if (std::strcmp(argv[1], "qm") == 0)
        queenMary(collector.signal);
    else
        aubio(collector.signal);
    return 0;
}
