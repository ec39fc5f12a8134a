#pragma once

// The looping player: plays the range [rangeStartFrame, rangeEndFrame) of one audio file
// through an output queue with time/pitch processing, reports its playhead at the display's
// pace (60 times a second) and, at the end of the range, either stops or starts the range
// again.
//
//   file read position ---> 3 queue buffers ---> time/pitch ---> device ---> heard
//   (up to 3000 frames ahead of what is heard, plus what the stretcher holds)
//
// playheadFrame counts frames since rangeStartFrame. It moves by the queue's own sample
// time at each timer tick: the time heard as the device's last cycle stamped it, carried on
// to the tick at the pace of the sound (AudioQueueGetHeardSampleTime), so the reported
// playhead is where the sound is, moves every tick and goes back only at a turn of the loop
// or a move of the playhead.
//
// States (playing / completed): Loaded (no / yes) after setAudioFile; Playing (yes / no);
// Paused (no / no); Draining (yes / yes) while the last buffers play out, and paused there
// (no / yes); Stopped (no / yes) after the queue has stopped. When the queue stops, the
// running-state listener goes back to the range start, drops whatever is queued, and either
// plays again (looped) or reports completion, whatever stopped it, so stop() on a looped
// player starts the range again.
//
// A looped range with no pause between passes turns without a stop: the output callback
// reads on from the range start when it reaches the range end, so the time/pitch stage
// never starts cold and the last frame of a pass is followed by the first of the next.
// The turn is noted at the queue time it was read at and reported (playhead back to the
// range start, loop pass to the delegate) once the queue's time says it is heard; a loop
// turned off in between ends playback at that turn instead (up to a tick late):
//
//   read    ...|end][start ... pass 2 ...              (noted: turn at queue time T)
//   heard   ............|end][start ...                (time reaches T: pass reported)
//
// A pause is always taken: isPlaying() is false when pause() returns, the queue holds
// where it is (also while the last buffers of a pass play out) and nothing restarts the
// player until play() or stop(). A pause that comes as the queue stops holds the player
// at the range start, with the pass reported and the pause between passes still to come.
// A move of the playhead while paused, stopped or playing out the range's end drops what
// the queue holds, so the next sound is the new place's.
//
// Threads:
// - Construct, destroy and call every public method on the main thread (the thread that
//   runs the Qt event loop the playhead timer needs), except where noted.
// - The queue's output callback and running-state listener run on the queue's thread;
//   the listener seeks, plays and asks for the timer from there, the timer itself is
//   always made and ended on the main thread. Every file read is made by the output
//   callback: play() only asks the queue's thread to fill the buffers, so no call here
//   waits for the file's storage.
// - The fields shared by those threads are atomics; the file's read position is shared
//   through the file, which serialises its own calls.
//
// Ownership: the player shares the audio file with its caller and owns the queue (made
// anew for each file) and the timer. The delegate is not owned.
//
// Failures of platform calls go through CheckError and end the process. Seeks, ranges and
// the playhead are held inside the file, so no command can lead to one.

#include "audio/KTAudioFile.h"
#include "platform/audio_queue/AudioQueue.h"
#include "platform/audio_queue/BeatClick.h"
#include "playback/KTAudioQueuePlayerDelegate.h"

#include <QObject>
#include <array>
#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

class QTimer;

class KTAudioQueuePlayer : public QObject {
    Q_OBJECT

public:
    static constexpr int kNumberBuffers = 3;
    static constexpr std::uint32_t kBufferFrames = 1000;
    static constexpr std::uint32_t kBytesPerFrame = 8;
    static constexpr std::uint32_t kBufferBytes = kBufferFrames * kBytesPerFrame;
    static constexpr int kPlaybackTimerMilliseconds = 16;
    // Frames over which the step where a pass joins the next is eased out (1.5 ms).
    static constexpr std::uint32_t kSeamFrames = 64;

    explicit KTAudioQueuePlayer(QObject* parent = nullptr);
    // A player whose queues play through `device` instead of the default output (an offline
    // device for rendering what would be heard).
    explicit KTAudioQueuePlayer(std::shared_ptr<platform::AudioDevice> device,
                                QObject* parent = nullptr);
    // Disposes of the queue and waits for its callbacks to end: do not destroy the player
    // while its delegate is blocked waiting for the main thread.
    ~KTAudioQueuePlayer() override;

    std::shared_ptr<KTAudioFile> audioFile() const { return audioFile_.load(); }
    // Takes the file and makes a new queue for it; the player is then Loaded with the
    // whole file as its range.
    void setAudioFile(std::shared_ptr<KTAudioFile> file);

    void play();
    void pause();
    void stop();
    void rewind(); // 2 seconds back
    void ffwd();   // 2 seconds forward

    void setPlaybackRate(double rate); // speed factor, 1.0 = normal
    void setPitchShift(float cents);   // pitch without change of speed
    void setVolume(double level);      // 1.0 = full gain, 0.0 about -27.4 dB

    // A pause between the passes of a looped range, with count-in clicks on the beats of
    // `countInBeatsPerMinute` (0: none) counted back from the next pass. The pause is
    // silence the queue plays after its time/pitch stage, so it keeps its length at any
    // speed; the player counts as playing throughout, and pause() holds it where it is.
    // 0 s (the default) starts the next pass at once. Any thread.
    void setPassPause(double seconds, double countInBeatsPerMinute);
    double passPauseSeconds() const { return passPause.load(); }
    double countInBeatsPerMinute() const { return countInTempo.load(); }

    // A metronome click on `beats` (file frames), mixed in after the time/pitch stage, so
    // each click falls where its beat is heard at any speed; at `level` (1: as loud as the
    // count-in, 0: off, the default, which leaves what is heard untouched). New beats take
    // over without a break in the sound. Kept across files. Any thread.
    void setClick(std::vector<platform::ClickBeat> beats, double level);
    double clickLevel() const { return click->level(); }

    // The absolute frame the playhead stands on. Any thread.
    double currentFrame() const;
    // Seeks the file; the playhead follows. Main thread, or the queue's thread outside the
    // player's callbacks.
    void setCurrentFrame(double frame);
    // The queue's sample time, truncated. Any thread.
    std::int32_t currentSampleTime() const;

    void setRangeStartFrameNumFrames(double start, double numFrames);
    std::int32_t rangeStartFrame() const { return rangeStartFrame_.load(); }
    void setRangeStartFrame(std::int32_t frame) { rangeStartFrame_.store(frame); }
    std::int32_t rangeEndFrame() const;
    bool isPlaybackComplete() const;

    bool isPlaying() const { return playing.load(); }
    void setPlaying(bool value) { playing.store(value); }
    bool isLooped() const { return looped.load(); }
    void setLooped(bool value) { looped.store(value); }
    bool isCompleted() const { return _completed.load(); }
    void setCompleted(bool value) { _completed.store(value); }

    KTAudioQueuePlayerDelegate* delegate() const { return delegate_.load(); }
    void setDelegate(KTAudioQueuePlayerDelegate* value) { delegate_.store(value); }
    // How often the delegate hears of the playhead while playing: at the display's pace
    // unless set, so a playhead drawn from the reports moves with the sound. A caller that
    // draws nothing may ask for fewer wake-ups. Main thread; taken at the next play.
    void setPlayheadReportInterval(int milliseconds) { reportMilliseconds = milliseconds; }

    // (Re)creates the queue for the current file.
    void setupAudioQueue();
    // Start and end the playhead timer; from the queue's thread they are carried out on
    // the main thread, in the order they were asked for.
    void startPlaybackTimer();
    void stopPlaybackTimer();
    // One timer tick. Main thread.
    void playbackTimerCallback();

    // For diagnostics (benchmarks, tests): the current queue, null before setAudioFile.
    platform::AudioQueueRef audioQueue() const { return queue.load(); }
    // Passes that began without a stop of the queue, counted as they are heard. Any thread.
    std::uint64_t turnsWithoutStop() const { return seamlessTurns.load(); }
    // Stops whose news came after a play had started the range again: not reported, as the
    // player plays on. Any thread.
    std::uint64_t stopsOvertakenByPlay() const { return overtakenStops.load(); }

    // Called on the queue's thread each time the range is about to be read again for a new
    // pass (with or without a stop), before it is heard, with the player's lock held: it
    // may set the loop flag and nothing else. Clearing the flag there makes the pass
    // starting the last. Set it before play().
    void setPassReadObserver(std::function<void()> observer) { passRead = std::move(observer); }

    // The queue's callbacks, with the player as user data.
    static void outputCallback(void* userData, platform::AudioQueueRef queue,
                               platform::AudioQueueBufferRef buffer);
    static void isRunningListener(void* userData, platform::AudioQueueRef queue,
                                  platform::AudioQueuePropertyID property);

private:
    // play() on `q`: the current queue, or the listener's own. `asked`: by the user, which
    // ends a pause's hold; the listener's restart is not taken while one holds.
    void playQueue(platform::AudioQueueRef q, bool asked);
    // With the gate's lock held: moves the read position and the playhead to `frame`.
    void moveReadPositionLocked(std::int64_t frame);
    // The same, dropping what the queue holds unless it plays on (seekLocked's comment).
    void seekLocked(std::int64_t frame);
    void runOnMainThread(void (KTAudioQueuePlayer::*step)());
    void startTimerOnMainThread();
    void stopTimerOnMainThread();
    platform::OSStatus seekFile(std::int64_t frame) const;
    // `frame`, truncated, within [0, totalFrames] of the current file.
    std::int64_t insideFile(double frame) const;
    // With the gate's lock held, at the range end: goes on from the range start if the loop
    // turns without a stop, noting the turn. False when the queue is to stop instead.
    bool turnWithoutStopLocked();
    // With the gate's lock held: the queue's time starts again at 0 (a start from stopped,
    // a reset), and no turn read before is still to come.
    void restartQueueTimeLocked();
    // With the gate's lock held, on `count` frames just read: eases the join of a turn
    // into them, and keeps their last frame for the next join.
    void joinSeamLocked(float* frames, std::uint32_t count);
    // Moves the playhead by the queue's time and takes the turns now heard; reports them
    // to the delegate. From the queue's thread (`calling`) or the main thread (the timer).
    void followHeardPosition(platform::AudioQueueRef calling);

    const std::shared_ptr<platform::AudioDevice> outputDevice; // null: the default output
    std::atomic<platform::AudioQueueRef> queue{nullptr};
    std::array<platform::AudioQueueBufferRef, kNumberBuffers> buffers{};
    QTimer* playbackTimer = nullptr;                     // main thread only
    int reportMilliseconds = kPlaybackTimerMilliseconds; // main thread only
    std::atomic<std::int32_t> playheadFrame{0};
    std::atomic<std::int32_t> rangeStartFrame_{0};
    std::atomic<std::int32_t> rangeNumFrames{0};
    std::atomic<std::int32_t> lastSampleTime{0};
    std::atomic<bool> playing{false};
    std::atomic<bool> looped{false};
    std::atomic<bool> _completed{false};
    std::atomic<bool> held{false};         // paused by the user: no restart until play()
    std::atomic<bool> queueStarted{false}; // started, and its stop not yet heard
    std::atomic<std::uint64_t> seeks{0};   // moves of the read position, for reads under way
    std::atomic<double> passPause{0.0};
    std::atomic<double> countInTempo{0.0};
    std::atomic<std::shared_ptr<KTAudioFile>> audioFile_;
    std::atomic<KTAudioQueuePlayerDelegate*> delegate_{nullptr};

    // The queue whose callbacks may still act on the player. A queue being replaced can
    // have a callback under way on its own thread; from setAudioFile on it must neither
    // enqueue what it read nor seek, stop or restart playback. The callbacks check under
    // the gate's lock before each such step, and never hold it across a file read, so
    // setAudioFile never waits for a read (a file on a share that stopped answering). The
    // gate is shared with the callbacks: a read that outlives the player finds no live
    // queue in it when it returns, rather than freed memory.
    struct CallbackGate {
        std::mutex lock;
        std::atomic<platform::AudioQueueRef> liveQueue{nullptr};
    };
    const std::shared_ptr<CallbackGate> gate = std::make_shared<CallbackGate>();
    // The live queue's buffers the player holds unfilled (the range was used up, or the
    // player stopped); the next play has the queue's thread fill them. Under the gate's lock.
    std::vector<platform::AudioQueueBufferRef> idle;
    // Under the gate's lock: source frames enqueued since the queue's time last started
    // from 0, the queue times at which passes read without a stop begin (not yet heard),
    // and the queue time of the last such turn read (-1: none since the restart).
    std::int64_t framesEnqueued = 0;
    struct Turn {
        std::int64_t queueTime;
        bool loopGoesOn; // the loop flag just after the turn was read
    };
    std::deque<Turn> turnsAhead;
    std::int64_t lastTurnRead = -1;
    bool seamPending = false;        // the next frames read begin a pass read without a stop
    float lastFramesRead[2][2] = {}; // the last two frames read, oldest first
    std::atomic<std::uint64_t> seamlessTurns{0};
    std::atomic<std::uint64_t> overtakenStops{0};
    std::function<void()> passRead; // set before play, called on the queue's thread
    // Given every queue; told under the gate's lock what is enqueued at which queue time.
    const std::shared_ptr<platform::BeatClick> click = std::make_shared<platform::BeatClick>();
};
