#pragma once

// The object behind an AudioQueueRef: its thread, its buffers, the time/pitch stage and
// the ring to the output device. AudioQueue.cpp is the thin call layer in front of it.
//
// Threads and what each may touch:
// - Callers (main thread, or the queue thread from inside a callback): the control state
//   under `stateLock`, then a wake-up of the queue thread.
// - Queue thread: the stretcher and the feeding state under `engineLock` (a caller that
//   primes takes it too), the callbacks with no lock held. It sleeps until there is work:
//   a call, or the real-time thread finding the ring below its level.
// - Real-time thread (renderAudio): the ring's consumer side, atomics, and the wake-up.

#include "platform/audio_device/AudioDevice.h"
#include "platform/audio_device/WakeSignal.h"
#include "platform/audio_queue/AudioQueue.h"
#include "platform/audio_queue/BeatClick.h"
#include "platform/audio_queue/CountIn.h"
#include "platform/audio_queue/HeardClock.h"
#include "platform/audio_queue/PlaybackTimeline.h"
#include "platform/audio_queue/SpscRing.h"
#include "platform/time_pitch/TimePitchStage.h"

#include <atomic>
#include <deque>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace platform {
class QueueBuffer;
}

struct platform::OpaqueAudioQueue final : platform::AudioRenderSource {
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
        click.store(std::move(beats));
        return noErr;
    }
    OSStatus heardSampleTime(std::chrono::steady_clock::time_point time, double* out) const;

    // AudioRenderSource, real-time thread.
    std::uint32_t renderAudio(float* out, std::uint32_t frames) noexcept override;
    bool expectsToRender() const noexcept override;
    bool awaitsFirstCycle() const noexcept; // any thread

private:
    enum class RunState { Stopped, Running, Paused, Stopping };
    struct Listener {
        AudioQueuePropertyListenerProc proc;
        void* userData;
    };

    bool onQueueThread() const { return std::this_thread::get_id() == threadId.load(); }
    void threadMain();
    // One round of work for the queue thread (or a primer): feed the stretcher from the
    // enqueued buffers and move its output into the ring, up to the ring's target level.
    // Returns the buffers it used up, for their callbacks.
    std::vector<AudioQueueBufferRef> pump(bool priming);
    void prepareRunLocked(); // engineLock held: fresh stretcher run for a start
    void applyParametersLocked();
    bool drainStretcherLocked(std::size_t ringTargetFrames);
    void deliverCallbacks(const std::vector<AudioQueueBufferRef>& used);
    void deliverRunningEvents(const std::vector<bool>& values);
    void setRunning(bool running); // stateLock held: records the change for the listeners
    void returnFedLocked();        // stateLock held: the run is over, every fed buffer goes back
    void dropEnqueuedLocked();     // stateLock held: every enqueued buffer goes back unplayed
    bool ownsLocked(AudioQueueBufferRef buffer) const; // stateLock held
    void publishLeadInLocked(); // stateLock held: a start from stopped takes the lead-in
    std::uint32_t renderLeadIn(float* out, std::uint32_t frames) noexcept; // real-time thread

    // Fixed at creation.
    const double fileRate;
    const std::shared_ptr<AudioDevice> device;
    const double deviceRate;
    const AudioQueueOutputCallback outputCallback;
    void* const callbackUserData;

    // Control state (stateLock).
    mutable std::mutex stateLock;
    WakeSignal wake; // the queue thread sleeps on it
    RunState run = RunState::Stopped;
    std::deque<AudioQueueBufferRef> enqueued;
    std::size_t drainCount = 0; // buffers still to play out before a stop completes
    std::vector<std::unique_ptr<QueueBuffer>> buffers;
    std::vector<Listener> listeners;
    std::vector<bool> runningEvents;               // IsRunning changes not yet reported
    std::vector<AudioQueueBufferRef> callbacksDue; // left to the thread by a primer or a caller
    // Buffers fed to the stretcher whose callbacks are held back until their frames are
    // needed: the caller refills a buffer when it gets it back, so handing buffers back only
    // as the stretcher asks for input keeps the caller's reads close to what is heard, and a
    // seek in the caller's file is heard that much sooner.
    std::deque<AudioQueueBufferRef> fed;
    std::vector<AudioQueueBufferRef> handBack; // fed buffers of an ended run, still to return
    bool isRunningValue = false;
    bool stopPending = false;    // a stop asked for before the start it applies to
    bool resumeStopping = false; // paused while a stop played out: the next start resumes it
    bool resetRequested = false;
    bool quit = false;
    bool disposed = false;
    bool deleteOnExit = false; // disposed without joining: the thread frees the queue
    bool timePitchEnabled = false;
    std::uint32_t timePitchAlgorithm = kAudioQueueTimePitchAlgorithm_Spectral;
    AudioQueueLeadIn pendingLeadIn; // for the next start from stopped

    // Feeding state (engineLock).
    std::mutex engineLock;
    TimePitchStage timePitch;
    std::size_t offsetInFront = 0;  // frames of the front buffer already fed
    bool prepared = false;          // the stretcher is padded and ready for the next start
    std::vector<float> interleaved; // output on its way to the ring

    // Shared with the real-time thread.
    SpscRing<float> ring;
    PlaybackTimeline timeline;
    HeardClock heard{deviceRate};
    std::atomic<std::uint32_t> latencyFrames{0}; // the device's, copied for the real-time side
    std::atomic<bool> rtPlaying{false};
    std::atomic<std::uint64_t> endPosition{UINT64_MAX}; // ring position of the last sample
    std::atomic<float> volume{1.0f}, rate{1.0f}, pitchCents{0.0f};
    std::atomic<double> publishedSourceFed{0};
    std::atomic<bool> freshStart{true}; // no frame delivered since the last start
    // Set with resetRequested: what the ring holds may be from before a reset or stop, until
    // the queue thread has discarded it.
    std::atomic<bool> ringStale{false};
    // Device cycles rendered while playing, and their count when the current run started:
    // a run ends only once the device has rendered at least once since, as a hardware
    // queue's does. Without it a looped empty range would start and stop as fast as the
    // queue thread can turn, flooding the main thread with its news.
    std::atomic<std::uint64_t> renderCycles{0}, renderCyclesAtRunStart{0};
    std::atomic<bool> endCommitted{false}; // a stop's end is being fed (set under stateLock)
    // Frames the ring is kept filled to: what the device takes at a time, with room.
    std::atomic<std::uint32_t> ringTarget{0};
    // The metronome mixed into the stretcher's output on its way to the ring; null: none.
    std::atomic<std::shared_ptr<BeatClick>> click;
    // The lead-in of the run being started: published before rtPlaying, and taken by the
    // real-time thread when it sees a new generation (every start from stopped makes one).
    std::atomic<std::uint32_t> leadInFrames{0}, leadInBeatFrames{0}, leadInBeatsPerBar{4};
    std::atomic<std::uint64_t> leadInGeneration{0};
    // Real-time thread only.
    float rtGain = 1.0f;
    std::uint64_t rtLeadInGeneration = 0;
    std::uint32_t rtLeadInLeft = 0;
    CountIn rtCountIn;

    std::atomic<std::thread::id> threadId{};
    // The IsRunning value a listener being called on the queue thread is told about.
    int reportingRunning = -1; // queue thread only; -1 when no listener runs
    std::thread thread;
};
