#include "analysis/recording/AnalysisJob.h"

#include "analysis/recording/AnalyzeRecording.h"

#include <utility>

#if defined(__linux__)
#include <sys/resource.h>
#include <unistd.h>
#endif

namespace analysis {

namespace {

// The analysis runs beside playback, whose time stretching needs the cores more: the
// worker takes the lowest share of the processor, and the decoding threads it starts
// inherit it (Linux keeps the nice level per thread).
void yieldToPlayback() {
#if defined(__linux__)
    setpriority(PRIO_PROCESS, id_t(gettid()), 19);
#endif
}

} // namespace

AnalysisJob::AnalysisJob(std::string path, std::function<void()> onFinished) {
    worker_ = std::thread([this, path = std::move(path), onFinished = std::move(onFinished)] {
        yieldToPlayback();
        AnalysisControl control;
        control.cancel = &cancel_;
        control.progress = &progress_;
        result_ = analyzeRecording(path, control);
        finished_.store(true, std::memory_order_release);
        if (onFinished)
            onFinished();
    });
}

AnalysisJob::~AnalysisJob() {
    cancel();
    worker_.join();
}

RecordingAnalysis AnalysisJob::takeResult() {
    if (!isFinished())
        return {};
    return std::exchange(result_, RecordingAnalysis{});
}

} // namespace analysis
