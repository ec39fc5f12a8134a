#pragma once

// Moves a queue's enqueued frames through the time/pitch stretcher into the ring, up to the
// ring's target level: feeds the front buffer a small block at a time (remembering how far
// it got), drains the stretcher's output into the ring with its source mapping, hands
// buffers back as input runs out, and, when a stop plays out, flushes the stretcher and
// marks where the run ends in the ring.
//
//   enqueued buffers --process--> stretcher --retrieve--> moveToRing() --> ring --> device
//                                                        (timeline, heard clock)
//
// What it may take, and when to give up, it asks of the queue's control state through
// FeedControl, one step at a time.
//
// Thread contract: pump() runs on the queue thread, or on a caller that primes; the
// feeder's lock (`engineLock`) makes them take turns for a whole round, as the stretcher
// and the ring's producer side serve one at a time. Each FeedControl call takes the queue's
// control lock while the feeder's lock is held, so that each answer is one step with the
// callers' start, stop and reset (a start must know whether a stop's end is being fed).
// This is the queue's one lock order: the feeder's lock first, then the control lock;
// nothing under the control lock calls pump(). sourceFed(), endCommitted() and commitEnd()
// take no lock, from any thread.

#include "platform/audio_device/AudioDevice.h"
#include "platform/audio_queue/AudioQueue.h"
#include "platform/audio_queue/BeatClick.h"
#include "platform/audio_queue/HeardClock.h"
#include "platform/audio_queue/PlaybackTimeline.h"
#include "platform/audio_queue/QueueParameters.h"
#include "platform/audio_queue/QueueRender.h"
#include "platform/audio_queue/SpscRing.h"
#include "platform/time_pitch/TimePitchStage.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <vector>

namespace platform {

// The queue's control state as the feeder sees it. Each call is answered under the
// queue's control lock.
class FeedControl {
public:
    struct Round {
        bool reset = false;  // a stop or reset since the last round: start the stretcher afresh
        bool active = false; // running, stopping, or priming: there is feeding to do
    };
    struct Step {
        bool halt = false; // paused, reset, or waiting for the caller: the round ends
        bool stopping = false;
        AudioQueueBufferRef front = nullptr; // the buffer to feed from, if any
    };
    // At the start of a round; takes a pending reset (and discards the ring before it).
    virtual Round beginRound(bool priming) = 0;
    // What to feed next; buffers to hand back for refilling are added to `used`.
    virtual Step nextStep(std::vector<AudioQueueBufferRef>& used) = 0;
    // `buffer` was fed whole: false when a stop or reset has handed it back meanwhile.
    virtual bool bufferFed(AudioQueueBufferRef buffer) = 0;

protected:
    ~FeedControl() = default;
};

class QueueFeeder {
public:
    struct Links {
        FeedControl& control;
        SpscRing<float>& ring;
        PlaybackTimeline& timeline;
        HeardClock& heard;
        QueueRender& render;
        const QueueParameters& parameters;
        const AudioDevice& device;
    };
    QueueFeeder(const Links& links, double fileRate, double deviceRate);

    // One round: returns the buffers it used up, for their callbacks.
    std::vector<AudioQueueBufferRef> pump(bool priming);

    double sourceFed() const { return publishedSourceFed.load(); }
    // A stop's end is being fed: a start can no longer take the stop back.
    bool endCommitted() const { return endFed.load(); }
    void commitEnd() { endFed.store(true); } // by the control, under its lock
    // The metronome mixed into what goes to the ring from the next block on; null: none.
    void setClick(std::shared_ptr<BeatClick> beats) { click.store(std::move(beats)); }

private:
    bool feedStep(std::size_t ringTargetFrames, std::vector<AudioQueueBufferRef>& used);
    bool feedFrom(AudioQueueBufferRef front);
    void prepareRun(); // a fresh stretcher run for a start
    void applyParameters();
    bool drainStretcher(std::size_t ringTargetFrames);
    // Stretcher output on its way to the device: `frames` frames of `interleaved`, the first
    // of them source frame `sourceStart`, get the metronome's clicks and go into the ring.
    void moveToRing(std::size_t frames, double sourceStart);

    Links links;
    const double deviceRate;
    std::mutex engineLock;
    TimePitchStage timePitch;
    std::size_t offsetInFront = 0;  // frames of the front buffer already fed
    bool prepared = false;          // the stretcher is padded and ready for the next start
    std::vector<float> interleaved; // output on its way to the ring
    std::atomic<double> publishedSourceFed{0};
    std::atomic<bool> endFed{false};
    std::atomic<std::shared_ptr<BeatClick>> click;
};

} // namespace platform
