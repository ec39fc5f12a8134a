#pragma once

// The analysis of one recording on a worker thread of its own, for the window: start it
// once the waveform shows, look at its progress, take the result when it has finished,
// and drop it (which cancels it) when another file opens.
//
// Thread contract: the job object belongs to one thread (the window's). Its worker thread
// touches only the job's own state. `onFinished`, if given, is called once on the worker
// thread when the analysis has ended (done, failed or cancelled); it must not destroy the
// job (post a message to the owning thread instead). The destructor cancels and waits
// for the worker, which stops within a tenth of a second or so.

#include "analysis/recording/RecordingAnalysis.h"

#include <atomic>
#include <functional>
#include <string>
#include <thread>

namespace analysis {

class AnalysisJob {
public:
    explicit AnalysisJob(std::string path, std::function<void()> onFinished = {});
    ~AnalysisJob();
    AnalysisJob(const AnalysisJob&) = delete;
    AnalysisJob& operator=(const AnalysisJob&) = delete;

    void cancel() { cancel_.store(true); }
    // 0 to 1.
    double progress() const { return progress_.load(std::memory_order_relaxed); }
    bool isFinished() const { return finished_.load(std::memory_order_acquire); }
    // Once isFinished(): the result. Empty (Failed, no error) if taken before.
    RecordingAnalysis takeResult();

private:
    std::atomic<bool> cancel_{false};
    std::atomic<double> progress_{0.0};
    std::atomic<bool> finished_{false};
    RecordingAnalysis result_;
    std::thread worker_;
};

} // namespace analysis
