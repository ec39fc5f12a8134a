#pragma once

// Reads a whole audio file and reduces it to peak values without holding the decoded
// file in memory: each reader decodes a bounded chunk at a time. With several cores a
// long file is cut into segments on block boundaries, each decoded from its own seek
// point by its own thread, so the peaks are the same as those of one pass.
//
// Every platform call goes through CheckError: a file that cannot be read ends the
// process (callers that must survive bad files check them first).

#include <cstdint>
#include <string>
#include <vector>

struct PeakData {
    std::vector<std::int16_t> samples;
    std::int16_t globalMaxValue = -32768;
    std::int32_t framesRead = 0;
};

PeakData readPeaks(const std::string& url);
