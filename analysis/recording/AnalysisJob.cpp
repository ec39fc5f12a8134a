#include "analysis/recording/AnalysisJob.h"

#include "analysis/recording/AnalyzeRecording.h"

#include <utility>

namespace analysis {

AnalysisJob::AnalysisJob(std::string path, std::function<void()> onFinished) {
    worker_ = std::thread([this, path = std::move(path), onFinished = std::move(onFinished)] {
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
