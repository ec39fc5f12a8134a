#include "playback/ChunkedRender.h"

#include "playback/ChunkWorkers.h"
#include "playback/SeamJoin.h"

#include <algorithm>

namespace playback {

namespace {

constexpr double kShortestChunkedSeconds = 10;
constexpr std::int64_t kPassFrames = 1024; // most frames handed to the sink at once

// Hands `count` frames to `sink` a block at a time; false if it stopped.
bool passOn(const RenderSink& sink, const float* frames, std::int64_t count) {
    for (std::int64_t done = 0; done < count;) {
        const auto n = std::uint32_t(std::min(count - done, kPassFrames));
        if (!sink(frames + 2 * done, n))
            return false;
        done += n;
    }
    return true;
}

// The calling thread's side: passes the chunks on in order, joined at their seams.
class ChunkJoiner {
public:
    ChunkJoiner(ChunkWorkers& workers, const ChunkPlan& plan, const RenderSink& sink,
                std::atomic<double>* progress)
        : workers(workers), plan(plan), sink(sink), progress(progress) {}

    // False if the sink stopped it.
    bool run() {
        for (int k = 0; k < plan.count; ++k) {
            const std::int64_t at = k == 0 ? 0 : joinSeam(k);
            bool ended = false;
            if (at < 0 || !stream(k, at, ended))
                return false;
            workers.release(k);
            if (ended)
                break;
        }
        return true;
    }

private:
    // Passes on the carried overlap of chunk k-1 up to the seam, then the crossfade into
    // chunk k; returns the frame of chunk k its stream goes on from, -1 if the sink stopped.
    std::int64_t joinSeam(int k) {
        const auto overlap = std::int64_t(carry.size() / 2);
        workers.waitFor(k, overlap, progress);
        workers.copy(k, 0, overlap, head);
        const auto both = std::int64_t(head.size() / 2);
        if (both < plan.fadeFrames) // chunk k ended at once: the carry is the output's end
            return passOn(sink, carry.data(), overlap) ? overlap : -1;
        const auto seam = std::int64_t(leastAudibleSeam(
            carry.data(), head.data(), std::size_t(both), std::size_t(plan.fadeFrames)));
        std::vector<float> faded(2 * std::size_t(plan.fadeFrames));
        crossfade(carry.data() + 2 * seam, head.data() + 2 * seam, std::size_t(plan.fadeFrames),
                  faded.data());
        if (!passOn(sink, carry.data(), seam) || !passOn(sink, faded.data(), plan.fadeFrames))
            return -1;
        return seam + plan.fadeFrames;
    }

    // Passes chunk k on from frame `at` as it is rendered, holding back the overlap with
    // the next chunk (kept in `carry`). `ended`: the chunk came out short, as a render
    // whose reads failed does, and the output ends with it. False if the sink stopped.
    bool stream(int k, std::int64_t at, bool& ended) {
        const bool last = k + 1 == plan.count;
        const std::int64_t holdBack = last ? 0 : plan.overlapFrames;
        ChunkWorkers::Held held;
        do {
            held = workers.waitFor(k, at + holdBack + kPassFrames, progress);
            ended = !last && held.done && !held.whole;
            const std::int64_t upTo =
                held.done && (last || ended) ? held.frames : held.frames - holdBack;
            if (upTo > at) {
                workers.copy(k, at, upTo, head);
                if (!passOn(sink, head.data(), upTo - at))
                    return false;
                at = upTo;
            }
        } while (!held.done);
        if (!last && !ended)
            workers.copy(k, held.frames - holdBack, held.frames, carry);
        return true;
    }

    ChunkWorkers& workers;
    const ChunkPlan& plan;
    const RenderSink& sink;
    std::atomic<double>* progress;
    std::vector<float> carry; // the last chunk's overlap with the next
    std::vector<float> head;  // frames just copied out of a chunk
};

} // namespace

bool rendersInChunks(std::int64_t outputFrames, double sampleRate) {
    return double(outputFrames) >= kShortestChunkedSeconds * sampleRate;
}

RenderOutcome renderInChunks(const std::string& path, const LoopRenderSettings& settings,
                             std::int64_t outputFrames, double sampleRate, const RenderSink& sink,
                             std::atomic<double>* progress) {
    const ChunkPlan plan(outputFrames, sampleRate, settings.rate);
    ChunkWorkers workers(path, settings, plan);
    const bool finished = ChunkJoiner(workers, plan, sink, progress).run();
    return finished ? RenderOutcome::Finished : RenderOutcome::Stopped;
}

} // namespace playback
