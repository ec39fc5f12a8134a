#pragma once

// The two workers of a chunked render (ChunkedRender.h) and the plan they share: which
// output frames each chunk renders, and where its player starts to have them warm.
//
// Thread contract: construct, destroy and call every public method on one thread (the
// render's caller); the workers are threads of their own, which the destructor stops and
// waits for. Chunk frames are handed over under a lock, never shared while written.

#include "platform/audio_file/ExtAudioFile.h"
#include "playback/OfflineRender.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace playback {

struct ChunkPlan {
    ChunkPlan(std::int64_t outputFrames, double sampleRate, double rate);

    std::int64_t outputFrames;  // of the whole render
    double rate;                // source frames per output frame
    int count;                  // chunks
    std::int64_t overlapFrames; // output both neighbours render around their boundary
    std::int64_t fadeFrames;    // of the crossfade within the overlap
    std::int64_t slipFrames;    // most a chunk's frames may be moved to line up at its seam
    std::int64_t leadInFrames;  // source a chunk's player plays before its first frame

    // Output frames of the whole render: where chunk k begins (before the overlap),
    // the first it renders, and the one after its last.
    std::int64_t boundary(int k) const { return outputFrames * k / count; }
    std::int64_t firstFrame(int k) const;
    std::int64_t endFrame(int k) const;
    // What all the chunks render together, overlaps counted twice.
    std::int64_t renderedFrames() const { return outputFrames + (count - 1) * overlapFrames; }
    // Where chunk k's player starts (source frames from the range start, across passes),
    // and how many output frames it drops before its first frame.
    std::int64_t sourceOffset(int k) const;
    std::int64_t dropFrames(int k) const;
};

class ChunkWorkers {
public:
    // Each chunk opens the file from `measured` (ExtAudioFileCopyMeasurements).
    ChunkWorkers(std::shared_ptr<const platform::AudioFileMeasurements> measured,
                 const LoopRenderSettings& settings, const ChunkPlan& plan);
    ~ChunkWorkers();
    ChunkWorkers(const ChunkWorkers&) = delete;
    ChunkWorkers& operator=(const ChunkWorkers&) = delete;

    struct Held {
        std::int64_t frames = 0; // rendered so far
        bool done = false;       // the chunk's render is over
        bool whole = false;      // and it has every frame it was to render
    };
    // Waits until chunk k holds `frames` frames or is done; keeps `progress` (if given) at
    // the share rendered meanwhile, and turns the event loop on the main thread.
    Held waitFor(int k, std::int64_t frames, std::atomic<double>* progress);
    // Chunk k's frames [from, to) into `out` (interleaved stereo), which they replace.
    void copy(int k, std::int64_t from, std::int64_t to, std::vector<float>& out);
    // Chunk k has been passed on: its frames are freed and a worker may start another.
    void release(int k);

private:
    struct Chunk {
        std::vector<float> samples;
        std::int64_t wanted = 0;
        bool done = false;
        std::int64_t frames() const { return std::int64_t(samples.size() / 2); }
    };
    void work();
    void render(int k);
    // Adds what a chunk's player gave; false once the chunk is whole or the render stops.
    bool keep(int k, const float* frames, std::int64_t count);
    Held heldLocked(int k) const;

    const std::shared_ptr<const platform::AudioFileMeasurements> measured;
    const LoopRenderSettings settings;
    const ChunkPlan plan;
    std::mutex lock;
    std::condition_variable changed;
    std::map<int, Chunk> chunks; // started and not yet released
    int next = 0;                // the next chunk to start
    int passing = 0;             // the chunk being passed on
    bool stopping = false;
    std::int64_t rendered = 0; // frames kept, all chunks together
    std::vector<std::thread> threads;
};

} // namespace playback
