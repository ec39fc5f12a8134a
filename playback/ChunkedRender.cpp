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

// The calling thread's side: passes the chunks on in order, joined at their seams. At its
// seam a chunk may be moved by a few milliseconds to line up with the one before (`shift`:
// its frame for output frame g is g - firstFrame + shift); the output keeps its length,
// and only where that chunk's music falls moves, by as little.
class ChunkJoiner {
public:
    ChunkJoiner(ChunkWorkers& workers, const ChunkPlan& plan, const RenderSink& sink,
                std::atomic<double>* progress)
        : workers(workers), plan(plan), sink(sink), progress(progress) {}

    // False if the sink stopped it.
    bool run() {
        for (int k = 0; k < plan.count; ++k) {
            const std::int64_t at = k == 0 ? 0 : joinSeam(k);
            if (at == kStopped)
                return false;
            bool ended = at == kEnded;
            if (!ended && !stream(k, at, ended))
                return false;
            workers.release(k);
            if (ended)
                break;
        }
        return true;
    }

private:
    static constexpr std::int64_t kStopped = -1; // the sink stopped the render
    static constexpr std::int64_t kEnded = -2;   // the output ended with the carry

    // Passes on the carried overlap up to the seam, then the crossfade into chunk k, moved
    // to line up; returns the frame of chunk k its stream goes on from.
    std::int64_t joinSeam(int k) {
        const std::int64_t slip = plan.slipFrames, fade = plan.fadeFrames;
        workers.waitFor(k, plan.overlapFrames + slip, progress);
        workers.copy(k, 0, plan.overlapFrames + slip, head);
        const auto carried = std::int64_t(carry.size() / 2);
        // The seam leaves room to move chunk k either way, unless it is the last, whose end
        // must stay where the output ends: it only moves later.
        const std::int64_t searched = std::min(carried, plan.overlapFrames) - 2 * slip;
        if (std::int64_t(head.size() / 2) < plan.overlapFrames + slip || searched < fade)
            return passOn(sink, carry.data(), carried) ? kEnded : kStopped;
        const std::int64_t seam =
            slip +
            std::int64_t(leastAudibleSeam(carry.data() + 2 * slip, head.data() + 2 * (slip + shift),
                                          std::size_t(searched), std::size_t(fade)));
        shift = bestLag(carry.data() + 2 * seam, head.data() + 2 * seam, std::size_t(fade),
                        int(-slip), k + 1 == plan.count ? 0 : int(slip));
        std::vector<float> faded(2 * std::size_t(fade));
        crossfade(carry.data() + 2 * seam, head.data() + 2 * (seam + shift), std::size_t(fade),
                  faded.data());
        if (!passOn(sink, carry.data(), seam) || !passOn(sink, faded.data(), fade))
            return kStopped;
        return seam + fade + shift;
    }

    // Passes chunk k on from its frame `at` as it is rendered, up to its overlap with the
    // next chunk (then kept in `carry`) or the output's end. `ended`: the chunk came out
    // short, as a render whose reads failed does, and the output ends with it. False if
    // the sink stopped it.
    bool stream(int k, std::int64_t at, bool& ended) {
        const bool last = k + 1 == plan.count;
        const std::int64_t stop =
            (last ? plan.outputFrames : plan.firstFrame(k + 1)) - plan.firstFrame(k) + shift;
        ChunkWorkers::Held held;
        while (at < stop && !held.done) {
            held = workers.waitFor(k, std::min(stop, at + kPassFrames), progress);
            const std::int64_t upTo = std::min(held.frames, stop);
            if (upTo > at) {
                workers.copy(k, at, upTo, head);
                if (!passOn(sink, head.data(), upTo - at))
                    return false;
                at = upTo;
            }
        }
        ended = at < stop;
        if (ended || last)
            return true;
        held = workers.waitFor(k, stop + plan.overlapFrames, progress);
        workers.copy(k, stop, stop + plan.overlapFrames, carry);
        ended = !held.whole;
        return !ended || passOn(sink, carry.data(), std::int64_t(carry.size() / 2));
    }

    ChunkWorkers& workers;
    const ChunkPlan& plan;
    const RenderSink& sink;
    std::atomic<double>* progress;
    std::int64_t shift = 0;   // of the chunk being passed on
    std::vector<float> carry; // the last chunk's overlap with the next, from its boundary
    std::vector<float> head;  // frames just copied out of a chunk
};

} // namespace

bool rendersInChunks(std::int64_t outputFrames, double sampleRate) {
    return double(outputFrames) >= kShortestChunkedSeconds * sampleRate;
}

RenderOutcome renderInChunks(std::shared_ptr<const platform::AudioFileMeasurements> measured,
                             const LoopRenderSettings& settings, std::int64_t outputFrames,
                             double sampleRate, const RenderSink& sink,
                             std::atomic<double>* progress) {
    const ChunkPlan plan(outputFrames, sampleRate, settings.rate);
    ChunkWorkers workers(std::move(measured), settings, plan);
    const bool finished = ChunkJoiner(workers, plan, sink, progress).run();
    return finished ? RenderOutcome::Finished : RenderOutcome::Stopped;
}

} // namespace playback
