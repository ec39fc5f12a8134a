#pragma once

// Raising the priority of the threads that keep sound flowing.
//
// The sound thread (the one the sound system calls back on) asks for real-time scheduling;
// the thread that feeds it (decoding, time stretching) asks for real-time scheduling just
// below it, and for a raised nice level where that is refused or nothing plays in real
// time. On a
// desktop an ordinary user is not allowed either by the kernel directly, so each request
// first tries the kernel and then RealtimeKit over the system D-Bus, which grants both
// within limits. Refusal is normal and not an error: the thread keeps its normal
// priority and playback still works, with less margin on a busy machine.
//
// Setting STUDYLOOP_THREAD_PRIORITY=normal in the environment skips every request (to
// compare, or where raised priorities are unwanted).
//
// Thread contract: any thread but the real-time one (a request may wait up to a second for
// D-Bus). A thread is named by its kernel thread id, so one thread may ask for another.

#include <string>
#include <sys/types.h>

namespace platform {

struct PriorityOutcome {
    bool granted = false;
    std::string how; // what was granted, or why nothing was
};

// The calling thread's kernel id.
pid_t currentThreadId();

// SCHED_FIFO at `priority` (1..99; kept at or below what RealtimeKit allows).
PriorityOutcome makeThreadRealtime(pid_t thread, int priority);

// A nice level below 0 (more CPU share), kept at or above what RealtimeKit allows.
PriorityOutcome raiseThreadPriority(pid_t thread, int niceLevel);

} // namespace platform
