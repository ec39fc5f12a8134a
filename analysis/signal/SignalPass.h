#pragma once

// One decode pass over a recording that feeds every feature extractor at once.
//
// The file is opened through the program's own file layer (read only), cut into segments
// on kSegmentGridFrames boundaries, and each segment is decoded from its own seek point by
// its own thread (one per core, segments of at least 30 s), mixed to mono and resampled to
// kAnalysisRateHz. The helper threads' files are opened, and the extractors set up, while
// the first file opens, as the file's length is what the segments are planned by. Every extractor gets one sink per segment with the context around it
// that it asked for, so features computed segment by segment and joined are those of one
// unbroken pass. Memory stays bounded by the file layer's and the resampler's blocks: the
// decoded recording is never held, only what the extractors keep.
//
// Thread contract: runSignalPass blocks the calling thread, which decodes the first
// segment itself. `control.cancel` may be set from any thread: each decoding thread looks
// at it between blocks (every ~0.1 s of audio at most), and the pass then returns
// Cancelled without joining the extractors' segments. `control.progress` may be read from
// any thread while the pass runs.

#include "analysis/signal/SegmentSink.h"

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

namespace analysis {

struct PassProgress {
    std::atomic<std::int64_t> doneFrames{0};  // analysis frames delivered, all segments
    std::atomic<std::int64_t> totalFrames{0}; // known once the file is open; 0 before
};

struct PassControl {
    const std::atomic<bool>* cancel = nullptr;
    PassProgress* progress = nullptr;
    unsigned threads = 0; // 0: one per core
};

enum class PassStatus { Done, Cancelled, Failed };

struct PassResult {
    PassStatus status = PassStatus::Failed;
    std::string error; // Failed: why, in plain words
    double fileRateHz = 0;
    std::int64_t fileFrames = 0;   // the file's stated length at its own rate
    std::int64_t signalFrames = 0; // analysis frames of signal actually delivered
};

PassResult runSignalPass(const std::string& path, const std::vector<FeatureExtractor*>& extractors,
                         const PassControl& control = {});

} // namespace analysis
