#include "playback/OfflineRender.h"

#include "platform/audio_queue/AudioQueue.h"
#include "playback/ChunkedRender.h"
#include "playback/KTAudioQueuePlayer.h"

#include <QCoreApplication>
#include <QThread>
#include <algorithm>
#include <cmath>
#include <thread>
#include <vector>

namespace playback {

namespace {

constexpr std::uint32_t kBlockFrames = 1024;

// Notes the end of the render.
class Completion : public KTAudioQueuePlayerDelegate {
public:
    void playerDidCompletePlayback(KTAudioQueuePlayer*) override { done.store(true); }
    std::atomic<bool> done{false};
};

} // namespace

void LoopPasses::attach(KTAudioQueuePlayer& watched) {
    player = &watched;
    watched.setPassReadObserver([this] {
        if (++turns == loops - 1)
            player->setLooped(false);
    });
    watched.setLooped(loops > 1);
}

bool pullPlayedUntil(platform::OfflineAudioDevice& device, const std::function<bool()>& done,
                     const RenderSink& sink) {
    QCoreApplication* application = QCoreApplication::instance();
    const bool mainThread = application && QThread::currentThread() == application->thread();
    std::vector<float> block(2 * std::size_t(kBlockFrames));
    while (!done()) {
        const std::uint32_t got =
            device.pullPlayed(block.data(), kBlockFrames, std::chrono::milliseconds(100));
        if (got > 0 && !sink(block.data(), got))
            return false;
        if (mainThread)
            QCoreApplication::processEvents();
        if (got == 0)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

std::int64_t LoopSpan::outputFrames(double rate) const {
    return std::llround(double(length) * loops / rate);
}

LoopSpan loopSpanOf(const LoopRenderSettings& settings, std::int64_t totalFrames) {
    LoopSpan span;
    span.start = std::clamp<std::int64_t>(settings.startFrame, 0, totalFrames);
    span.length = settings.numFrames < 0 ? totalFrames - span.start
                                         : std::min(settings.numFrames, totalFrames - span.start);
    span.loops = std::max(settings.loops, 1);
    return span;
}

bool renderFileFrom(std::shared_ptr<KTAudioFile> file, const LoopRenderSettings& settings,
                    std::int64_t sourceOffset, const RenderSink& sink) {
    auto device = std::make_shared<platform::OfflineAudioDevice>(file->sampleRate());
    const LoopSpan span = loopSpanOf(settings, file->totalFrames());
    const std::int64_t pass = span.length > 0 ? sourceOffset / span.length : 0;
    // Made before the player, so that they outlive its queue's reports.
    Completion completion;
    LoopPasses passes(int(std::max<std::int64_t>(span.loops - pass, 1)));
    KTAudioQueuePlayer player(device);
    player.setAudioFile(file);
    player.setRangeStartFrameNumFrames(double(span.start), double(span.length));
    if (span.length > 0 && sourceOffset > 0)
        player.setCurrentFrame(double(span.start + sourceOffset % span.length));
    player.setPlaybackRate(settings.rate);
    player.setPitchShift(float(settings.cents));
    player.setVolume(settings.volumeLevel);
    passes.attach(player);
    player.setDelegate(&completion);
    player.play();
    return pullPlayedUntil(
        *device, [&] { return completion.done.load(); }, sink);
}

RenderOutcome renderLoop(const std::string& path, const LoopRenderSettings& settings,
                         const RenderSink& sink, std::atomic<double>* progress,
                         platform::OSStatus* status) {
    platform::OSStatus opened = platform::noErr;
    auto file = KTAudioFile::open(path, opened);
    if (status)
        *status = opened;
    if (!file)
        return RenderOutcome::Unreadable;
    const std::int64_t expected =
        loopSpanOf(settings, file->totalFrames()).outputFrames(settings.rate);
    // Each chunk reads through a handle of its own, opened from what this open measured.
    const auto measured = rendersInChunks(expected, file->sampleRate())
                              ? platform::ExtAudioFileCopyMeasurements(file->extAudioFile())
                              : nullptr;
    if (measured) {
        const int sampleRate = file->sampleRate();
        file.reset();
        return renderInChunks(measured, settings, expected, sampleRate, sink, progress);
    }
    double rendered = 0;
    const bool finished =
        renderFileFrom(std::move(file), settings, 0, [&](const float* frames, std::uint32_t count) {
            rendered += count;
            if (progress)
                progress->store(std::min(1.0, rendered / std::max(1.0, double(expected))));
            return sink(frames, count);
        });
    return finished ? RenderOutcome::Finished : RenderOutcome::Stopped;
}

} // namespace playback
