#pragma once

// Where a queue is in its life between a start and a stop, and what each call means for
// the rest of the queue. It only decides: the queue applies each decision (the ring, the
// real-time side, its buffers) in the order its call needs.
//
//   Stopped --start--> Running --stop--> Stopping --end heard--> Stopped
//                       ^  |  ^             |  |
//                       |  |  +---start-----+  |   (a start before the end is fed)
//                 start |  | pause        pause |
//                       |  v                   v
//                       Paused <---------------+   (a start resumes a paused stop)
//
// A stop while paused, or an immediate stop, goes straight to Stopped; a reset turns
// Stopping back into Running; a stop asked for before a start makes that start play out.
//
// It also keeps the IsRunning news the listeners are still to hear, and the listeners.
//
// Thread contract: no lock and no thread of its own; the queue calls it under its control
// lock, from the caller's thread and from the queue thread alike.

#include "platform/audio_queue/AudioQueue.h"

#include <cstddef>
#include <vector>

namespace platform {

enum class RunState { Stopped, Running, Paused, Stopping };

class RunStateMachine {
public:
    enum class Start {
        Fresh,   // from stopped: a new run begins (lead-in, clock), playing
        Resumed, // from paused: playing again
        Kept,    // already under way; a stop whose end is not yet fed is taken back
    };
    enum class Stop {
        Deferred, // stopped: the next start plays out what is enqueued now, then stops
        Cleared,  // stopped, immediate: the queue gives every buffer back and starts afresh
        Halted,   // stops at once: silence, every fed buffer back, news for the listeners
        PlayOut,  // plays out what is enqueued, then stops (or is already doing so)
    };
    struct Listener {
        AudioQueuePropertyListenerProc proc;
        void* userData;
    };

    // Calls. `endFed`: the feeder has begun feeding a stop's end, which no start can undo.
    Start start(bool endFed);
    bool pause(); // true when it stopped playing
    Stop stop(bool immediate, std::size_t enqueuedBuffers);
    void reset();
    void bufferEnqueued();
    void dispose() { run = RunState::Stopped; }

    // The feeder.
    bool feeds() const { return run == RunState::Running || run == RunState::Stopping; }
    bool takesInput() const { return run != RunState::Stopping || drainCount > 0; }
    void bufferFed();
    bool takeReset(); // true once after each stop or reset: the feeder starts afresh
    bool resetPending() const { return resetRequested; }

    // The queue thread: a stop that played out ends once the device took its last frame.
    void finishStop();

    RunState state() const { return run; }
    bool isRunning() const { return isRunningValue; }
    bool hasNews() const { return !runningNews.empty(); }
    std::vector<bool> takeNews();

    void addListener(const Listener& listener) { listeners.push_back(listener); }
    void removeListener(const Listener& listener);
    const std::vector<Listener>& listenersNow() const { return listeners; }

private:
    void setRunning(bool running);

    RunState run = RunState::Stopped;
    std::size_t drainCount = 0;  // buffers still to play out before a stop completes
    bool stopPending = false;    // a stop asked for before the start it applies to
    bool resumeStopping = false; // paused while a stop played out: the next start resumes it
    bool resetRequested = false;
    bool isRunningValue = false;
    std::vector<bool> runningNews; // IsRunning changes not yet reported
    std::vector<Listener> listeners;
};

} // namespace platform
