#pragma once

// Reads a whole audio file and reduces it to peak values without holding the decoded
// file in memory: each reader decodes a bounded chunk at a time. With several cores a
// long file is cut into segments on block boundaries, each decoded from its own seek
// point by its own thread, so the peaks are the same as those of one pass.
//
// Every platform call goes through CheckError: a file that cannot be read ends the
// process (callers that must survive bad files check them first).

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

struct PeakData {
    std::vector<std::int16_t> samples;
    std::int16_t globalMaxValue = -32768;
    std::int32_t framesRead = 0;
};

// `progressFrames`, if given, counts the frames read so far, for a progress display on
// another thread (a file cut short may finish below its stated length).
PeakData readPeaks(const std::string& url, std::atomic<std::int64_t>* progressFrames = nullptr);
