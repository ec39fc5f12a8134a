#include "platform/audio_queue/QueueEngine.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace platform {

namespace {
constexpr std::size_t kRingCapacityFrames = 8192;

std::uint32_t ringTargetFor(const AudioDevice& device) {
    return std::min<std::uint32_t>(device.framesToKeepReady(), kRingCapacityFrames / 2);
}
} // namespace

OpaqueAudioQueue::OpaqueAudioQueue(double fileRate_, std::shared_ptr<AudioDevice> device_,
                                   AudioQueueOutputCallback callback, void* userData)
    : fileRate(fileRate_), device(std::move(device_)), deviceRate(device->sampleRate()),
      outputCallback(callback), callbackUserData(userData), ring(2 * kRingCapacityFrames),
      render(ring, heard, wake, parameters, deviceRate),
      feeder({*this, ring, timeline, heard, render, parameters, *device}, fileRate, deviceRate) {
    render.setRingTarget(ringTargetFor(*device));
    thread = std::thread([this] { threadMain(); });
    device->attach(this);
}

OpaqueAudioQueue::~OpaqueAudioQueue() = default;

OSStatus OpaqueAudioQueue::dispose(bool immediate) {
    const bool join = immediate && !onQueueThread();
    {
        std::lock_guard guard(stateLock);
        if (disposed)
            return kAudioQueueErr_DisposalPending;
        disposed = true; // no callback starts from here on
        runState.dispose();
        render.setPlaying(false);
    }
    // Off the device first: once the thread is told to quit it may free the queue.
    device->detach(this);
    {
        std::lock_guard guard(stateLock);
        if (!join) {
            thread.detach();
            deleteOnExit = true;
        }
        quit = true;
        // Under the lock: a detached thread cannot free the queue before this returns.
        wake.post();
    }
    if (join) {
        thread.join();
        delete this;
    }
    return noErr;
}

OSStatus OpaqueAudioQueue::allocateBuffer(std::uint32_t bytes, AudioQueueBufferRef* out) {
    if (!out || bytes == 0)
        return kAudioQueueErr_InvalidParameter;
    std::lock_guard guard(stateLock);
    *out = pool.allocate(bytes);
    return noErr;
}

OSStatus OpaqueAudioQueue::freeBuffer(AudioQueueBufferRef buffer) {
    std::lock_guard guard(stateLock);
    return pool.free(buffer);
}

OSStatus OpaqueAudioQueue::enqueue(AudioQueueBufferRef buffer) {
    {
        std::lock_guard guard(stateLock);
        if (disposed)
            return kAudioQueueErr_DisposalPending;
        if (const OSStatus status = pool.enqueue(buffer); status != noErr)
            return status;
        runState.bufferEnqueued();
    }
    wake.post();
    return noErr;
}

OSStatus OpaqueAudioQueue::start() {
    // Outside the lock: a device that lost its server may try to open it again, and one
    // that has gone quiet wakes up.
    device->prepareToPlay(fileRate);
    render.setRingTarget(ringTargetFor(*device));
    {
        std::lock_guard guard(stateLock);
        if (disposed)
            return kAudioQueueErr_DisposalPending;
        switch (runState.start(feeder.endCommitted())) {
        case RunStateMachine::Start::Fresh:
            render.beginRun(std::exchange(pendingLeadIn, AudioQueueLeadIn{}));
            break;
        case RunStateMachine::Start::Resumed:
            render.setPlaying(true);
            break;
        case RunStateMachine::Start::Kept:
            break;
        }
    }
    wake.post();
    return noErr;
}

OSStatus OpaqueAudioQueue::pause() {
    std::lock_guard guard(stateLock);
    if (disposed)
        return kAudioQueueErr_DisposalPending;
    if (runState.pause())
        render.setPlaying(false);
    return noErr;
}

OSStatus OpaqueAudioQueue::stop(bool immediate) {
    {
        std::lock_guard guard(stateLock);
        if (disposed)
            return kAudioQueueErr_DisposalPending;
        switch (runState.stop(immediate, pool.enqueuedCount())) {
        case RunStateMachine::Stop::Deferred:
            return noErr;
        case RunStateMachine::Stop::Cleared:
            pool.dropEnqueued();
            render.setStale(true);
            pool.returnFed();
            return noErr;
        case RunStateMachine::Stop::Halted:
            // An immediate stop also drops what waits in the queue; a paused one keeps it
            // for the next start.
            if (immediate)
                pool.dropEnqueued();
            render.setPlaying(false);
            ring.requestDiscardUpTo(ring.writePosition());
            render.setStale(true);
            pool.returnFed();
            break;
        case RunStateMachine::Stop::PlayOut:
            break;
        }
    }
    wake.post();
    return noErr;
}

OSStatus OpaqueAudioQueue::reset() {
    {
        std::lock_guard guard(stateLock);
        if (disposed)
            return kAudioQueueErr_DisposalPending;
        pool.returnFed();
        pool.dropEnqueued();
        runState.reset();
        // Silent at once; the queue thread starts the stretcher and the clock afresh, and
        // until it has, no frame maps to a source time.
        ring.requestDiscardUpTo(ring.writePosition());
        timeline.restart(UINT64_MAX);
        heard.invalidate();
        render.setStale(true);
    }
    wake.post();
    return noErr;
}

OSStatus OpaqueAudioQueue::requestFill(AudioQueueBufferRef buffer) {
    {
        std::lock_guard guard(stateLock);
        if (disposed)
            return kAudioQueueErr_DisposalPending;
        if (const OSStatus status = pool.requestFill(buffer); status != noErr)
            return status;
    }
    wake.post();
    return noErr;
}

OSStatus OpaqueAudioQueue::prime(std::uint32_t* outFramesPrepared) {
    {
        std::lock_guard guard(stateLock);
        if (disposed)
            return kAudioQueueErr_DisposalPending;
    }
    const std::uint64_t before = ring.writePosition();
    std::vector<AudioQueueBufferRef> used = feeder.pump(true);
    if (outFramesPrepared)
        *outFramesPrepared = std::uint32_t((ring.writePosition() - before) / 2);
    {
        std::lock_guard guard(stateLock);
        pool.callbackDue(used);
    }
    wake.post();
    return noErr;
}

OSStatus OpaqueAudioQueue::setParameter(AudioQueueParameterID parameter, float value) {
    const OSStatus status = parameters.set(parameter, value);
    // The feeder takes a new rate or pitch on its next round.
    if (status == noErr && parameter != kAudioQueueParam_Volume)
        wake.post();
    return status;
}

OSStatus OpaqueAudioQueue::getParameter(AudioQueueParameterID parameter, float* value) const {
    return parameters.get(parameter, value);
}

OSStatus OpaqueAudioQueue::setProperty(AudioQueuePropertyID property, const void* data,
                                       std::uint32_t size) {
    if (!data)
        return kAudioQueueErr_InvalidParameter;
    if (size != sizeof(std::uint32_t))
        return kAudioQueueErr_InvalidPropertySize;
    std::uint32_t value;
    std::memcpy(&value, data, sizeof value);
    return parameters.setProperty(property, value);
}

OSStatus OpaqueAudioQueue::getProperty(AudioQueuePropertyID property, void* data,
                                       std::uint32_t* size) const {
    if (!data || !size)
        return kAudioQueueErr_InvalidParameter;
    if (*size < sizeof(std::uint32_t))
        return kAudioQueueErr_InvalidPropertySize;
    std::uint32_t value = 0;
    if (property == kAudioQueueProperty_IsRunning) {
        std::lock_guard guard(stateLock);
        // A listener hears the value its own notification was for, even when the state
        // has moved on since.
        value = onQueueThread() && reportingRunning >= 0 ? std::uint32_t(reportingRunning)
                                                         : std::uint32_t(runState.isRunning());
    } else if (const OSStatus status = parameters.getProperty(property, &value); status != noErr) {
        return status;
    }
    std::memcpy(data, &value, sizeof value);
    *size = sizeof value;
    return noErr;
}

OSStatus OpaqueAudioQueue::addListener(AudioQueuePropertyID property,
                                       AudioQueuePropertyListenerProc proc, void* userData) {
    if (property != kAudioQueueProperty_IsRunning)
        return kAudioQueueErr_InvalidProperty;
    if (!proc)
        return kAudioQueueErr_InvalidParameter;
    std::lock_guard guard(stateLock);
    runState.addListener({proc, userData});
    return noErr;
}

OSStatus OpaqueAudioQueue::removeListener(AudioQueuePropertyID property,
                                          AudioQueuePropertyListenerProc proc, void* userData) {
    if (property != kAudioQueueProperty_IsRunning)
        return kAudioQueueErr_InvalidProperty;
    std::lock_guard guard(stateLock);
    runState.removeListener({proc, userData});
    return noErr;
}

OSStatus OpaqueAudioQueue::setLeadIn(const AudioQueueLeadIn& leadIn) {
    if (!QueueRender::validLeadIn(leadIn))
        return kAudioQueueErr_InvalidParameter;
    std::lock_guard guard(stateLock);
    if (disposed)
        return kAudioQueueErr_DisposalPending;
    pendingLeadIn = leadIn;
    return noErr;
}

OSStatus OpaqueAudioQueue::currentTime(AudioTimeStamp* out) {
    if (!out)
        return kAudioQueueErr_InvalidParameter;
    const std::uint64_t consumed = ring.readPosition() / 2;
    const std::uint64_t latency = device->outputLatencyFrames();
    const std::uint64_t heardFrame = consumed > latency ? consumed - latency : 0;
    out->mSampleTime = timeline.sourceFrameAt(heardFrame, feeder.sourceFed());
    out->mHostTime = std::uint64_t(std::chrono::duration_cast<std::chrono::nanoseconds>(
                                       std::chrono::steady_clock::now().time_since_epoch())
                                       .count());
    out->mRateScalar = 1.0;
    out->mFlags = kAudioTimeStampSampleTimeValid | kAudioTimeStampHostTimeValid;
    return noErr;
}

OSStatus OpaqueAudioQueue::heardSampleTime(std::chrono::steady_clock::time_point time,
                                           double* out) const {
    return heard.at(time, out) ? noErr : kAudioQueueErr_InvalidRunState;
}

} // namespace platform
