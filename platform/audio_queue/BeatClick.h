#pragma once

// A metronome that follows the music: the count-in's click (CountIn.h) on every beat of the
// recording, the higher one on each bar line, mixed into the queue's output after the
// time/pitch stage, so that the clicks keep their sound at any speed or pitch and each one
// falls where its beat is heard (at half speed, half as often).
//
// Two maps take an output frame to the file:
//
//   output frame i --(the stretcher: sourceStart + i * sourcePerOutput)--> source frame
//   source frame   --(what the reader enqueued there: noteRead)----------> file frame
//
//   source |0 ......... 1000|1000 ..... 1441|1441 ........ 2441|...
//   file   |44100 .... 45100|45100 ... 45541|44100 ....... 45100|...  (the loop turned)
//
// A beat whose file frame a block's source span passes over starts a click on the output
// frame it falls on, to a fraction of a frame; a click still sounding at the end of a block
// goes on in the next one. Source frames nothing was noted for (read before a restart) have
// no clicks.
//
// Thread contract: every function from any thread but the real-time one; mix from whichever
// thread feeds the queue. One internal lock serialises them, held no longer than it takes
// to note a read or mix one block. mix never allocates or frees: new beats are swapped in
// at the next block (a click under way sounds on), and the replaced ones are freed by the
// next setBeats.

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <vector>

namespace platform {

struct ClickBeat {
    double fileFrame = 0;
    bool barStart = false; // the higher click
};

class BeatClick {
public:
    // Beats in any order; they replace the ones clicking from the next block mixed on.
    void setBeats(std::vector<ClickBeat> beats);
    // The click's gain (1: as loud as the count-in). 0, the default, turns it off: mix then
    // leaves the output as it is.
    void setLevel(float level);
    float level() const { return level_.load(std::memory_order_relaxed); }

    // Source frames [sourceFrame, sourceFrame + frames) of the queue's current run are file
    // frames [fileFrame, fileFrame + frames).
    void noteRead(std::int64_t sourceFrame, std::int64_t fileFrame, std::uint32_t frames);
    // The queue's source time starts again at 0: nothing read before maps any more, and no
    // click sounds on.
    void restart();

    // Adds the clicks to `frames` interleaved stereo frames at `outputRate`, whose first
    // stands for source frame `sourceStart` and each next one `sourcePerOutput` further on.
    void mix(float* interleaved, std::size_t frames, double sourceStart, double sourcePerOutput,
             double outputRate) noexcept;

private:
    struct Segment {
        std::int64_t source = 0, file = 0, frames = 0;
    };
    // A click: the output frame it began on, counted from the start of the block being
    // mixed (negative once it began in an earlier block).
    struct Voice {
        double startFrame = -1e18;
        bool barStart = false;
    };
    static constexpr std::size_t kSegments = 128; // reads a block may still have to map
    static constexpr std::size_t kVoices = 4;     // clicks sounding at once

    // Lock held: clicks for the beats `segment` read in the block's source frames
    // [blockStart, blockEnd).
    void startClicks(const Segment& segment, double blockStart, double blockEnd,
                     double sourcePerOutput, double clickFrames) noexcept;
    void startVoice(double startFrame, bool barStart, double clickFrames) noexcept;
    void renderVoices(float* interleaved, std::size_t frames, float gain,
                      double outputRate) noexcept;

    std::atomic<float> level_{0.0f};
    std::mutex lock;
    std::vector<ClickBeat> beats, newBeats; // by file frame
    bool beatsChanged = false;
    std::array<Segment, kSegments> segments{}; // a ring, oldest first from firstSegment
    std::size_t firstSegment = 0, segmentCount = 0;
    std::array<Voice, kVoices> voices{};
};

} // namespace platform
