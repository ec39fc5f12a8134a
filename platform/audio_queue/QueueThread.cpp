// The queue thread of OpaqueAudioQueue: callbacks, IsRunning news, feeder rounds, and the
// end of a stop that plays out; and the control state's answers to the feeder.

#include "platform/audio_queue/QueueEngine.h"
#include "platform/log/Log.h"
#include "platform/thread_priority/ThreadPriority.h"

namespace platform {

namespace {

// The queue thread's priority while it feeds a real-time device: real-time, just below the
// device's own sound thread, so that no ordinary work on a busy machine (a build, another
// program's threads) can hold it back for longer than the device's buffer lasts. Where that
// is refused, and for an offline device, a raised nice level.
constexpr int kQueueThreadRealtimePriority = 8;
constexpr int kQueueThreadNice = -10;

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

void logPriorityOnce(const PriorityOutcome& priority) {
    static std::atomic<bool> priorityLogged{false};
    if (!priorityLogged.exchange(true))
        log("audio queue: feeding thread at %s",
            (priority.granted ? priority.how : "normal priority (" + priority.how + ")").c_str());
}

} // namespace

void OpaqueAudioQueue::threadMain() {
    threadId.store(std::this_thread::get_id());
    logPriorityOnce(raiseFeedingPriority(*device));

    std::unique_lock lock(stateLock);
    bool again = false;
    std::uint32_t ticket = wake.ticket();
    while (!quit) {
        const bool pending =
            runState.hasNews() || pool.hasCallbacksDue() || runState.resetPending();
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
        const std::vector<bool> events = runState.takeNews();
        std::vector<AudioQueueBufferRef> used, ended;
        pool.takeCallbacks(ended, used);
        lock.unlock();

        // The buffers of a run that has ended come back before the news that it has: a
        // listener that starts the queue again must find them free to fill.
        deliverCallbacks(ended);
        deliverRunningEvents(events);
        deliverCallbacks(used);
        const std::vector<AudioQueueBufferRef> pumped = feeder.pump(false);
        deliverCallbacks(pumped);

        lock.lock();
        again = !pumped.empty();
        finishStopIfHeard();
    }
    const bool freeSelf = deleteOnExit;
    lock.unlock();
    if (freeSelf)
        delete this;
}

// A stop that plays out completes once the device has taken the last frame.
void OpaqueAudioQueue::finishStopIfHeard() {
    if (runState.state() != RunState::Stopping || !render.endHeard())
        return;
    runState.finishStop();
    render.setPlaying(false);
    render.setStale(true);
    pool.returnFed();
}

void OpaqueAudioQueue::deliverRunningEvents(const std::vector<bool>& values) {
    for (bool value : values) {
        std::vector<RunStateMachine::Listener> targets;
        {
            std::lock_guard guard(stateLock);
            if (disposed)
                return;
            targets = runState.listenersNow();
            reportingRunning = value ? 1 : 0;
        }
        for (const RunStateMachine::Listener& l : targets)
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
            pool.release(buffer); // the caller's from here on
        }
        if (outputCallback)
            outputCallback(callbackUserData, this, buffer);
    }
}

// ---- the feeder's questions (the feeder's lock is held; see the lock order) -----------

FeedControl::Round OpaqueAudioQueue::beginRound(bool priming) {
    std::lock_guard guard(stateLock);
    if (disposed)
        return {};
    Round round;
    round.reset = runState.takeReset();
    if (round.reset) {
        // What a round under way wrote after the caller's discard is dropped with the
        // rest, before the real-time thread may read again.
        ring.requestDiscardUpTo(ring.writePosition());
        render.setStale(false);
    }
    round.active = priming || runState.feeds();
    return round;
}

FeedControl::Step OpaqueAudioQueue::nextStep(std::vector<AudioQueueBufferRef>& used) {
    std::lock_guard guard(stateLock);
    // Paused, or reset since this round began (the front buffer may have been handed
    // back): the next round takes it from here.
    if (runState.state() == RunState::Paused || runState.resetPending())
        return {.halt = true};
    Step step;
    step.stopping = runState.state() == RunState::Stopping;
    if (runState.takesInput())
        step.front = pool.front();
    if (!step.front && pool.hasFed()) {
        // Out of input: give back the buffer fed longest ago for the caller to fill (all
        // of them once the run is ending: no more input is taken) and come back for what
        // it brings.
        pool.giveBackFed(step.stopping, used);
        if (!step.stopping)
            return {.halt = true};
    }
    // From here on the end is being fed: a start can no longer take the stop back.
    if (!step.front && step.stopping)
        feeder.commitEnd();
    return step;
}

bool OpaqueAudioQueue::bufferFed(AudioQueueBufferRef buffer) {
    std::lock_guard guard(stateLock);
    // A stop or a reset meanwhile has handed it back already.
    if (!pool.frontFed(buffer))
        return false;
    runState.bufferFed();
    return true;
}

} // namespace platform
