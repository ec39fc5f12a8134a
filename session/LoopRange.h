#pragma once

// The keyboard's edits of the loop range: step it back or on by its own length (the
// previous or next bar, when one bar is marked), halve or double it, move one end by a
// little. Each returns the range the edit makes, kept inside the file and never shorter
// than `minimumFrames`; a range the edit cannot change comes back as it was.
//
// Thread contract: pure functions.

#include <cstdint>

struct LoopRange {
    std::int32_t start = 0;
    std::int32_t end = 0;

    std::int32_t length() const { return end > start ? end - start : 0; }
    bool operator==(const LoopRange&) const = default;
};

// `direction` +1 steps on, -1 back. At the file's ends the range stops against the end,
// whole: a step that would run past the file moves it only as far as there is room.
LoopRange steppedLoop(LoopRange range, int direction, std::int32_t totalFrames);

// Length times `factor` (0.5 halves, 2 doubles), the start kept where it is.
LoopRange resizedLoop(LoopRange range, double factor, std::int32_t totalFrames,
                      std::int32_t minimumFrames);

// One end moved by `deltaFrames` (negative: earlier), not past the other end.
LoopRange nudgedLoopStart(LoopRange range, std::int32_t deltaFrames, std::int32_t totalFrames,
                          std::int32_t minimumFrames);
LoopRange nudgedLoopEnd(LoopRange range, std::int32_t deltaFrames, std::int32_t totalFrames,
                        std::int32_t minimumFrames);
