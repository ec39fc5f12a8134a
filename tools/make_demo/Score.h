#pragma once

// The demo piece: 16 bars of 4/4 in C major at 105 BPM over I–vi–IV–V, with a lead, a bass,
// a soft pad and a beat. The tempo is chosen so that a sixteenth note is exactly 6300 frames,
// which puts every bar, beat and step on a whole frame and makes any bar a clean loop.

#include "tools/make_demo/Dsp.h"

#include <cstdint>
#include <vector>

namespace make_demo {

inline constexpr int kBeatsPerMinute = 105;
inline constexpr int kStepsPerBar = 16;
inline constexpr int kBars = 16;
inline constexpr std::int64_t kFramesPerBar = std::int64_t(kSampleRate) * 60 * 4 / kBeatsPerMinute;
inline constexpr std::int64_t kFramesPerStep = kFramesPerBar / kStepsPerBar;
inline constexpr std::int64_t kFrames = kBars * kFramesPerBar;
static_assert(std::int64_t(kSampleRate) * 60 * 4 % (kBeatsPerMinute * kStepsPerBar) == 0,
              "a sixteenth note must last a whole number of frames");

struct Stereo {
    std::vector<float> left, right;
};

// The whole piece, kFrames long, not yet levelled. Throws std::invalid_argument when a part's
// notation is malformed or a bar does not add up to four beats.
Stereo renderPiece();

} // namespace make_demo
