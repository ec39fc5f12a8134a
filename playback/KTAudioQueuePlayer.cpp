#include "playback/KTAudioQueuePlayer.h"

#include "audio/CheckError.h"
#include "platform/log/Log.h"

#include <QCoreApplication>
#include <QThread>
#include <QTimer>
#include <algorithm>
#include <cmath>
#include <utility>

using namespace platform;

namespace {
// The volume curve: linear in decibels, level 1 at unity gain, level 0 at about -27.39 dB.
constexpr double kVolumeCurveExponent = 3.1534023932147273;
constexpr double kVolumeCurveScale = 0.04270657483438783;
constexpr double kMaxPassPauseSeconds = 10.0;
} // namespace

KTAudioQueuePlayer::KTAudioQueuePlayer(QObject* parent) : QObject(parent) {}

KTAudioQueuePlayer::KTAudioQueuePlayer(std::shared_ptr<platform::AudioDevice> device,
                                       QObject* parent)
    : QObject(parent), outputDevice(std::move(device)) {}

KTAudioQueuePlayer::~KTAudioQueuePlayer() {
    {
        // A replaced queue's read still under way finds no live queue when it returns.
        std::lock_guard guard(gate->lock);
        gate->liveQueue.store(nullptr);
    }
    if (AudioQueueRef q = queue.exchange(nullptr))
        AudioQueueDispose(q, true);
}

void KTAudioQueuePlayer::setAudioFile(std::shared_ptr<KTAudioFile> file) {
    {
        std::lock_guard guard(gate->lock);
        gate->liveQueue.store(nullptr);
    }
    const std::int32_t total = file ? std::int32_t(file->totalFrames()) : 0;
    audioFile_.store(std::move(file));
    setCompleted(true);
    setPlaying(false);
    held.store(false);
    {
        std::lock_guard guard(gate->lock);
        restartQueueTimeLocked();
    }
    playheadFrame.store(0);
    rangeStartFrame_.store(0);
    rangeNumFrames.store(total);
    stopPlaybackTimer();
    setupAudioQueue();
}

OSStatus KTAudioQueuePlayer::seekFile(std::int64_t frame) const {
    // The shared pointer keeps the file open across the call, whatever replaces it.
    const std::shared_ptr<KTAudioFile> file = audioFile_.load();
    return file ? ExtAudioFileSeek(file->extAudioFile(), frame) : noErr;
}

void KTAudioQueuePlayer::setupAudioQueue() {
    if (AudioQueueRef old = queue.load())
        CheckError(AudioQueueDispose(old, false), "AudioQueueDispose");
    const std::shared_ptr<KTAudioFile> file = audioFile_.load();
    const AudioStreamBasicDescription format =
        file ? file->outputFormat() : AudioStreamBasicDescription{};
    AudioQueueRef made = nullptr;
    CheckError(outputDevice
                   ? AudioQueueNewOutputOnDevice(&format, &KTAudioQueuePlayer::outputCallback, this,
                                                 outputDevice, &made)
                   : AudioQueueNewOutput(&format, &KTAudioQueuePlayer::outputCallback, this,
                                         nullptr, nullptr, 0, &made),
               "AudioQueueNewOutput failed");
    queue.store(made);

    const std::uint32_t enable = 1;
    CheckError(
        AudioQueueSetProperty(made, kAudioQueueProperty_EnableTimePitch, &enable, sizeof enable),
        "Failed to enable time/pitch");
    const std::uint32_t algorithm = kAudioQueueTimePitchAlgorithm_Spectral;
    CheckError(AudioQueueSetProperty(made, kAudioQueueProperty_TimePitchAlgorithm, &algorithm,
                                     sizeof algorithm),
               "Failed to choose time/pitch algorithm");
    AudioQueueSetClick(made, click);
    AudioQueueAddPropertyListener(made, kAudioQueueProperty_IsRunning,
                                  &KTAudioQueuePlayer::isRunningListener, this);
    for (AudioQueueBufferRef& buffer : buffers)
        CheckError(AudioQueueAllocateBuffer(made, kBufferBytes, &buffer),
                   "AudioQueueAllocateBuffer failed");
    std::lock_guard guard(gate->lock);
    idle.assign(buffers.begin(), buffers.end());
    queueStarted.store(false);
    gate->liveQueue.store(made);
}

void KTAudioQueuePlayer::outputCallback(void* userData, AudioQueueRef calling,
                                        AudioQueueBufferRef buffer) {
    auto* player = static_cast<KTAudioQueuePlayer*>(userData);
    // Taken first: a read may outlive the player (on a share that stopped answering), and
    // what the callback does after it goes through these.
    const std::shared_ptr<CallbackGate> gate = player->gate;
    // A turn of the loop read earlier may be heard by now; the main thread's timer may be
    // slow to come, or not run at all (a render on a thread of its own).
    player->followHeardPosition(calling);
    // Callbacks run one at a time on the queue's thread; the read may wait as long as the
    // file's storage does, so the player's state is not locked across it. The player's
    // state is read under the gate with the check, so a callback of a replaced queue never
    // reads (and moves the read position of) the new file, and one whose read outlives the
    // player touches nothing of it after the read.
    for (;;) {
        // Held for the whole read: the file must outlive it even if it is replaced.
        std::shared_ptr<KTAudioFile> audioFile;
        std::uint32_t toRead = 0;
        std::uint64_t seeksAtTell = 0;
        std::int64_t position = 0;
        {
            std::lock_guard guard(gate->lock);
            if (calling != gate->liveQueue.load())
                return;
            if (player->isCompleted()) {
                // Nothing to read until the next play, which has it filled again.
                player->idle.push_back(buffer);
                return;
            }
            audioFile = player->audioFile_.load();
            seeksAtTell = player->seeks.load();
            CheckError(ExtAudioFileTell(audioFile ? audioFile->extAudioFile() : nullptr, &position),
                       "ExtAudioFileTell");
            if (position == player->rangeEndFrame() && player->turnWithoutStopLocked())
                continue;
            // Unsigned on purpose: a read position past the range end gives a huge count, so
            // a full buffer is read rather than none, until the file itself runs out.
            const auto frames = std::uint32_t(player->rangeEndFrame() - std::int32_t(position));
            toRead = std::min(frames, kBufferFrames);
        }
        if (toRead != 0) {
            AudioBufferList list;
            list.mNumberBuffers = 1;
            list.mBuffers[0].mNumberChannels = 2;
            list.mBuffers[0].mDataByteSize = toRead * kBytesPerFrame;
            list.mBuffers[0].mData = buffer->mAudioData;
            CheckError(
                ExtAudioFileRead(audioFile ? audioFile->extAudioFile() : nullptr, &toRead, &list),
                "ExtAudioFileRead failed");
        }
        // A new file given to the player during the read: what was read belongs to no one.
        std::lock_guard guard(gate->lock);
        if (calling != gate->liveQueue.load())
            return;
        // The read position moved during the read: what was read is from before the move,
        // so the buffer is read again from where it now is.
        if (player->seeks.load() != seeksAtTell)
            continue;
        if (toRead > 0) {
            player->joinSeamLocked(static_cast<float*>(buffer->mAudioData), toRead);
            player->click->noteRead(player->framesEnqueued, position, toRead);
            player->framesEnqueued += toRead;
            buffer->mAudioDataByteSize = toRead * kBytesPerFrame;
            AudioQueueEnqueueBuffer(calling, buffer, 0, nullptr);
            return;
        }
        // The range is used up: what is enqueued still plays out before the queue stops.
        player->setCompleted(true);
        player->idle.push_back(buffer);
        AudioQueueStop(calling, false);
        return;
    }
}

void KTAudioQueuePlayer::isRunningListener(void* userData, AudioQueueRef queue,
                                           AudioQueuePropertyID) {
    auto* player = static_cast<KTAudioQueuePlayer*>(userData);
    if (queue != player->gate->liveQueue.load())
        return; // a replaced queue's last word: the player has moved on to another file
    std::uint32_t running = 0;
    std::uint32_t size = sizeof running;
    CheckError(AudioQueueGetProperty(queue, kAudioQueueProperty_IsRunning, &running, &size),
               "Get property: isRunning");
    if (running) {
        player->startPlaybackTimer();
        return;
    }
    // Whatever stopped the queue, the range end or stop(), the player goes back to the
    // range start with nothing queued; a looped player then plays again, unless a pause
    // came first. Each step on the player is taken under the gate's lock with the queue
    // still the live one: a new file given to the player meanwhile must not be sought,
    // marked stopped or started by the old queue's news. The delegate hears it outside the
    // lock, as it may wait for the main thread.
    {
        std::lock_guard guard(player->gate->lock);
        if (queue != player->gate->liveQueue.load())
            return;
        // A play after stop() starts the queue before this news of the stop arrives: the
        // player is then playing a fresh range, which the news must not undo. (At the range
        // end the player still reads as playing, but as completed.)
        if (player->isPlaying() && !player->isCompleted()) {
            player->overtakenStops.fetch_add(1);
            return;
        }
        player->queueStarted.store(false);
        player->stopPlaybackTimer();
        player->setCompleted(true);
        player->seekLocked(player->rangeStartFrame());
        AudioQueueReset(queue);
        player->setPlaying(false);
    }
    if (player->isLooped()) {
        if (KTAudioQueuePlayerDelegate* delegate = player->delegate())
            delegate->playerDidCompleteLoopPass(player);
        if (player->passRead) {
            std::lock_guard guard(player->gate->lock);
            player->passRead();
        }
        if (const double pause = player->passPause.load(); pause > 0)
            AudioQueueSetLeadIn(queue, {pause, player->countInTempo.load(), 4});
        player->playQueue(queue, false);
    } else if (KTAudioQueuePlayerDelegate* delegate = player->delegate()) {
        delegate->playerDidCompletePlayback(player);
    }
}

void KTAudioQueuePlayer::play() {
    playQueue(queue.load(), true);
}

// From the listener, `q` may be replaced by a new file at any step, and the user may pause
// just before: the restart is taken only while `q` is still the live queue and no pause
// holds the player. Everything here is under the gate's lock; no file is read here: the
// queue's thread fills the buffers.
void KTAudioQueuePlayer::playQueue(AudioQueueRef q, bool asked) {
    std::lock_guard guard(gate->lock);
    if (!q || q != gate->liveQueue.load())
        return;
    if (asked)
        held.store(false);
    else if (held.load())
        return;
    if (isPlaying())
        return;
    if (!queueStarted.load() && isCompleted()) {
        // Stopped with nothing queued: the buffers are filled from the read position on.
        restartQueueTimeLocked(); // the queue's time starts again at 0 after a stop
        setCompleted(false);
        for (AudioQueueBufferRef buffer : idle)
            CheckError(AudioQueueRequestFill(q, buffer), "AudioQueueRequestFill");
        idle.clear();
    }
    CheckError(AudioQueueStart(q, nullptr), "AudioQueueStart failed");
    queueStarted.store(true);
    setPlaying(true);
}

// Taken whenever it comes: while the last buffers of a range play out the queue holds
// them, and when the queue has already stopped the listener leaves the player at the range
// start instead of playing it again.
void KTAudioQueuePlayer::pause() {
    std::lock_guard guard(gate->lock);
    held.store(true);
    if (!isPlaying())
        return;
    CheckError(AudioQueuePause(queue.load()), "AudioQueuePause failed");
    setPlaying(false);
}

// Silent at once; the listener then moves to the range start and plays it again if looped.
// What comes back from the queue is not filled until the next play.
void KTAudioQueuePlayer::stop() {
    log("player:stop");
    if (isPlaying() && playbackTimer) {
        playbackTimer->stop();
        playbackTimer->deleteLater();
        playbackTimer = nullptr;
    }
    std::lock_guard guard(gate->lock);
    held.store(false);
    setCompleted(true);
    if (AudioQueueRef q = queue.load())
        AudioQueueStop(q, true);
    // The stop gives every buffer back: a play before the queue's news of it fills them
    // afresh from the range start.
    queueStarted.store(false);
    moveReadPositionLocked(rangeStartFrame_.load());
    restartQueueTimeLocked();
    setPlaying(false);
}

void KTAudioQueuePlayer::rewind() {
    const std::shared_ptr<KTAudioFile> file = audioFile_.load();
    const double amount = file ? file->outputFormat().mSampleRate * 2 : 0;
    auto frame = std::int32_t(double(playheadFrame.load()) - amount);
    if (frame < 0)
        frame = 0;
    {
        std::lock_guard guard(gate->lock);
        seekLocked(std::int64_t(frame) + rangeStartFrame_.load());
    }
    if (!isPlaying())
        if (KTAudioQueuePlayerDelegate* d = delegate())
            d->playerDidMovePlayheadToFrame(this, int(currentFrame()));
}

void KTAudioQueuePlayer::ffwd() {
    const std::shared_ptr<KTAudioFile> file = audioFile_.load();
    const double amount = file ? file->outputFormat().mSampleRate * 2 : 0;
    auto frame = std::int32_t(double(playheadFrame.load()) + amount);
    // Strictly greater: a playhead landing exactly on the range length stays there.
    if (frame > rangeNumFrames.load())
        frame = rangeNumFrames.load() - 1;
    // An empty range at the file's start would put the playhead one frame before the file,
    // where no seek can go: it stays on the first frame instead.
    {
        std::lock_guard guard(gate->lock);
        seekLocked(insideFile(double(frame) + rangeStartFrame_.load()));
    }
    if (!isPlaying())
        if (KTAudioQueuePlayerDelegate* d = delegate())
            d->playerDidMovePlayheadToFrame(this, int(currentFrame()));
}

void KTAudioQueuePlayer::setPlaybackRate(double rate) {
    AudioQueueSetParameter(queue.load(), kAudioQueueParam_PlayRate, float(rate));
}

void KTAudioQueuePlayer::setPassPause(double seconds, double countInBeatsPerMinute) {
    passPause.store(std::isfinite(seconds) ? std::clamp(seconds, 0.0, kMaxPassPauseSeconds) : 0.0);
    countInTempo.store(std::isfinite(countInBeatsPerMinute) && countInBeatsPerMinute > 0
                           ? countInBeatsPerMinute
                           : 0.0);
}

void KTAudioQueuePlayer::setClick(std::vector<platform::ClickBeat> beats, double level) {
    click->setBeats(std::move(beats));
    click->setLevel(std::isfinite(level) ? float(std::max(level, 0.0)) : 0.0f);
}

void KTAudioQueuePlayer::setPitchShift(float cents) {
    AudioQueueSetParameter(queue.load(), kAudioQueueParam_Pitch, cents);
}

void KTAudioQueuePlayer::setVolume(double level) {
    const double gain = std::exp(kVolumeCurveExponent * level) * kVolumeCurveScale;
    AudioQueueSetParameter(queue.load(), kAudioQueueParam_Volume, float(gain));
}

double KTAudioQueuePlayer::currentFrame() const {
    const std::int32_t start = rangeStartFrame_.load();
    const std::int32_t playhead = playheadFrame.load();
    if (isPlaying()) {
        // While the last buffers drain past the range end the playhead shows the start.
        if (playhead >= 0 && playhead < rangeNumFrames.load())
            return double(start) + playhead;
        return start;
    }
    return double(start) + playhead;
}

void KTAudioQueuePlayer::setCurrentFrame(double frame) {
    std::lock_guard guard(gate->lock);
    seekLocked(insideFile(frame));
}

void KTAudioQueuePlayer::moveReadPositionLocked(std::int64_t frame) {
    CheckError(seekFile(frame), "ExtAudioFileSeek");
    seeks.fetch_add(1); // a read under way is from before the move
    playheadFrame.store(std::int32_t(frame - rangeStartFrame_.load()));
    // A turn read before the move is not the playhead's any more: it is heard (if the
    // queue keeps it) before the new place, and the playhead is there already.
    turnsAhead.clear();
}

// What the queue holds was read before the move. While playing it plays out (a few buffers,
// heard before the new place); paused, or playing out the range's end, it is dropped, so
// the next sound is the new place's.
void KTAudioQueuePlayer::seekLocked(std::int64_t frame) {
    moveReadPositionLocked(frame);
    if (queueStarted.load() && (!isPlaying() || isCompleted())) {
        setCompleted(false);
        restartQueueTimeLocked();
        AudioQueueReset(queue.load());
    }
}

std::int32_t KTAudioQueuePlayer::currentSampleTime() const {
    AudioTimeStamp stamp;
    AudioQueueGetCurrentTime(queue.load(), nullptr, &stamp, nullptr);
    return std::int32_t(stamp.mSampleTime);
}

// Both ends are kept inside the file; an inverted range stays inverted (it plays on to the
// file's end, as a read position past the range end does).
void KTAudioQueuePlayer::setRangeStartFrameNumFrames(double start, double numFrames) {
    const std::int64_t first = insideFile(start);
    const std::int64_t end = insideFile(std::trunc(start) + std::trunc(numFrames));
    std::lock_guard guard(gate->lock);
    rangeStartFrame_.store(std::int32_t(first));
    rangeNumFrames.store(std::int32_t(end - first));
    seekLocked(first);
}

// The window only ever asks for frames inside the file; other callers (and the few ways of
// stepping past a range's edge) are held to it, so no seek is ever refused and no playhead
// report falls outside the file.
std::int64_t KTAudioQueuePlayer::insideFile(double frame) const {
    const std::shared_ptr<KTAudioFile> file = audioFile_.load();
    const double total = file ? double(file->totalFrames()) : 0.0;
    return std::isnan(frame) ? 0 : std::int64_t(std::clamp(frame, 0.0, total));
}

std::int32_t KTAudioQueuePlayer::rangeEndFrame() const {
    return rangeStartFrame_.load() + rangeNumFrames.load();
}

bool KTAudioQueuePlayer::isPlaybackComplete() const {
    return playheadFrame.load() >= rangeNumFrames.load();
}

// Timers belong to the main thread; the queue's thread asks for them to be started or
// stopped there, in the order it asked.
void KTAudioQueuePlayer::runOnMainThread(void (KTAudioQueuePlayer::*step)()) {
    if (QThread::currentThread() == thread())
        (this->*step)();
    else
        QMetaObject::invokeMethod(
            this, [this, step] { (this->*step)(); }, Qt::QueuedConnection);
}

void KTAudioQueuePlayer::startPlaybackTimer() {
    runOnMainThread(&KTAudioQueuePlayer::startTimerOnMainThread);
}

void KTAudioQueuePlayer::stopPlaybackTimer() {
    runOnMainThread(&KTAudioQueuePlayer::stopTimerOnMainThread);
}

void KTAudioQueuePlayer::startTimerOnMainThread() {
    // A timer already running is replaced, not ended: its ticks only repeat reports.
    playbackTimer = new QTimer(this);
    playbackTimer->setTimerType(Qt::PreciseTimer);
    playbackTimer->setInterval(reportMilliseconds);
    connect(playbackTimer, &QTimer::timeout, this, &KTAudioQueuePlayer::playbackTimerCallback);
    playbackTimer->start();
}

void KTAudioQueuePlayer::stopTimerOnMainThread() {
    if (!playbackTimer)
        return;
    playbackTimer->stop();
    playbackTimer->deleteLater();
    playbackTimer = nullptr;
}

void KTAudioQueuePlayer::playbackTimerCallback() {
    if (!isPlaying())
        return;
    followHeardPosition(queue.load());
    if (KTAudioQueuePlayerDelegate* d = delegate())
        d->playerDidMovePlayheadToFrame(this, int(currentFrame()));
}

bool KTAudioQueuePlayer::turnWithoutStopLocked() {
    if (!isLooped() || held.load() || passPause.load() > 0 || rangeNumFrames.load() <= 0)
        return false;
    // Nothing read since the last turn (a read that fails): stop rather than spin.
    if (lastTurnRead == framesEnqueued)
        return false;
    CheckError(seekFile(rangeStartFrame_.load()), "ExtAudioFileSeek");
    seeks.fetch_add(1);
    lastTurnRead = framesEnqueued;
    seamPending = true;
    if (passRead)
        passRead();
    // Read as the last pass (the observer cleared the loop), or in the belief that the loop
    // goes on: then clearing it before the turn is heard ends playback at the turn.
    turnsAhead.push_back({framesEnqueued, isLooped()});
    return true;
}

// The range's start rarely goes on from its end: the step between where the end was heading
// (its last two frames carried on) and the first frame of the new pass is eased into the
// new pass's first frames, so the join does not click. Only the offset moves; the music's
// own attack stays where it is, and a join that was smooth already is left as it is.
void KTAudioQueuePlayer::joinSeamLocked(float* frames, std::uint32_t count) {
    if (std::exchange(seamPending, false)) {
        const std::uint32_t n = std::min(count, kSeamFrames);
        for (std::size_t c = 0; c < 2; ++c) {
            const float step = 2 * lastFramesRead[1][c] - lastFramesRead[0][c] - frames[c];
            for (std::uint32_t i = 0; i < n; ++i)
                frames[2 * i + c] += step * float(n - i) / float(n + 1);
        }
    }
    for (std::size_t c = 0; c < 2; ++c) {
        lastFramesRead[0][c] = count > 1 ? frames[2 * (count - 2) + c] : lastFramesRead[1][c];
        lastFramesRead[1][c] = frames[2 * (count - 1) + c];
    }
}

void KTAudioQueuePlayer::restartQueueTimeLocked() {
    lastSampleTime.store(0);
    framesEnqueued = 0;
    lastTurnRead = -1;
    turnsAhead.clear();
    seamPending = false;
    click->restart();
}

void KTAudioQueuePlayer::followHeardPosition(AudioQueueRef calling) {
    int heard = 0;
    {
        std::lock_guard guard(gate->lock);
        if (!calling || calling != gate->liveQueue.load() || !isPlaying())
            return;
        // Where the sound is now, carried on between device cycles; never back within a
        // run (a carried-on time can run a little ahead of the next cycle's).
        double heardTime = 0;
        const std::int32_t t =
            std::max(lastSampleTime.load(),
                     AudioQueueGetHeardSampleTime(calling, std::chrono::steady_clock::now(),
                                                  &heardTime) == noErr
                         ? std::int32_t(heardTime)
                         : currentSampleTime());
        playheadFrame.fetch_add(t - lastSampleTime.load());
        lastSampleTime.store(t);
        // The playhead of a turn heard is what has been heard of the new pass.
        while (!turnsAhead.empty() && t >= turnsAhead.front().queueTime) {
            if (turnsAhead.front().loopGoesOn && !isLooped()) {
                // The loop was turned off during the pass before, after this turn was
                // read: that pass was the last, and playback completes here, as at the
                // range end (the listener reports it).
                turnsAhead.clear();
                setCompleted(true);
                AudioQueueStop(calling, true);
                break;
            }
            playheadFrame.store(std::int32_t(t - turnsAhead.front().queueTime));
            turnsAhead.pop_front();
            ++heard;
        }
    }
    seamlessTurns.fetch_add(std::uint64_t(heard));
    if (KTAudioQueuePlayerDelegate* d = delegate())
        for (int i = 0; i < heard; ++i)
            d->playerDidCompleteLoopPass(this);
}
