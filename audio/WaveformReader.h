#pragma once

// Reads a whole audio file and reduces it to peak values without holding the decoded
// file in memory: each reader decodes a bounded chunk at a time. With several cores a
// long file is cut into segments on block boundaries, each decoded from its own seek
// point by its own thread, so the peaks are the same as those of one pass.
//
// Nothing here ends the process: a file that cannot be opened or read (removed, replaced,
// or on a share that went away after it was checked) gives the failing status.

#include "platform/audio_file/ExtAudioFile.h"

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

struct PeakData {
    std::vector<std::int16_t> samples;
    std::int16_t globalMaxValue = -32768;
    std::int32_t framesRead = 0;
    // Of the first call that failed; the rest is then empty. A cancelled reading gives
    // userCanceledErr.
    platform::OSStatus status = platform::noErr;
};

// `progressFrames`, if given, counts the frames read so far, for a progress display on
// another thread (a file cut short may finish below its stated length). `cancel`, if
// given, is watched between chunks: once set, the reading stops.
PeakData readPeaks(const std::string& url, std::atomic<std::int64_t>* progressFrames = nullptr,
                   const std::atomic<bool>* cancel = nullptr);

// The same for a file already open: each reader opens it again from what the open
// measured, without another pass over it. While no other thread reads `file`, which is
// then back at frame 0.
PeakData readPeaks(platform::ExtAudioFileRef file,
                   std::atomic<std::int64_t>* progressFrames = nullptr,
                   const std::atomic<bool>* cancel = nullptr);
