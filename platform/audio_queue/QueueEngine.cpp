#include "platform/audio_queue/QueueEngine.h"

#include "platform/log/Log.h"
#include "platform/thread_priority/ThreadPriority.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

namespace platform {

// A buffer the caller fills: its bytes, and whether the queue holds it (from its enqueue
// until its callback starts: enqueued, fed, or waiting to be handed back).
class QueueBuffer : public AudioQueueBuffer {
public:
    explicit QueueBuffer(std::uint32_t bytes)
        : QueueBuffer(bytes,
                      std::make_unique<float[]>((bytes + sizeof(float) - 1) / sizeof(float))) {}
    bool inQueue = false;

private:
    QueueBuffer(std::uint32_t bytes, std::unique_ptr<float[]> data)
        : AudioQueueBuffer{bytes, data.get(), 0, nullptr}, storage(std::move(data)) {}
    std::unique_ptr<float[]> storage;
};

namespace {

// Frames per stretcher process call: small, so the stretcher renders little beyond what the
// ring asks for. Whatever it has rendered ahead is heard before a rate or pitch change.
constexpr std::size_t kFeedFrames = TimePitchStage::kFeedFrames;
constexpr std::size_t kRingCapacityFrames = 8192;
// The queue thread's priority while it feeds a real-time device: real-time, just below the
// device's own sound thread, so that no ordinary work on a busy machine (a build, another
// program's threads) can hold it back for longer than the device's buffer lasts. Where that
// is refused, and for an offline device, a raised nice level.
constexpr int kQueueThreadRealtimePriority = 8;
constexpr int kQueueThreadNice = -10;

constexpr double kMinRate = 1.0 / 32, kMaxRate = 32;
constexpr double kMinCents = -2400, kMaxCents = 2400;
// A lead-in longer than this is refused: it is a pause between passes, not a second file.
constexpr double kMaxLeadInSeconds = 60;

// Only for buffers known to come from this queue's allocateBuffer.
QueueBuffer* owner(AudioQueueBufferRef buffer) {
    return static_cast<QueueBuffer*>(buffer);
}

PriorityOutcome raiseFeedingPriority(const AudioDevice& device) {
    const pid_t self = currentThreadId();
    if (!device.rendersInRealTime())
        return raiseThreadPriority(self, kQueueThreadNice);
    const PriorityOutcome realtime = makeThreadRealtime(self, kQueueThreadRealtimePriority);
    if (realtime.granted)
        return realtime;
    PriorityOutcome nice = raiseThreadPriority(self, kQueueThreadNice);
    nice.how += " (real time refused: " + realtime.how + ")";
    return nice;
}

} // namespace

OpaqueAudioQueue::OpaqueAudioQueue(double fileRate_, std::shared_ptr<AudioDevice> device_,
                                   AudioQueueOutputCallback callback, void* userData)
    : fileRate(fileRate_), device(std::move(device_)), deviceRate(device->sampleRate()),
      outputCallback(callback), callbackUserData(userData), ring(2 * kRingCapacityFrames) {
    timePitch.configure(fileRate, deviceRate);
    ringTarget.store(std::min<std::uint32_t>(device->framesToKeepReady(), kRingCapacityFrames / 2));
    interleaved.assign(2 * TimePitchStage::kRetrieveFrames, 0.0f);
    thread = std::thread([this] { threadMain(); });
    device->attach(this);
}

OpaqueAudioQueue::~OpaqueAudioQueue() = default;

// ---- calls --------------------------------------------------------------------------

OSStatus OpaqueAudioQueue::dispose(bool immediate) {
    const bool join = immediate && !onQueueThread();
    {
        std::lock_guard guard(stateLock);
        if (disposed)
            return kAudioQueueErr_DisposalPending;
        disposed = true; // no callback starts from here on
        run = RunState::Stopped;
        rtPlaying.store(false);
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
    buffers.push_back(std::make_unique<QueueBuffer>(bytes));
    *out = buffers.back().get();
    return noErr;
}

OSStatus OpaqueAudioQueue::freeBuffer(AudioQueueBufferRef buffer) {
    std::lock_guard guard(stateLock);
    auto it = std::find_if(buffers.begin(), buffers.end(),
                           [&](const auto& b) { return b.get() == buffer; });
    if (it == buffers.end())
        return kAudioQueueErr_InvalidBuffer;
    if ((*it)->inQueue)
        return kAudioQueueErr_BufferInQueue;
    buffers.erase(it);
    return noErr;
}

OSStatus OpaqueAudioQueue::enqueue(AudioQueueBufferRef buffer) {
    {
        std::lock_guard guard(stateLock);
        if (disposed)
            return kAudioQueueErr_DisposalPending;
        if (!ownsLocked(buffer))
            return kAudioQueueErr_InvalidBuffer;
        if (owner(buffer)->inQueue)
            return kAudioQueueErr_BufferInQueue;
        if (buffer->mAudioDataByteSize > buffer->mAudioDataBytesCapacity ||
            buffer->mAudioDataByteSize % 8 != 0)
            return kAudioQueueErr_InvalidBuffer;
        owner(buffer)->inQueue = true;
        enqueued.push_back(buffer);
        // Frames arriving after a stop that was asked for before any start belong to the
        // next run, not to the one that stop ends.
        if (run == RunState::Stopped)
            stopPending = false;
    }
    wake.post();
    return noErr;
}

OSStatus OpaqueAudioQueue::start() {
    // Outside the lock: a device that lost its server may try to open it again, and one
    // that has gone quiet wakes up.
    device->prepareToPlay(fileRate);
    ringTarget.store(std::min<std::uint32_t>(device->framesToKeepReady(), kRingCapacityFrames / 2));
    {
        std::lock_guard guard(stateLock);
        if (disposed)
            return kAudioQueueErr_DisposalPending;
        if (run != RunState::Stopped) {
            if (run == RunState::Paused) {
                run = std::exchange(resumeStopping, false) ? RunState::Stopping : RunState::Running;
                rtPlaying.store(true);
            } else if (run == RunState::Stopping && !endCommitted.load()) {
                run = RunState::Running; // taken back before its end was fed
                drainCount = 0;
            }
            wake.post();
            return noErr;
        }
    }
    {
        std::lock_guard guard(stateLock);
        if (disposed)
            return kAudioQueueErr_DisposalPending;
        if (run != RunState::Stopped)
            return noErr;
        run = stopPending ? RunState::Stopping : RunState::Running;
        stopPending = false;
        freshStart.store(true);
        renderCyclesAtRunStart.store(renderCycles.load());
        publishLeadInLocked();
        rtPlaying.store(true, std::memory_order_release);
        setRunning(true);
    }
    wake.post();
    return noErr;
}

OSStatus OpaqueAudioQueue::pause() {
    std::lock_guard guard(stateLock);
    if (disposed)
        return kAudioQueueErr_DisposalPending;
    if (run == RunState::Running || run == RunState::Stopping) {
        resumeStopping = run == RunState::Stopping;
        run = RunState::Paused;
        rtPlaying.store(false, std::memory_order_release);
    }
    return noErr;
}

OSStatus OpaqueAudioQueue::stop(bool immediate) {
    {
        std::lock_guard guard(stateLock);
        if (disposed)
            return kAudioQueueErr_DisposalPending;
        if (run == RunState::Stopped) {
            if (immediate) {
                dropEnqueuedLocked();
                stopPending = false;
                resetRequested = true;
                ringStale.store(true, std::memory_order_release);
                returnFedLocked();
            } else {
                stopPending = true;
                drainCount = enqueued.size();
            }
            return noErr;
        }
        if (immediate || run == RunState::Paused) {
            // A paused queue cannot play anything out: it stops where it is. An immediate
            // stop also drops what waits in the queue; a paused one keeps it for the next
            // start.
            if (immediate)
                dropEnqueuedLocked();
            run = RunState::Stopped;
            resumeStopping = false;
            rtPlaying.store(false, std::memory_order_release);
            ring.requestDiscardUpTo(ring.writePosition());
            resetRequested = true;
            ringStale.store(true, std::memory_order_release);
            returnFedLocked();
            drainCount = 0;
            setRunning(false);
        } else if (run == RunState::Running) {
            run = RunState::Stopping;
            drainCount = enqueued.size();
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
        returnFedLocked();
        dropEnqueuedLocked();
        stopPending = false;
        drainCount = 0;
        resumeStopping = false;
        if (run == RunState::Stopping)
            run = RunState::Running;
        // Silent at once; the queue thread starts the stretcher and the clock afresh, and
        // until it has, no frame maps to a source time.
        ring.requestDiscardUpTo(ring.writePosition());
        timeline.restart(UINT64_MAX);
        heard.invalidate();
        resetRequested = true;
        ringStale.store(true, std::memory_order_release);
    }
    wake.post();
    return noErr;
}

OSStatus OpaqueAudioQueue::requestFill(AudioQueueBufferRef buffer) {
    {
        std::lock_guard guard(stateLock);
        if (disposed)
            return kAudioQueueErr_DisposalPending;
        if (!ownsLocked(buffer))
            return kAudioQueueErr_InvalidBuffer;
        if (owner(buffer)->inQueue)
            return kAudioQueueErr_BufferInQueue;
        owner(buffer)->inQueue = true;
        callbacksDue.push_back(buffer);
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
    std::vector<AudioQueueBufferRef> used = pump(true);
    if (outFramesPrepared)
        *outFramesPrepared = std::uint32_t((ring.writePosition() - before) / 2);
    {
        std::lock_guard guard(stateLock);
        callbacksDue.insert(callbacksDue.end(), used.begin(), used.end());
    }
    wake.post();
    return noErr;
}

OSStatus OpaqueAudioQueue::setParameter(AudioQueueParameterID parameter, float value) {
    if (!std::isfinite(value))
        return kAudioQueueErr_InvalidParameter;
    switch (parameter) {
    case kAudioQueueParam_Volume:
        volume.store(std::max(value, 0.0f));
        return noErr;
    case kAudioQueueParam_PlayRate:
        rate.store(float(std::clamp(double(value), kMinRate, kMaxRate)));
        wake.post();
        return noErr;
    case kAudioQueueParam_Pitch:
        pitchCents.store(float(std::clamp(double(value), kMinCents, kMaxCents)));
        wake.post();
        return noErr;
    default:
        return kAudioQueueErr_InvalidParameter;
    }
}

OSStatus OpaqueAudioQueue::getParameter(AudioQueueParameterID parameter, float* value) const {
    if (!value)
        return kAudioQueueErr_InvalidParameter;
    switch (parameter) {
    case kAudioQueueParam_Volume:
        *value = volume.load();
        return noErr;
    case kAudioQueueParam_PlayRate:
        *value = rate.load();
        return noErr;
    case kAudioQueueParam_Pitch:
        *value = pitchCents.load();
        return noErr;
    default:
        return kAudioQueueErr_InvalidParameter;
    }
}

OSStatus OpaqueAudioQueue::setProperty(AudioQueuePropertyID property, const void* data,
                                       std::uint32_t size) {
    if (!data)
        return kAudioQueueErr_InvalidParameter;
    if (size != sizeof(std::uint32_t))
        return kAudioQueueErr_InvalidPropertySize;
    std::uint32_t value;
    std::memcpy(&value, data, sizeof value);
    std::lock_guard guard(stateLock);
    switch (property) {
    case kAudioQueueProperty_EnableTimePitch:
        timePitchEnabled = value != 0;
        return noErr;
    case kAudioQueueProperty_TimePitchAlgorithm:
        // The spectral algorithm is the only one; it is what every other name gets too.
        timePitchAlgorithm = value;
        return noErr;
    default:
        return kAudioQueueErr_InvalidProperty;
    }
}

OSStatus OpaqueAudioQueue::getProperty(AudioQueuePropertyID property, void* data,
                                       std::uint32_t* size) const {
    if (!data || !size)
        return kAudioQueueErr_InvalidParameter;
    if (*size < sizeof(std::uint32_t))
        return kAudioQueueErr_InvalidPropertySize;
    std::uint32_t value = 0;
    {
        std::lock_guard guard(stateLock);
        switch (property) {
        case kAudioQueueProperty_IsRunning:
            // A listener hears the value its own notification was for, even when the
            // state has moved on since.
            value = onQueueThread() && reportingRunning >= 0 ? std::uint32_t(reportingRunning)
                                                             : std::uint32_t(isRunningValue);
            break;
        case kAudioQueueProperty_EnableTimePitch:
            value = timePitchEnabled;
            break;
        case kAudioQueueProperty_TimePitchAlgorithm:
            value = timePitchAlgorithm;
            break;
        default:
            return kAudioQueueErr_InvalidProperty;
        }
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
    listeners.push_back({proc, userData});
    return noErr;
}

OSStatus OpaqueAudioQueue::removeListener(AudioQueuePropertyID property,
                                          AudioQueuePropertyListenerProc proc, void* userData) {
    if (property != kAudioQueueProperty_IsRunning)
        return kAudioQueueErr_InvalidProperty;
    std::lock_guard guard(stateLock);
    std::erase_if(listeners,
                  [&](const Listener& l) { return l.proc == proc && l.userData == userData; });
    return noErr;
}

OSStatus OpaqueAudioQueue::setLeadIn(const AudioQueueLeadIn& leadIn) {
    if (!std::isfinite(leadIn.seconds) || leadIn.seconds < 0 ||
        leadIn.seconds > kMaxLeadInSeconds || !std::isfinite(leadIn.beatsPerMinute) ||
        leadIn.beatsPerMinute < 0)
        return kAudioQueueErr_InvalidParameter;
    std::lock_guard guard(stateLock);
    if (disposed)
        return kAudioQueueErr_DisposalPending;
    pendingLeadIn = leadIn;
    return noErr;
}

void OpaqueAudioQueue::publishLeadInLocked() {
    const AudioQueueLeadIn leadIn = std::exchange(pendingLeadIn, AudioQueueLeadIn{});
    leadInFrames.store(std::uint32_t(std::lround(leadIn.seconds * deviceRate)),
                       std::memory_order_relaxed);
    leadInBeatFrames.store(
        leadIn.beatsPerMinute > 0
            ? std::uint32_t(std::lround(60.0 / leadIn.beatsPerMinute * deviceRate))
            : 0,
        std::memory_order_relaxed);
    leadInBeatsPerBar.store(leadIn.beatsPerBar, std::memory_order_relaxed);
    leadInGeneration.fetch_add(1, std::memory_order_release);
}

OSStatus OpaqueAudioQueue::currentTime(AudioTimeStamp* out) {
    if (!out)
        return kAudioQueueErr_InvalidParameter;
    const std::uint64_t consumed = ring.readPosition() / 2;
    const std::uint64_t latency = device->outputLatencyFrames();
    const std::uint64_t heard = consumed > latency ? consumed - latency : 0;
    out->mSampleTime = timeline.sourceFrameAt(heard, publishedSourceFed.load());
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

// ---- real-time side -------------------------------------------------------------------

std::uint32_t OpaqueAudioQueue::renderLeadIn(float* out, std::uint32_t frames) noexcept {
    if (const std::uint64_t generation = leadInGeneration.load(std::memory_order_acquire);
        generation != rtLeadInGeneration) {
        rtLeadInGeneration = generation;
        rtLeadInLeft = leadInFrames.load(std::memory_order_relaxed);
        rtCountIn = CountIn{rtLeadInLeft, leadInBeatFrames.load(std::memory_order_relaxed),
                            leadInBeatsPerBar.load(std::memory_order_relaxed), deviceRate};
    }
    const std::uint32_t n = std::min(frames, rtLeadInLeft);
    for (std::uint32_t i = 0; i < n; ++i)
        out[2 * i] = out[2 * i + 1] = countInSample(rtCountIn, rtLeadInLeft - i);
    rtLeadInLeft -= n;
    return n;
}

std::uint32_t OpaqueAudioQueue::renderAudio(float* out, std::uint32_t frames) noexcept {
    if (!rtPlaying.load(std::memory_order_acquire))
        return 0;
    renderCycles.fetch_add(1, std::memory_order_acq_rel);
    if (ringStale.load(std::memory_order_acquire))
        return 0; // a reset or stop the queue thread has not taken yet: nothing to hear
    const auto handedAt = std::chrono::steady_clock::now();
    const std::uint32_t leadIn = renderLeadIn(out, frames);
    ring.readableCount(); // takes a discard: the position below is the next frame read
    const std::uint64_t firstFrame = ring.readPosition() / 2;
    const auto fromRing = std::uint32_t(
        ring.read(out + 2 * std::size_t(leadIn), 2 * std::size_t(frames - leadIn)) / 2);
    const std::uint32_t got = leadIn + fromRing;
    if (fromRing > 0) {
        const double delay =
            double(latencyFrames.load(std::memory_order_relaxed) + leadIn) / deviceRate;
        heard.publish(firstFrame,
                      handedAt + std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                                     std::chrono::duration<double>(delay)),
                      fromRing);
    }
    // Below its level: the queue thread tops the ring up (it sleeps until told).
    if (ring.writePosition() - ring.readPosition() <
        2 * std::uint64_t(ringTarget.load(std::memory_order_relaxed)))
        wake.post();
    // Ramp the gain across the block so a volume change does not click.
    const float target = volume.load(std::memory_order_relaxed);
    if (got > 0) {
        const float step = (target - rtGain) / float(got);
        for (std::uint32_t i = 0; i < got; ++i) {
            rtGain += step;
            out[2 * i] *= rtGain;
            out[2 * i + 1] *= rtGain;
        }
        rtGain = target;
        freshStart.store(false, std::memory_order_relaxed);
    } else if (!freshStart.load(std::memory_order_relaxed)) {
        rtGain = target;
    }
    return got;
}

bool OpaqueAudioQueue::expectsToRender() const noexcept {
    if (!rtPlaying.load(std::memory_order_acquire))
        return false;
    const std::uint64_t end = endPosition.load(std::memory_order_acquire);
    return end == UINT64_MAX || ring.readPosition() < end || awaitsFirstCycle();
}

bool OpaqueAudioQueue::awaitsFirstCycle() const noexcept {
    return renderCycles.load(std::memory_order_acquire) ==
           renderCyclesAtRunStart.load(std::memory_order_acquire);
}

// ---- queue thread ---------------------------------------------------------------------

void OpaqueAudioQueue::threadMain() {
    threadId.store(std::this_thread::get_id());
    const PriorityOutcome priority = raiseFeedingPriority(*device);
    static std::atomic<bool> priorityLogged{false};
    if (!priorityLogged.exchange(true))
        log("audio queue: feeding thread at %s",
            (priority.granted ? priority.how : "normal priority (" + priority.how + ")").c_str());

    std::unique_lock lock(stateLock);
    bool again = false;
    std::uint32_t ticket = wake.ticket();
    while (!quit) {
        const bool pending =
            !runningEvents.empty() || !callbacksDue.empty() || !handBack.empty() || resetRequested;
        if (!pending && !again) {
            // Sleep until a call, or the real-time thread finding the ring low, posts. The
            // ticket was taken before the last round looked at anything, so a post made
            // since then is not missed.
            lock.unlock();
            wake.sleep(ticket);
            lock.lock();
        }
        if (quit)
            break;
        ticket = wake.ticket();
        std::vector<bool> events;
        events.swap(runningEvents);
        std::vector<AudioQueueBufferRef> used, ended;
        used.swap(callbacksDue);
        ended.swap(handBack);
        lock.unlock();

        // The buffers of a run that has ended come back before the news that it has: a
        // listener that starts the queue again must find them free to fill.
        deliverCallbacks(ended);
        deliverRunningEvents(events);
        deliverCallbacks(used);
        std::vector<AudioQueueBufferRef> pumped = pump(false);
        deliverCallbacks(pumped);

        lock.lock();
        again = !pumped.empty();
        // A stop that plays out completes once the device has taken the last frame.
        if (run == RunState::Stopping) {
            const std::uint64_t end = endPosition.load();
            if (end != UINT64_MAX && ring.readPosition() >= end && !awaitsFirstCycle()) {
                run = RunState::Stopped;
                rtPlaying.store(false, std::memory_order_release);
                resetRequested = true;
                ringStale.store(true, std::memory_order_release);
                returnFedLocked();
                setRunning(false);
            }
        }
    }
    const bool freeSelf = deleteOnExit;
    lock.unlock();
    if (freeSelf)
        delete this;
}

void OpaqueAudioQueue::returnFedLocked() {
    handBack.insert(handBack.end(), fed.begin(), fed.end());
    fed.clear();
}

void OpaqueAudioQueue::dropEnqueuedLocked() {
    handBack.insert(handBack.end(), enqueued.begin(), enqueued.end());
    enqueued.clear();
}

bool OpaqueAudioQueue::ownsLocked(AudioQueueBufferRef buffer) const {
    return std::any_of(buffers.begin(), buffers.end(),
                       [&](const auto& b) { return b.get() == buffer; });
}

void OpaqueAudioQueue::setRunning(bool running) {
    if (isRunningValue == running)
        return;
    isRunningValue = running;
    runningEvents.push_back(running);
}

void OpaqueAudioQueue::deliverRunningEvents(const std::vector<bool>& values) {
    for (bool value : values) {
        std::vector<Listener> targets;
        {
            std::lock_guard guard(stateLock);
            if (disposed)
                return;
            targets = listeners;
            reportingRunning = value ? 1 : 0;
        }
        for (const Listener& l : targets)
            l.proc(l.userData, this, kAudioQueueProperty_IsRunning);
        std::lock_guard guard(stateLock);
        reportingRunning = -1;
    }
}

void OpaqueAudioQueue::deliverCallbacks(const std::vector<AudioQueueBufferRef>& used) {
    for (AudioQueueBufferRef buffer : used) {
        {
            std::lock_guard guard(stateLock);
            if (disposed)
                return;
            owner(buffer)->inQueue = false; // the caller's from here on
        }
        if (outputCallback)
            outputCallback(callbackUserData, this, buffer);
    }
}

std::vector<AudioQueueBufferRef> OpaqueAudioQueue::pump(bool priming) {
    std::vector<AudioQueueBufferRef> used;
    std::lock_guard engine(engineLock);
    bool reset = false;
    bool active = false;
    {
        std::lock_guard guard(stateLock);
        if (disposed)
            return used;
        reset = std::exchange(resetRequested, false);
        if (reset) {
            // What a round under way wrote after the caller's discard is dropped with the
            // rest, before the real-time thread may read again.
            ring.requestDiscardUpTo(ring.writePosition());
            ringStale.store(false, std::memory_order_release);
        }
        active = priming || run == RunState::Running || run == RunState::Stopping;
    }
    if (reset) {
        offsetInFront = 0;
        prepared = false;
    }
    if (!active)
        return used;
    latencyFrames.store(device->outputLatencyFrames(), std::memory_order_relaxed);
    if (!prepared)
        prepareRunLocked();
    applyParametersLocked();

    const std::size_t target = ringTarget.load();
    for (;;) {
        if (drainStretcherLocked(target))
            break; // the ring holds enough
        if (endPosition.load() != UINT64_MAX)
            break;
        AudioQueueBufferRef front = nullptr;
        bool stopping = false;
        {
            std::lock_guard guard(stateLock);
            // Paused, or reset since this round began (the front buffer may have been
            // handed back): the next round takes it from here.
            if (run == RunState::Paused || resetRequested)
                break;
            stopping = run == RunState::Stopping;
            if (!enqueued.empty() && (!stopping || drainCount > 0))
                front = enqueued.front();
            if (!front && !fed.empty()) {
                // Out of input: give back the buffer fed longest ago for the caller to fill
                // (all of them once the run is ending: no more input is taken) and come
                // back for what it brings.
                do {
                    used.push_back(fed.front());
                    fed.pop_front();
                } while (stopping && !fed.empty());
                if (!stopping)
                    break;
            }
            // From here on the end is being fed: a start can no longer take the stop back.
            if (!front && stopping)
                endCommitted.store(true);
        }
        if (front) {
            const std::size_t frames = front->mAudioDataByteSize / 8;
            const std::size_t n = std::min(frames - offsetInFront, kFeedFrames);
            const float* data = static_cast<const float*>(front->mAudioData) + 2 * offsetInFront;
            if (n > 0) {
                timePitch.process(data, n);
                publishedSourceFed.store(timePitch.sourceFed());
                offsetInFront += n;
            }
            if (offsetInFront >= frames) {
                std::lock_guard guard(stateLock);
                offsetInFront = 0;
                // A stop or a reset meanwhile has handed it back already.
                if (enqueued.empty() || enqueued.front() != front)
                    break;
                enqueued.pop_front();
                if (drainCount > 0)
                    --drainCount;
                fed.push_back(front);
            }
            continue;
        }
        if (stopping) {
            // Everything to be played is in: push out what the stretcher holds back, a block
            // at a time with the ring topped up between blocks. At a slow rate that is a lot
            // of work; in one go it would leave the device waiting.
            if (!timePitch.flushBlock()) {
                endPosition.store(ring.writePosition()); // all of it is out
                break;
            }
            continue;
        }
        break; // waiting for buffers
    }
    return used;
}

void OpaqueAudioQueue::prepareRunLocked() {
    applyParametersLocked();
    timePitch.startRun();
    publishedSourceFed.store(0);
    endCommitted.store(false);
    endPosition.store(UINT64_MAX);
    timeline.restart(ring.writePosition() / 2);
    heard.restart(ring.writePosition() / 2);
    prepared = true;
}

void OpaqueAudioQueue::applyParametersLocked() {
    bool enabled;
    {
        std::lock_guard guard(stateLock);
        enabled = timePitchEnabled;
    }
    timePitch.setParameters(enabled ? double(rate.load()) : 1.0,
                            enabled ? double(pitchCents.load()) : 0.0);
}

bool OpaqueAudioQueue::drainStretcherLocked(std::size_t targetFrames) {
    for (;;) {
        const std::size_t level = std::size_t(ring.writePosition() - ring.readPosition()) / 2;
        if (level >= targetFrames)
            return true;
        if (timePitch.reachedEnd()) {
            if (endPosition.load() == UINT64_MAX)
                endPosition.store(ring.writePosition());
            return false;
        }
        const std::size_t available = timePitch.available();
        if (available == 0)
            return false;
        double sourceStart = 0;
        const std::size_t count = timePitch.retrieve(
            interleaved.data(), std::min(available, targetFrames - level), &sourceStart);
        if (count > 0) {
            if (const std::shared_ptr<BeatClick> metronome = click.load())
                metronome->mix(interleaved.data(), count, sourceStart, timePitch.sourcePerOutput(),
                               deviceRate);
            timeline.append(ring.writePosition() / 2, sourceStart, timePitch.sourcePerOutput());
            heard.note(ring.writePosition() / 2, sourceStart, timePitch.sourcePerOutput());
            ring.write(interleaved.data(), 2 * count);
        }
    }
}

} // namespace platform
