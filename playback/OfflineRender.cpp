#include "playback/OfflineRender.h"

#include "platform/audio_queue/AudioQueue.h"
#include "playback/KTAudioQueuePlayer.h"

#include <QCoreApplication>
#include <QThread>
#include <algorithm>
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

RenderOutcome renderLoop(const std::string& path, const LoopRenderSettings& settings,
                         const RenderSink& sink, std::atomic<double>* progress,
                         platform::OSStatus* status) {
    platform::OSStatus opened = platform::noErr;
    auto file = KTAudioFile::open(path, opened);
    if (status)
        *status = opened;
    if (!file)
        return RenderOutcome::Unreadable;
    auto device = std::make_shared<platform::OfflineAudioDevice>(file->sampleRate());
    // Made before the player, so that they outlive its queue's reports.
    Completion completion;
    LoopPasses passes(std::max(settings.loops, 1));
    KTAudioQueuePlayer player(device);
    player.setAudioFile(file);
    const std::int64_t total = file->totalFrames();
    const std::int64_t start = std::clamp<std::int64_t>(settings.startFrame, 0, total);
    const std::int64_t length =
        settings.numFrames < 0 ? total - start : std::min(settings.numFrames, total - start);
    player.setRangeStartFrameNumFrames(double(start), double(length));
    player.setPlaybackRate(settings.rate);
    player.setPitchShift(float(settings.cents));
    player.setVolume(settings.volumeLevel);
    passes.attach(player);
    player.setDelegate(&completion);
    player.play();

    const double expected =
        std::max(1.0, double(length) * std::max(settings.loops, 1) / settings.rate);
    double rendered = 0;
    const bool finished = pullPlayedUntil(
        *device, [&] { return completion.done.load(); },
        [&](const float* frames, std::uint32_t count) {
            rendered += count;
            if (progress)
                progress->store(std::min(1.0, rendered / expected));
            return sink(frames, count);
        });
    return finished ? RenderOutcome::Finished : RenderOutcome::Stopped;
}

} // namespace playback
