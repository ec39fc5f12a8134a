#include "playback/KTPlayer.h"

#include "audio/CheckError.h"
#include "platform/log/Log.h"

#include <QTimer>
#include <algorithm>
#include <cmath>

using namespace platform;

namespace {
// The region handed to the file player and its start time: filled anew at every play, kept
// for the life of the program and shared by every player (all on the main thread).
ScheduledAudioFileRegion scheduledRegion{};
AudioTimeStamp startTimeStamp{};
} // namespace

KTPlayer::KTPlayer(QObject* parent) : QObject(parent) {
    initAUGraph();
}

KTPlayer::~KTPlayer() {
    stopPlaybackTimer();
    if (graph) {
        AUGraphStop(graph);
        DisposeAUGraph(graph); // the graph reads the file until here
    }
}

void KTPlayer::initAUGraph() {
    CheckError(NewAUGraph(&graph), "NewAUGraph");

    const AudioComponentDescription outputDescription{
        kAudioUnitType_Output, kAudioUnitSubType_DefaultOutput, kAudioUnitManufacturer_Apple, 0, 0};
    AUNode outputNode = 0;
    CheckError(AUGraphAddNode(graph, &outputDescription, &outputNode),
               "AUGraphAddNode[kAudioUnitSubType_DefaultOutput]");
    const AudioComponentDescription fileDescription{kAudioUnitType_Generator,
                                                    kAudioUnitSubType_AudioFilePlayer,
                                                    kAudioUnitManufacturer_Apple, 0, 0};
    AUNode fileNode = 0;
    CheckError(AUGraphAddNode(graph, &fileDescription, &fileNode),
               "AUGraphAddNode[kAudioUnitSubType_AudioFilePlayer]");
    const AudioComponentDescription timeDescription{kAudioUnitType_FormatConverter,
                                                    kAudioUnitSubType_TimePitch,
                                                    kAudioUnitManufacturer_Apple, 0, 0};
    AUNode timeNode = 0;
    CheckError(AUGraphAddNode(graph, &timeDescription, &timeNode),
               "AUGraphAddNode[kAudioUnitSubType_TimePitch]");

    CheckError(AUGraphOpen(graph), "AUGraphOpen");
    CheckError(AUGraphConnectNodeInput(graph, fileNode, 0, timeNode, 0),
               "AUGraphConnectNodeInput file => time");
    CheckError(AUGraphConnectNodeInput(graph, timeNode, 0, outputNode, 0),
               "AUGraphConnectNodeInput time => output");
    CheckError(AUGraphInitialize(graph), "AUGraphInitialize");

    CheckError(AUGraphNodeInfo(graph, fileNode, nullptr, &fileUnit), "AUGraphNodeInfo => fileUnit");
    CheckError(AUGraphNodeInfo(graph, timeNode, nullptr, &timeUnit), "AUGraphNodeInfo => timeUnit");
    CheckError(AUGraphNodeInfo(graph, outputNode, nullptr, &outputUnit),
               "AUGraphNodeInfo => outputUnit");
}

void KTPlayer::setAudioFile(std::shared_ptr<KTAudioFile> file) {
    // The file player may read the old file until it is given the new one.
    const std::shared_ptr<KTAudioFile> previous = std::move(audioFile_);
    audioFile_ = std::move(file);
    playheadFrame = 0;
    rangeStartFrame = 0;
    rangeNumFrames = audioFile_ ? std::int32_t(audioFile_->totalFrames()) : 0;
    stop();
    setupFilePlayerAU();
}

void KTPlayer::setupFilePlayerAU() {
    const AudioFileID fileId = audioFile_ ? audioFile_->audioFileId() : nullptr;
    CheckError(AudioUnitSetProperty(fileUnit, kAudioUnitProperty_ScheduledFileIDs,
                                    kAudioUnitScope_Global, 0, &fileId, sizeof fileId),
               "AudioUnitSetProperty[kAudioUnitProperty_ScheduledFileIDs]");
}

void KTPlayer::play() {
    if (playing || !audioFile_)
        return;
    AudioUnitReset(fileUnit, kAudioUnitScope_Global, 0);
    AudioUnitReset(timeUnit, kAudioUnitScope_Global, 0);
    AudioUnitReset(outputUnit, kAudioUnitScope_Global, 0);

    // The whole rest of the range, from the playhead on.
    scheduledRegion.mTimeStamp.mSampleTime = 0;
    scheduledRegion.mTimeStamp.mFlags = kAudioTimeStampSampleTimeValid;
    scheduledRegion.mCompletionProc = nullptr;
    scheduledRegion.mCompletionProcUserData = nullptr;
    scheduledRegion.mAudioFile = audioFile_ ? audioFile_->audioFileId() : nullptr;
    scheduledRegion.mLoopCount = 0;
    scheduledRegion.mStartFrame = std::int64_t(playheadFrame) + rangeStartFrame;
    scheduledRegion.mFramesToPlay = std::uint32_t(rangeNumFrames - playheadFrame);
    CheckError(AudioUnitSetProperty(fileUnit, kAudioUnitProperty_ScheduledFileRegion,
                                    kAudioUnitScope_Global, 0, &scheduledRegion,
                                    sizeof scheduledRegion),
               "AudioUnitSetProperty[kAudioUnitProperty_ScheduledFileRegion]");

    const std::uint32_t defaultPriming = 0;
    CheckError(AudioUnitSetProperty(fileUnit, kAudioUnitProperty_ScheduledFilePrime,
                                    kAudioUnitScope_Global, 0, &defaultPriming,
                                    sizeof defaultPriming),
               "AudioUnitSetProperty[kAudioUnitProperty_ScheduledFilePrime] failed");

    startTimeStamp = AudioTimeStamp{};
    startTimeStamp.mSampleTime = -1.0; // the next render cycle
    startTimeStamp.mFlags = kAudioTimeStampSampleTimeValid;
    CheckError(AudioUnitSetProperty(fileUnit, kAudioUnitProperty_ScheduleStartTimeStamp,
                                    kAudioUnitScope_Global, 0, &startTimeStamp,
                                    sizeof startTimeStamp),
               "AudioUnitSetProperty[kAudioUnitProperty_ScheduleStartTimeStamp]");

    CheckError(AUGraphStart(graph), "AUGraphStart");

    playbackTimer = new QTimer(this);
    playbackTimer->setTimerType(Qt::PreciseTimer);
    playbackTimer->setInterval(kPlaybackTimerMilliseconds);
    connect(playbackTimer, &QTimer::timeout, this, &KTPlayer::playbackTimerCallback);
    playbackTimer->start();
    playing = true;
}

void KTPlayer::pause() {
    if (playing) {
        CheckError(AUGraphStop(graph), "AUGraphStop");
        stopPlaybackTimer();
        playing = false;
    }
    lastSampleTime = 0; // the file player's time starts again at 0 with the next schedule
}

void KTPlayer::stop() {
    log("stop");
    pause();
    playheadFrame = 0;
}

void KTPlayer::rewind() {
    const bool wasPlaying = playing;
    if (wasPlaying)
        pause();
    if (playheadFrame < kSkipFrames)
        playheadFrame = 0;
    else
        playheadFrame -= kSkipFrames;
    playheadFrame =
        std::int32_t(insideFile(double(rangeStartFrame) + playheadFrame) - rangeStartFrame);
    lastSampleTime = 0;
    if (wasPlaying)
        play();
    else
        reportPlayhead();
}

void KTPlayer::ffwd() {
    playheadFrame += kSkipFrames;
    // Strictly greater: a playhead landing exactly on the range length stays there, and
    // the next tick ends the range.
    if (playheadFrame > rangeNumFrames)
        playheadFrame = rangeNumFrames - 1;
    // An empty range at the file's start would put the playhead one frame before the file,
    // where no region can start: it stays on the first frame instead.
    playheadFrame =
        std::int32_t(insideFile(double(rangeStartFrame) + playheadFrame) - rangeStartFrame);
    lastSampleTime = 0;
    if (playing) {
        pause();
        play();
    } else {
        reportPlayhead();
    }
}

void KTPlayer::setPlaybackRate(double rate) {
    AudioUnitSetParameter(timeUnit, kTimePitchParam_Rate, kAudioUnitScope_Global, 0, float(rate),
                          0);
}

void KTPlayer::setPitchShift(float cents) {
    AudioUnitSetParameter(timeUnit, kTimePitchParam_Pitch, kAudioUnitScope_Global, 0, cents, 0);
}

bool KTPlayer::isPlaybackComplete() const {
    return playheadFrame >= rangeNumFrames;
}

std::int32_t KTPlayer::currentSampleTime() const {
    AudioTimeStamp stamp;
    std::uint32_t size = sizeof stamp;
    CheckError(AudioUnitGetProperty(fileUnit, kAudioUnitProperty_CurrentPlayTime,
                                    kAudioUnitScope_Global, 0, &stamp, &size),
               "AudioUnitGetProperty kAudioUnitProperty_CurrentPlayTime");
    return std::int32_t(stamp.mSampleTime);
}

double KTPlayer::currentFrame() const {
    if (playing) {
        // Past the range end, until the tick that ends it, the playhead shows the start.
        if (playheadFrame >= 0 && playheadFrame < rangeNumFrames)
            return double(rangeStartFrame) + playheadFrame;
        return rangeStartFrame;
    }
    return double(rangeStartFrame) + playheadFrame;
}

void KTPlayer::setCurrentFrame(double frame) {
    frame = double(insideFile(frame));
    log("setcurrent: %d", int(frame));
    lastSampleTime = 0;
    if (playing) {
        pause();
        playheadFrame = std::int32_t(frame - rangeStartFrame);
        play();
    } else {
        playheadFrame = std::int32_t(frame - rangeStartFrame);
    }
}

// Both ends are kept inside the file; an inverted range stays inverted (it plays on to the
// file's end, and the first tick ends it).
void KTPlayer::setRangeStartFrameNumFrames(double start, double numFrames) {
    const std::int64_t first = insideFile(start);
    const std::int64_t end = insideFile(std::trunc(start) + std::trunc(numFrames));
    log("setrange: %d, %d", int(first), int(end - first));
    playheadFrame = 0;
    rangeStartFrame = std::int32_t(first);
    rangeNumFrames = std::int32_t(end - first);
}

// Callers are held to the file, as the queue player's are: no region starts before it and
// no playhead report falls outside it.
std::int64_t KTPlayer::insideFile(double frame) const {
    const double total = audioFile_ ? double(audioFile_->totalFrames()) : 0.0;
    return std::isnan(frame) ? 0 : std::int64_t(std::clamp(frame, 0.0, total));
}

void KTPlayer::stopPlaybackTimer() {
    if (!playbackTimer)
        return;
    playbackTimer->stop();
    playbackTimer->deleteLater(); // it may be the timer whose tick is running
    playbackTimer = nullptr;
}

void KTPlayer::reportPlayhead() {
    if (delegate_)
        delegate_->playerDidMovePlayheadToFrame(this, int(currentFrame()));
}

void KTPlayer::playbackTimerCallback() {
    const std::int32_t t = currentSampleTime();
    playheadFrame += t - lastSampleTime;
    lastSampleTime = t;
    reportPlayhead();
    if (isPlaybackComplete()) {
        stopPlaybackTimer();
        stop();
        if (looped)
            play();
        else if (delegate_)
            delegate_->playerDidCompletePlayback(this);
    }
}
