#include "platform/audio_queue/QueueFeeder.h"

#include <algorithm>

namespace platform {

namespace {
// Frames per stretcher process call: small, so the stretcher renders little beyond what the
// ring asks for. Whatever it has rendered ahead is heard before a rate or pitch change.
constexpr std::size_t kFeedFrames = TimePitchStage::kFeedFrames;
} // namespace

QueueFeeder::QueueFeeder(const Links& links_, double fileRate, double deviceRate_)
    : links(links_), deviceRate(deviceRate_) {
    timePitch.configure(fileRate, deviceRate);
    interleaved.assign(2 * TimePitchStage::kRetrieveFrames, 0.0f);
}

std::vector<AudioQueueBufferRef> QueueFeeder::pump(bool priming) {
    std::vector<AudioQueueBufferRef> used;
    std::lock_guard engine(engineLock);
    const FeedControl::Round round = links.control.beginRound(priming);
    if (round.reset) {
        offsetInFront = 0;
        prepared = false;
    }
    if (!round.active)
        return used;
    links.render.setLatency(links.device.outputLatencyFrames());
    if (!prepared)
        prepareRun();
    applyParameters();
    const std::size_t target = links.render.ringTargetFrames();
    while (feedStep(target, used)) {
    }
    return used;
}

// One step of a round; false when the round is over.
bool QueueFeeder::feedStep(std::size_t target, std::vector<AudioQueueBufferRef>& used) {
    if (drainStretcher(target))
        return false; // the ring holds enough
    if (links.render.end() != UINT64_MAX)
        return false;
    const FeedControl::Step step = links.control.nextStep(used);
    if (step.halt)
        return false;
    if (step.front)
        return feedFrom(step.front);
    if (step.stopping) {
        // Everything to be played is in: push out what the stretcher holds back, a block
        // at a time with the ring topped up between blocks. At a slow rate that is a lot
        // of work; in one go it would leave the device waiting.
        if (timePitch.flushBlock())
            return true;
        links.render.setEnd(links.ring.writePosition()); // all of it is out
        return false;
    }
    return false; // waiting for buffers
}

bool QueueFeeder::feedFrom(AudioQueueBufferRef front) {
    const std::size_t frames = front->mAudioDataByteSize / 8;
    const std::size_t n = std::min(frames - offsetInFront, kFeedFrames);
    const float* data = static_cast<const float*>(front->mAudioData) + 2 * offsetInFront;
    if (n > 0) {
        timePitch.process(data, n);
        publishedSourceFed.store(timePitch.sourceFed());
        offsetInFront += n;
    }
    if (offsetInFront < frames)
        return true;
    offsetInFront = 0;
    return links.control.bufferFed(front);
}

void QueueFeeder::prepareRun() {
    applyParameters();
    timePitch.startRun();
    publishedSourceFed.store(0);
    endFed.store(false);
    links.render.setEnd(UINT64_MAX);
    links.timeline.restart(links.ring.writePosition() / 2);
    links.heard.restart(links.ring.writePosition() / 2);
    prepared = true;
}

void QueueFeeder::applyParameters() {
    const QueueParameters::Stretch stretch = links.parameters.stretch();
    timePitch.setParameters(stretch.rate, stretch.cents);
}

// True once the ring holds `target` frames; false when the stretcher has no more to give.
bool QueueFeeder::drainStretcher(std::size_t target) {
    for (;;) {
        const std::size_t level =
            std::size_t(links.ring.writePosition() - links.ring.readPosition()) / 2;
        if (level >= target)
            return true;
        if (timePitch.reachedEnd()) {
            if (links.render.end() == UINT64_MAX)
                links.render.setEnd(links.ring.writePosition());
            return false;
        }
        const std::size_t available = timePitch.available();
        if (available == 0)
            return false;
        double sourceStart = 0;
        const std::size_t count = timePitch.retrieve(
            interleaved.data(), std::min(available, target - level), &sourceStart);
        if (count > 0)
            moveToRing(count, sourceStart);
    }
}

void QueueFeeder::moveToRing(std::size_t frames, double sourceStart) {
    if (const std::shared_ptr<BeatClick> metronome = click.load())
        metronome->mix(interleaved.data(), frames, sourceStart, timePitch.sourcePerOutput(),
                       deviceRate);
    const std::uint64_t at = links.ring.writePosition() / 2;
    links.timeline.append(at, sourceStart, timePitch.sourcePerOutput());
    links.heard.note(at, sourceStart, timePitch.sourcePerOutput());
    links.ring.write(interleaved.data(), 2 * frames);
}

} // namespace platform
