#pragma once

// Maps positions in the queue's output (frames written to the output ring, counted since
// the queue was made) back to source frames, so the clock can say which source frame is
// being heard. The queue thread appends one segment per block it writes: where the block
// starts in the output, which source frame that is, and how many source frames one output
// frame stands for (the play rate at that moment).
//
//   output  |--- seg A (rate 1) ---|------ seg B (rate 0.5) ------|...
//   source  a                      a+len(A)                       ...
//
// A start from stopped begins a new origin; output written before it never maps into the
// new run, so the tail of the previous run still in the device cannot be counted.
//
// Thread contract: the queue thread appends and restarts (a reset's caller restarts it too);
// any non-real-time thread asks. An internal lock serialises them (the real-time thread
// never touches this).

#include <cstdint>
#include <deque>
#include <mutex>

namespace platform {

class PlaybackTimeline {
public:
    // A new run whose source time 0 is at output frame `outputFrame`.
    void restart(std::uint64_t outputFrame);
    // The block at output frame `outputFrame` starts at source frame `sourceFrame` and
    // moves `sourcePerOutput` source frames per output frame.
    void append(std::uint64_t outputFrame, double sourceFrame, double sourcePerOutput);
    // The source time of the current run at output frame `outputFrame`, never beyond
    // `limitSourceFrame`; 0 before the run's origin. Drops segments before the frame.
    double sourceFrameAt(std::uint64_t outputFrame, double limitSourceFrame);

private:
    struct Segment {
        std::uint64_t outputFrame;
        double sourceFrame;
        double sourcePerOutput;
    };
    std::mutex lock;
    std::uint64_t origin = 0;
    std::deque<Segment> segments;
};

} // namespace platform
