#pragma once

// A pull-model output queue with the calls and values of the audio-queue service: the
// caller allocates buffers, fills them with interleaved stereo float frames and enqueues
// them; the queue hands each buffer back through the output callback once it has taken
// its frames, plays them through a time/pitch stage (Rubber Band, real-time mode, R3
// engine) into the output device, and reports start and stop through the running-state
// listener.
//
// Timing, from the caller's buffers to the ear:
//
//   enqueued buffers --> Rubber Band --> output ring --> device --> heard
//   (queue thread feeds it on demand)    (real-time thread drains it)
//
// AudioQueueGetCurrentTime gives mSampleTime in source frames as they are heard since the
// queue last started from stopped or was reset: the frames fed, minus those still inside
// Rubber Band, the output ring and the device. It holds still while paused.
//
// Threads:
// - Each queue has a thread of its own (the queue thread). The output callback and the
//   property listener run there, never on the device's real-time thread, and they may call
//   back into any function here.
// - The real-time thread only takes frames from a lock-free ring and reads atomics.
// - Every function may be called from any thread except the real-time one. A function
//   called from inside a callback never waits for the queue thread.
//
// Buffers: a buffer the queue has taken (enqueued, played, dropped by a stop or a reset, or
// asked for with AudioQueueRequestFill) comes back through the output callback exactly
// once, and until then the queue holds it: enqueueing it again is refused.
//
// Ownership: AudioQueueNewOutput makes the queue; AudioQueueDispose ends it and frees its
// buffers. The caller owns nothing inside the buffers but their bytes.

#include "platform/audio_file/AudioTypes.h"

#include <chrono>
#include <cstdint>
#include <memory>

namespace platform {

class AudioDevice;
class BeatClick;

struct OpaqueAudioQueue;
using AudioQueueRef = OpaqueAudioQueue*;

struct AudioQueueBuffer {
    const std::uint32_t mAudioDataBytesCapacity;
    void* const mAudioData;
    std::uint32_t mAudioDataByteSize;
    void* mUserData;
};
using AudioQueueBufferRef = AudioQueueBuffer*;

struct AudioTimeStamp {
    double mSampleTime = 0;
    std::uint64_t mHostTime = 0; // steady-clock nanoseconds of the reading
    double mRateScalar = 1.0;
    std::uint32_t mFlags = 0;
};
constexpr std::uint32_t kAudioTimeStampSampleTimeValid = 1;
constexpr std::uint32_t kAudioTimeStampHostTimeValid = 2;

using AudioQueuePropertyID = std::uint32_t;
using AudioQueueParameterID = std::uint32_t;
using AudioQueueParameterValue = float;
using AudioQueueTimelineRef = void*;
using Boolean = unsigned char;

// UInt32, read only: 1 from start until the queue has stopped.
constexpr AudioQueuePropertyID kAudioQueueProperty_IsRunning = fourCharCode("aqrn");
// UInt32: 1 switches the time/pitch stage on (rate and pitch act only then).
constexpr AudioQueuePropertyID kAudioQueueProperty_EnableTimePitch = fourCharCode("q_tp");
// UInt32: one of the algorithms below.
constexpr AudioQueuePropertyID kAudioQueueProperty_TimePitchAlgorithm = fourCharCode("qtpa");
constexpr std::uint32_t kAudioQueueTimePitchAlgorithm_Spectral = fourCharCode("spec");

// Linear gain, 0 to 1 (more is allowed and amplifies).
constexpr AudioQueueParameterID kAudioQueueParam_Volume = 1;
// Speed factor without pitch change, 1/32 to 32.
constexpr AudioQueueParameterID kAudioQueueParam_PlayRate = 2;
// Pitch shift in cents without speed change, -2400 to 2400.
constexpr AudioQueueParameterID kAudioQueueParam_Pitch = 3;

constexpr OSStatus kAudioQueueErr_InvalidBuffer = -66687;
constexpr OSStatus kAudioQueueErr_InvalidParameter = -66678;
constexpr OSStatus kAudioQueueErr_InvalidProperty = -66680;
constexpr OSStatus kAudioQueueErr_InvalidPropertySize = -66679;
constexpr OSStatus kAudioQueueErr_InvalidRunState = -66671;
constexpr OSStatus kAudioQueueErr_InvalidDevice = -66683;
constexpr OSStatus kAudioQueueErr_BufferInQueue = -66684;
constexpr OSStatus kAudioQueueErr_DisposalPending = -66669;
constexpr OSStatus kAudioFormatUnsupportedDataFormatError = statusCode("fmt?");

using AudioQueueOutputCallback = void (*)(void* userData, AudioQueueRef queue,
                                          AudioQueueBufferRef buffer);
using AudioQueuePropertyListenerProc = void (*)(void* userData, AudioQueueRef queue,
                                                AudioQueuePropertyID property);

// Only `stereoFloatFormat(rate)` is accepted. The callbacks always run on the queue's own
// thread, so `runLoop` must be null; `runLoopMode` and `flags` are ignored. The queue plays
// through defaultAudioDevice().
OSStatus AudioQueueNewOutput(const AudioStreamBasicDescription* format,
                             AudioQueueOutputCallback callback, void* userData, void* runLoop,
                             const void* runLoopMode, std::uint32_t flags, AudioQueueRef* outQueue);

// Beyond the audio-queue service: a queue that plays through `device` rather than the
// default one, so that a loop can be rendered through an offline device while the window
// plays on through the real one.
OSStatus AudioQueueNewOutputOnDevice(const AudioStreamBasicDescription* format,
                                     AudioQueueOutputCallback callback, void* userData,
                                     std::shared_ptr<AudioDevice> device, AudioQueueRef* outQueue);

// immediate: stops at once, and returns only when no callback of this queue runs any more
// (unless called from one). Not immediate: stops at once, returns without waiting; a
// callback already running finishes, none starts after this call.
OSStatus AudioQueueDispose(AudioQueueRef queue, bool immediate);

OSStatus AudioQueueAllocateBuffer(AudioQueueRef queue, std::uint32_t bytes,
                                  AudioQueueBufferRef* outBuffer);
OSStatus AudioQueueFreeBuffer(AudioQueueRef queue, AudioQueueBufferRef buffer);

// Packet descriptions are not used for linear PCM and must be absent.
OSStatus AudioQueueEnqueueBuffer(AudioQueueRef queue, AudioQueueBufferRef buffer,
                                 std::uint32_t numPacketDescriptions,
                                 const void* packetDescriptions);

// Starts, or resumes after a pause. `startTime` must be null (as soon as possible).
OSStatus AudioQueueStart(AudioQueueRef queue, const AudioTimeStamp* startTime);
// Holds the queue where it is, also while a stop plays out (the play-out then goes on at
// the next start).
OSStatus AudioQueuePause(AudioQueueRef queue);
// immediate: silence at once and drop what is enqueued. Not immediate: the buffers
// enqueued so far play out first, then the queue stops; buffers enqueued after this call
// wait for the next start.
OSStatus AudioQueueStop(AudioQueueRef queue, bool immediate);
// Drops everything enqueued and everything fed from it (what the time/pitch stage holds
// and what waits for the device) and hands each buffer back; the queue stays running,
// paused or stopped, and a stop under way is dropped with what it was playing out. The
// clock reads 0 until the first frame enqueued after the reset is heard.
OSStatus AudioQueueReset(AudioQueueRef queue);
// Runs the enqueued frames through the time/pitch stage ahead of a start, so the first
// frame is heard as soon as the queue starts. `framesToPrepare` 0 means all that fits.
OSStatus AudioQueuePrime(AudioQueueRef queue, std::uint32_t framesToPrepare,
                         std::uint32_t* outFramesPrepared);

OSStatus AudioQueueSetParameter(AudioQueueRef queue, AudioQueueParameterID parameter,
                                AudioQueueParameterValue value);
OSStatus AudioQueueGetParameter(AudioQueueRef queue, AudioQueueParameterID parameter,
                                AudioQueueParameterValue* outValue);

OSStatus AudioQueueSetProperty(AudioQueueRef queue, AudioQueuePropertyID property, const void* data,
                               std::uint32_t dataSize);
OSStatus AudioQueueGetProperty(AudioQueueRef queue, AudioQueuePropertyID property, void* outData,
                               std::uint32_t* ioDataSize);
OSStatus AudioQueueAddPropertyListener(AudioQueueRef queue, AudioQueuePropertyID property,
                                       AudioQueuePropertyListenerProc listener, void* userData);
OSStatus AudioQueueRemovePropertyListener(AudioQueueRef queue, AudioQueuePropertyID property,
                                          AudioQueuePropertyListenerProc listener, void* userData);

// Beyond the audio-queue service: the output callback is called for `buffer`, which the
// caller holds, on the queue's own thread as soon as that thread is free. A caller has its
// first buffers filled this way, so that its reads are made on the queue's thread and
// never on its own.
OSStatus AudioQueueRequestFill(AudioQueueRef queue, AudioQueueBufferRef buffer);

// `timeline` must be null. `outTimeStamp->mSampleTime`: see the timing note above.
OSStatus AudioQueueGetCurrentTime(AudioQueueRef queue, AudioQueueTimelineRef timeline,
                                  AudioTimeStamp* outTimeStamp, Boolean* outDiscontinuity);

// Beyond the audio-queue service: a lead-in of silence before the next run, with count-in
// clicks in it (CountIn.h). It is rendered after the time/pitch stage, so neither its
// length nor its clicks change with the play rate, and it holds still while the queue is
// paused. It applies to the next start from stopped only; a start without one has none.
// The clock stands at the run's first source frame throughout.
struct AudioQueueLeadIn {
    double seconds = 0;
    double beatsPerMinute = 0; // 0: silence only
    std::uint32_t beatsPerBar = 4;
};
OSStatus AudioQueueSetLeadIn(AudioQueueRef queue, const AudioQueueLeadIn& leadIn);

// Beyond the audio-queue service: a metronome click on the beats of the caller's file
// (BeatClick.h), mixed into the output after the time/pitch stage, so that it keeps its
// sound at any rate and pitch and each click falls where its beat is heard. The caller
// notes in `click` which file frames it enqueues, restarts it whenever the sample time
// starts again from 0, and sets its beats and level at any time; level 0 leaves the output
// untouched. Null (the default) takes it off. Any thread but the real-time one.
OSStatus AudioQueueSetClick(AudioQueueRef queue, std::shared_ptr<BeatClick> click);

// Beyond the audio-queue service: the sample time (as AudioQueueGetCurrentTime counts it)
// heard at `time`, carried on from what the device's last cycle took at the pace it plays
// the source, so that it moves smoothly between cycles (HeardClock.h).
// kAudioQueueErr_InvalidRunState while nothing of the current run has been heard; the
// current time is the answer then. Any thread.
OSStatus AudioQueueGetHeardSampleTime(AudioQueueRef queue,
                                      std::chrono::steady_clock::time_point time,
                                      double* outSampleTime);

} // namespace platform
