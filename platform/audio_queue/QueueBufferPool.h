#pragma once

// The buffers of one queue: those the caller allocated, and where each one is while the
// queue holds it (from its enqueue until its callback starts):
//
//   allocate -> caller fills -> enqueued -> fed (to the stretcher) -> handed back -> callback
//                                  |                                      ^
//                                  +------ dropped by a stop or reset ----+
//
// Buffers fed to the stretcher are held back until their frames are needed: the caller
// refills a buffer when it gets it back, so handing buffers back only as the stretcher asks
// for input keeps the caller's reads close to what is heard, and a seek in the caller's
// file is heard that much sooner.
//
// Thread contract: no lock of its own; the queue calls it under its control lock, from the
// caller's thread and from the queue thread alike. The callbacks are the queue's to make.

#include "platform/audio_queue/AudioQueue.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <vector>

namespace platform {

class QueueBuffer;

class QueueBufferPool {
public:
    QueueBufferPool();
    ~QueueBufferPool();

    // The caller's calls; each checks the buffer is this queue's and free to take.
    AudioQueueBufferRef allocate(std::uint32_t bytes);
    OSStatus free(AudioQueueBufferRef buffer);
    OSStatus enqueue(AudioQueueBufferRef buffer);
    OSStatus requestFill(AudioQueueBufferRef buffer); // its callback comes without playing it

    void callbackDue(const std::vector<AudioQueueBufferRef>& used); // used by a primer
    void dropEnqueued(); // every enqueued buffer goes back unplayed
    void returnFed();    // the run is over: every fed buffer goes back

    // The feeder.
    std::size_t enqueuedCount() const { return enqueued.size(); }
    AudioQueueBufferRef front() const { return enqueued.empty() ? nullptr : enqueued.front(); }
    // `buffer` is fed whole; false when a stop or reset has handed it back meanwhile.
    bool frontFed(AudioQueueBufferRef buffer);
    bool hasFed() const { return !fed.empty(); }
    // Out of input: the buffer fed longest ago goes back to be filled again (all of them
    // when `all`: the run is ending).
    void giveBackFed(bool all, std::vector<AudioQueueBufferRef>& used);

    // The queue thread: callbacks to make, the buffers of an ended run first.
    bool hasCallbacksDue() const { return !due.empty() || !handBack.empty(); }
    void takeCallbacks(std::vector<AudioQueueBufferRef>& ended,
                       std::vector<AudioQueueBufferRef>& used);
    void release(AudioQueueBufferRef buffer); // the caller's from its callback on

private:
    bool owns(AudioQueueBufferRef buffer) const;
    // noErr for a buffer of the pool that is not queued; else why it cannot be queued.
    OSStatus outOfQueue(AudioQueueBufferRef buffer) const;

    std::vector<std::unique_ptr<QueueBuffer>> buffers;
    std::deque<AudioQueueBufferRef> enqueued;
    std::deque<AudioQueueBufferRef> fed;
    std::vector<AudioQueueBufferRef> handBack; // of an ended run, still to return
    std::vector<AudioQueueBufferRef> due;      // left to the queue thread by a primer or a caller
};

} // namespace platform
