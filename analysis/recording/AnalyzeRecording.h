#pragma once

// Analyses a whole recording in one decode pass: every feature extractor plugs into the
// same pass (analysis/signal/SegmentSink.h says how to write one), and each kind of
// analysis is then computed from its features. A new kind of analysis adds its extractor
// to the list in AnalyzeRecording.cpp and its result to RecordingAnalysis.
//
// The file is only read. A file that cannot be opened or decoded gives a Failed result
// with the reason; nothing here ends the process.
//
// Thread contract: blocks the calling thread (a worker's, never the window's), which
// takes part in decoding. `cancel` may be set from any thread at any time; the call then
// returns Cancelled within about a tenth of a second of audio decoding per thread, or
// after the current step of the beat tracking (tens of milliseconds). `progress`, if given,
// goes from 0 to 1 and may be read from any thread.

#include "analysis/recording/RecordingAnalysis.h"

#include <atomic>
#include <string>

namespace analysis {

struct AnalysisControl {
    const std::atomic<bool>* cancel = nullptr;
    std::atomic<double>* progress = nullptr;
    unsigned threads = 0; // decoding threads; 0: one per core
};

RecordingAnalysis analyzeRecording(const std::string& path, const AnalysisControl& control = {});

} // namespace analysis
