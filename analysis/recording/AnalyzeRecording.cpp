#include "analysis/recording/AnalyzeRecording.h"

#include "analysis/rhythm/OnsetFeatures.h"
#include "analysis/rhythm/RhythmAnalysis.h"
#include "analysis/signal/AnalysisRate.h"
#include "analysis/signal/SignalPass.h"
#include "analysis/tonal/TonalFeatures.h"

#include <chrono>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <thread>

namespace analysis {
namespace {

// Shares of the progress bar: decoding is most of the work.
constexpr double kDecodeShare = 0.85;

void setProgress(const AnalysisControl& control, double value) {
    if (control.progress)
        control.progress->store(value, std::memory_order_relaxed);
}

bool cancelled(const AnalysisControl& control) {
    return control.cancel && control.cancel->load(std::memory_order_relaxed);
}

// Turns the pass's frame counts into the analysis's progress, every 50 ms until destroyed.
class ProgressWatcher {
public:
    ProgressWatcher(const PassProgress& progress, const AnalysisControl& control) {
        if (!control.progress)
            return;
        thread_ = std::thread([this, &progress, &control] {
            std::unique_lock lock(mutex_);
            while (!over_) {
                const auto total = progress.totalFrames.load(std::memory_order_relaxed);
                const auto done = progress.doneFrames.load(std::memory_order_relaxed);
                if (total > 0)
                    setProgress(control, kDecodeShare * double(done) / double(total));
                wake_.wait_for(lock, std::chrono::milliseconds(50));
            }
        });
    }
    ~ProgressWatcher() {
        {
            const std::lock_guard lock(mutex_);
            over_ = true;
        }
        wake_.notify_all();
        if (thread_.joinable())
            thread_.join();
    }
    ProgressWatcher(const ProgressWatcher&) = delete;
    ProgressWatcher& operator=(const ProgressWatcher&) = delete;

private:
    std::mutex mutex_;
    std::condition_variable wake_;
    bool over_ = false;
    std::thread thread_;
};

RecordingAnalysis analyze(const std::string& path, const AnalysisControl& control) {
    RecordingAnalysis analysis;
    // Every feature of every kind of analysis is computed in this one pass: add a new
    // extractor to this list.
    OnsetFeatures onsets;
    tonal::TonalFeatures tonalFeatures(kAnalysisRateHz);
    const std::vector<FeatureExtractor*> extractors{&onsets, &tonalFeatures};

    PassProgress progress;
    PassControl passControl;
    passControl.cancel = control.cancel;
    passControl.progress = &progress;
    passControl.threads = control.threads;
    PassResult pass;
    {
        const ProgressWatcher watcher(progress, control);
        pass = runSignalPass(path, extractors, passControl);
    }

    if (pass.status == PassStatus::Cancelled || cancelled(control)) {
        analysis.status = AnalysisStatus::Cancelled;
        return analysis;
    }
    if (pass.status == PassStatus::Failed) {
        analysis.error = pass.error;
        return analysis;
    }
    analysis.durationSeconds = secondsOfFrame(double(pass.signalFrames));
    setProgress(control, kDecodeShare);

    analysis.rhythm = analyzeRhythm(onsets.result(), control.cancel);
    if (cancelled(control)) {
        analysis.status = AnalysisStatus::Cancelled;
        analysis.rhythm = {};
        return analysis;
    }
    // The chords are labelled beat by beat.
    std::vector<double> beatSeconds;
    for (const Beat& beat : analysis.rhythm.beats)
        beatSeconds.push_back(beat.seconds);
    analysis.tonality = tonal::analyseTonality(tonalFeatures.result(), beatSeconds);
    setProgress(control, 1.0);
    analysis.status = AnalysisStatus::Done;
    return analysis;
}

} // namespace

RecordingAnalysis analyzeRecording(const std::string& path, const AnalysisControl& control) {
    try {
        return analyze(path, control);
    } catch (const std::exception& error) {
        RecordingAnalysis failed;
        failed.error = std::string("the analysis failed: ") + error.what();
        return failed;
    }
}

} // namespace analysis
