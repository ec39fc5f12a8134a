#pragma once

// The object behind an AudioQueueRef. AudioQueue.cpp is the thin call layer in front of
// it; this wires the queue's parts together and runs its thread:
//
//   caller ---calls---> control state (stateLock): RunStateMachine + QueueBufferPool
//                              ^ one step at a time (FeedControl)
//   queue thread ------> QueueFeeder (its own lock) --> ring --> QueueRender <-- device
//                        callbacks and IsRunning news, with no lock held
//
// Threads and what each may touch:
// - Callers (main thread, or the queue thread from inside a callback): the control state
//   under `stateLock`, then a wake-up of the queue thread. A caller that primes runs a
//   feeder round itself.
// - Queue thread: takes the callbacks and news due under `stateLock`, delivers them with no
//   lock held, then runs a feeder round. It sleeps until there is work: a call, or the
//   real-time thread finding the ring below its level.
// - Real-time thread (renderAudio): QueueRender only: the ring's consumer side, atomics,
//   and the wake-up.
// Lock order: the feeder's lock, then `stateLock` (the feeder asks the control state while
// it feeds). Nothing holding `stateLock` calls QueueFeeder::pump(). The timeline's and the
// metronome's own locks are innermost: nothing is called while they are held.

#include "platform/audio_device/AudioDevice.h"
#include "platform/audio_device/WakeSignal.h"
#include "platform/audio_queue/AudioQueue.h"
#include "platform/audio_queue/HeardClock.h"
#include "platform/audio_queue/PlaybackTimeline.h"
#include "platform/audio_queue/QueueBufferPool.h"
#include "platform/audio_queue/QueueFeeder.h"
#include "platform/audio_queue/QueueParameters.h"
#include "platform/audio_queue/QueueRender.h"
#include "platform/audio_queue/RunStateMachine.h"
#include "platform/audio_queue/SpscRing.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

struct platform::OpaqueAudioQueue final : platform::AudioRenderSource, platform::FeedControl {
    OpaqueAudioQueue(double fileRate, std::shared_ptr<AudioDevice> device,
                     AudioQueueOutputCallback callback, void* userData);
    ~OpaqueAudioQueue() override;

    // The call layer.
    OSStatus dispose(bool immediate);
    OSStatus allocateBuffer(std::uint32_t bytes, AudioQueueBufferRef* out);
    OSStatus freeBuffer(AudioQueueBufferRef buffer);
    OSStatus enqueue(AudioQueueBufferRef buffer);
    OSStatus start();
    OSStatus pause();
    OSStatus stop(bool immediate);
    OSStatus reset();
    OSStatus requestFill(AudioQueueBufferRef buffer);
    OSStatus prime(std::uint32_t* outFramesPrepared);
    OSStatus setParameter(AudioQueueParameterID parameter, float value);
    OSStatus getParameter(AudioQueueParameterID parameter, float* value) const;
    OSStatus setProperty(AudioQueuePropertyID property, const void* data, std::uint32_t size);
    OSStatus getProperty(AudioQueuePropertyID property, void* data, std::uint32_t* size) const;
    OSStatus addListener(AudioQueuePropertyID property, AudioQueuePropertyListenerProc proc,
                         void* userData);
    OSStatus removeListener(AudioQueuePropertyID property, AudioQueuePropertyListenerProc proc,
                            void* userData);
    OSStatus currentTime(AudioTimeStamp* out);
    OSStatus setLeadIn(const AudioQueueLeadIn& leadIn);
    OSStatus setClick(std::shared_ptr<BeatClick> beats) {
        feeder.setClick(std::move(beats));
        return noErr;
    }
    OSStatus heardSampleTime(std::chrono::steady_clock::time_point time, double* out) const;

    // AudioRenderSource, real-time thread.
    std::uint32_t renderAudio(float* out, std::uint32_t frames) noexcept override {
        return render.render(out, frames);
    }
    bool expectsToRender() const noexcept override { return render.expectsToRender(); }
    bool awaitsFirstCycle() const noexcept { return render.awaitsFirstCycle(); } // any thread

private:
    // FeedControl: the feeder's questions, answered under stateLock (QueueThread.cpp).
    Round beginRound(bool priming) override;
    Step nextStep(std::vector<AudioQueueBufferRef>& used) override;
    bool bufferFed(AudioQueueBufferRef buffer) override;

    bool onQueueThread() const { return std::this_thread::get_id() == threadId.load(); }
    void threadMain();
    void finishStopIfHeard(); // stateLock held
    void deliverCallbacks(const std::vector<AudioQueueBufferRef>& used);
    void deliverRunningEvents(const std::vector<bool>& values);

    // Fixed at creation.
    const double fileRate;
    const std::shared_ptr<AudioDevice> device;
    const double deviceRate;
    const AudioQueueOutputCallback outputCallback;
    void* const callbackUserData;

    // Control state (stateLock).
    mutable std::mutex stateLock;
    WakeSignal wake; // the queue thread sleeps on it
    RunStateMachine runState;
    QueueBufferPool pool;
    AudioQueueLeadIn pendingLeadIn; // for the next start from stopped
    bool quit = false;
    bool disposed = false;
    bool deleteOnExit = false; // disposed without joining: the thread frees the queue
    // The IsRunning value a listener being called on the queue thread is told about.
    int reportingRunning = -1; // written on the queue thread only; -1 when no listener runs

    // Shared between the parts; each says who touches it from which thread.
    QueueParameters parameters;
    SpscRing<float> ring;
    PlaybackTimeline timeline;
    HeardClock heard{deviceRate};
    QueueRender render;
    QueueFeeder feeder;

    std::atomic<std::thread::id> threadId{};
    std::thread thread;
};
