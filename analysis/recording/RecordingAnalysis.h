#pragma once

// Everything the analysis of one recording found. Each kind of analysis has a member of
// its own here, filled from the features of the one shared decode pass
// (see analyzeRecording in analysis/recording/AnalyzeRecording.h).

#include "analysis/rhythm/Rhythm.h"
#include "analysis/tonal/TonalAnalysis.h"

#include <string>

namespace analysis {

enum class AnalysisStatus { Done, Cancelled, Failed };

struct RecordingAnalysis {
    AnalysisStatus status = AnalysisStatus::Failed;
    std::string error; // Failed: why, in plain words ("not an audio file ('typ?')")
    double durationSeconds = 0;
    Rhythm rhythm;
    tonal::TonalResult tonality; // key, tuning and chords
};

} // namespace analysis
