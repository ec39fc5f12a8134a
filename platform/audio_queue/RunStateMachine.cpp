#include "platform/audio_queue/RunStateMachine.h"

#include <utility>

namespace platform {

RunStateMachine::Start RunStateMachine::start(bool endFed) {
    if (run == RunState::Paused) {
        run = std::exchange(resumeStopping, false) ? RunState::Stopping : RunState::Running;
        return Start::Resumed;
    }
    if (run == RunState::Stopping && !endFed) {
        run = RunState::Running; // taken back before its end was fed
        drainCount = 0;
    }
    if (run != RunState::Stopped)
        return Start::Kept;
    run = stopPending ? RunState::Stopping : RunState::Running;
    stopPending = false;
    setRunning(true);
    return Start::Fresh;
}

bool RunStateMachine::pause() {
    if (run != RunState::Running && run != RunState::Stopping)
        return false;
    resumeStopping = run == RunState::Stopping;
    run = RunState::Paused;
    return true;
}

RunStateMachine::Stop RunStateMachine::stop(bool immediate, std::size_t enqueuedBuffers) {
    if (run == RunState::Stopped) {
        if (immediate) {
            stopPending = false;
            resetRequested = true;
            return Stop::Cleared;
        }
        stopPending = true;
        drainCount = enqueuedBuffers;
        return Stop::Deferred;
    }
    if (immediate || run == RunState::Paused) {
        // A paused queue cannot play anything out: it stops where it is.
        run = RunState::Stopped;
        resumeStopping = false;
        resetRequested = true;
        drainCount = 0;
        setRunning(false);
        return Stop::Halted;
    }
    if (run == RunState::Running) {
        run = RunState::Stopping;
        drainCount = enqueuedBuffers;
    }
    return Stop::PlayOut;
}

void RunStateMachine::reset() {
    stopPending = false;
    drainCount = 0;
    resumeStopping = false;
    if (run == RunState::Stopping)
        run = RunState::Running;
    resetRequested = true;
}

void RunStateMachine::bufferEnqueued() {
    // Frames arriving after a stop that was asked for before any start belong to the next
    // run, not to the one that stop ends.
    if (run == RunState::Stopped)
        stopPending = false;
}

void RunStateMachine::bufferFed() {
    if (drainCount > 0)
        --drainCount;
}

bool RunStateMachine::takeReset() {
    return std::exchange(resetRequested, false);
}

void RunStateMachine::finishStop() {
    run = RunState::Stopped;
    resetRequested = true;
    setRunning(false);
}

std::vector<bool> RunStateMachine::takeNews() {
    return std::exchange(runningNews, {});
}

void RunStateMachine::removeListener(const Listener& listener) {
    std::erase_if(listeners, [&](const Listener& l) {
        return l.proc == listener.proc && l.userData == listener.userData;
    });
}

void RunStateMachine::setRunning(bool running) {
    if (isRunningValue == running)
        return;
    isRunningValue = running;
    runningNews.push_back(running);
}

} // namespace platform
