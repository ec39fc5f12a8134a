#include "playback/ChunkWorkers.h"

#include "audio/KTAudioFile.h"

#include <QCoreApplication>
#include <QThread>
#include <algorithm>
#include <cmath>

namespace playback {

namespace {

constexpr int kWorkers = 2;
// Chunks a worker may start beyond the one being passed on.
constexpr int kChunksAhead = 2;
constexpr double kChunkSeconds = 10;
constexpr double kOverlapSeconds = 1.0;
constexpr double kFadeSeconds = 0.02;
// Half the period of a 100 Hz tone: a lag that lines up any tone above it.
constexpr double kSlipSeconds = 0.005;
constexpr double kLeadInSeconds = 0.5;

} // namespace

ChunkPlan::ChunkPlan(std::int64_t outputFrames_, double sampleRate, double rate_)
    : outputFrames(outputFrames_), rate(rate_),
      // An even count, so that the two workers finish together.
      count(2 * int(std::ceil(double(outputFrames_) / sampleRate / (2 * kChunkSeconds)))),
      overlapFrames(2 * std::llround(kOverlapSeconds / 2 * sampleRate)),
      fadeFrames(std::llround(kFadeSeconds * sampleRate)),
      slipFrames(std::llround(kSlipSeconds * sampleRate)),
      leadInFrames(std::llround(kLeadInSeconds * sampleRate)) {}

std::int64_t ChunkPlan::firstFrame(int k) const {
    return k == 0 ? 0 : boundary(k) - overlapFrames / 2;
}

std::int64_t ChunkPlan::endFrame(int k) const {
    return k + 1 == count ? outputFrames : boundary(k + 1) + overlapFrames / 2;
}

std::int64_t ChunkPlan::sourceOffset(int k) const {
    return std::max<std::int64_t>(0, std::llround(double(firstFrame(k)) * rate) - leadInFrames);
}

std::int64_t ChunkPlan::dropFrames(int k) const {
    // Output frame j of a render stands for source frame j * rate after its start.
    const std::int64_t drop = std::llround(double(firstFrame(k)) - double(sourceOffset(k)) / rate);
    // The last chunk ends where its render ends, which rounds its length on its own, a
    // frame off the whole render's at times: it keeps two frames of its lead-in more, so
    // that it is never short, and is cut at the whole render's length.
    return k + 1 == count ? std::max<std::int64_t>(drop - 2, 0) : drop;
}

ChunkWorkers::ChunkWorkers(std::shared_ptr<const platform::AudioFileMeasurements> measured_,
                           const LoopRenderSettings& settings_, const ChunkPlan& plan_)
    : measured(std::move(measured_)), settings(settings_), plan(plan_) {
    for (int i = 0; i < kWorkers; ++i)
        threads.emplace_back([this] { work(); });
}

ChunkWorkers::~ChunkWorkers() {
    {
        std::lock_guard guard(lock);
        stopping = true;
    }
    changed.notify_all();
    for (std::thread& thread : threads)
        thread.join();
}

void ChunkWorkers::work() {
    for (;;) {
        int k = 0;
        {
            std::unique_lock guard(lock);
            changed.wait(guard, [this] {
                return stopping || next >= plan.count || next <= passing + kChunksAhead;
            });
            if (stopping || next >= plan.count)
                return;
            k = next++;
            Chunk& chunk = chunks[k];
            chunk.wanted = plan.endFrame(k) - plan.firstFrame(k);
            chunk.samples.reserve(2 * std::size_t(chunk.wanted));
        }
        render(k);
        {
            std::lock_guard guard(lock);
            chunks[k].done = true;
        }
        changed.notify_all();
    }
}

void ChunkWorkers::render(int k) {
    platform::OSStatus status = platform::noErr;
    std::shared_ptr<KTAudioFile> file = KTAudioFile::openMeasured(*measured, status);
    if (!file)
        return; // gone since the render began: the output ends before this chunk
    std::int64_t toDrop = plan.dropFrames(k);
    renderFileFrom(std::move(file), settings, plan.sourceOffset(k),
                   [&](const float* frames, std::uint32_t count) {
                       const std::int64_t dropped = std::min<std::int64_t>(toDrop, count);
                       toDrop -= dropped;
                       return keep(k, frames + 2 * dropped, count - dropped);
                   });
}

bool ChunkWorkers::keep(int k, const float* frames, std::int64_t count) {
    {
        std::lock_guard guard(lock);
        Chunk& chunk = chunks[k];
        const std::int64_t taken =
            std::clamp<std::int64_t>(chunk.wanted - chunk.frames(), 0, count);
        chunk.samples.insert(chunk.samples.end(), frames, frames + 2 * taken);
        rendered += taken;
        if (stopping || chunk.frames() >= chunk.wanted)
            return false;
    }
    if (count > 0)
        changed.notify_all();
    return true;
}

ChunkWorkers::Held ChunkWorkers::heldLocked(int k) const {
    const auto found = chunks.find(k);
    if (found == chunks.end())
        return {};
    const Chunk& chunk = found->second;
    return {chunk.frames(), chunk.done, chunk.frames() >= chunk.wanted};
}

ChunkWorkers::Held ChunkWorkers::waitFor(int k, std::int64_t frames,
                                         std::atomic<double>* progress) {
    QCoreApplication* application = QCoreApplication::instance();
    const bool mainThread = application && QThread::currentThread() == application->thread();
    for (;;) {
        {
            std::unique_lock guard(lock);
            const auto ready = [&] {
                const Held held = heldLocked(k);
                return held.done || held.frames >= frames;
            };
            changed.wait_for(guard, std::chrono::milliseconds(mainThread ? 10 : 100), ready);
            if (progress)
                progress->store(std::min(1.0, double(rendered) / double(plan.renderedFrames())));
            if (ready())
                return heldLocked(k);
        }
        if (mainThread)
            QCoreApplication::processEvents();
    }
}

void ChunkWorkers::copy(int k, std::int64_t from, std::int64_t to, std::vector<float>& out) {
    std::lock_guard guard(lock);
    const std::vector<float>& samples = chunks.at(k).samples;
    const std::int64_t end = std::min(to, std::int64_t(samples.size() / 2));
    out.assign(samples.begin() + 2 * std::min(from, end), samples.begin() + 2 * end);
}

void ChunkWorkers::release(int k) {
    {
        std::lock_guard guard(lock);
        chunks.erase(k);
        passing = k + 1;
    }
    changed.notify_all();
}

} // namespace playback
