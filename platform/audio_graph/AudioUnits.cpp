#include "platform/audio_graph/AudioUnits.h"

#include "platform/audio_graph/GraphEngine.h"
#include "platform/log/Log.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace platform {

namespace {

// What priming reads ahead when asked for the default amount: about a third of a second
// at 44.1 kHz, read once on the caller's thread, so the feeding thread's first reads of a
// new region never wait for the disk.
constexpr std::uint32_t kDefaultPrimeFrames = 16384;
constexpr std::size_t kRingCapacityFrames = 8192;

constexpr double kMinRate = 1.0 / 32, kMaxRate = 32;
constexpr double kMinCents = -2400, kMaxCents = 2400;

template <typename T> bool readValue(const void* data, std::uint32_t size, T& out) {
    if (!data || size != sizeof(T))
        return false;
    std::memcpy(&out, data, sizeof(T));
    return true;
}

} // namespace

// ---- every unit -----------------------------------------------------------------------

OSStatus OpaqueAudioUnit::setProperty(AudioUnitPropertyID, const void*, std::uint32_t) {
    return kAudioUnitErr_InvalidProperty;
}

OSStatus OpaqueAudioUnit::getProperty(AudioUnitPropertyID, void*, std::uint32_t*) {
    return kAudioUnitErr_InvalidProperty;
}

OSStatus OpaqueAudioUnit::setParameter(AudioUnitParameterID, float) {
    return kAudioUnitErr_InvalidParameter;
}

OSStatus OpaqueAudioUnit::getParameter(AudioUnitParameterID, float*) const {
    return kAudioUnitErr_InvalidParameter;
}

OSStatus OpaqueAudioUnit::reset() {
    std::lock_guard guard(graph.engineLock);
    graph.restartPath();
    return noErr;
}

// ---- file player ----------------------------------------------------------------------

OSStatus FilePlayerUnit::setProperty(AudioUnitPropertyID property, const void* data,
                                     std::uint32_t size) {
    switch (property) {
    case kAudioUnitProperty_ScheduledFileIDs:
        return setFile(data, size);
    case kAudioUnitProperty_ScheduledFileRegion:
        return setRegion(data, size);
    case kAudioUnitProperty_ScheduledFilePrime:
        return prime(data, size);
    case kAudioUnitProperty_ScheduleStartTimeStamp:
        return setStartTime(data, size);
    case kAudioUnitProperty_CurrentPlayTime:
        return kAudioUnitErr_PropertyNotWritable;
    default:
        return kAudioUnitErr_InvalidProperty;
    }
}

OSStatus FilePlayerUnit::getProperty(AudioUnitPropertyID property, void* data,
                                     std::uint32_t* size) {
    if (property != kAudioUnitProperty_CurrentPlayTime)
        return kAudioUnitErr_InvalidProperty;
    if (!data || !size)
        return kAudioUnitErr_InvalidParameter;
    if (*size != sizeof(AudioTimeStamp))
        return kAudioUnitErr_InvalidPropertyValue;
    AudioTimeStamp stamp;
    stamp.mSampleTime = graph.currentPlayTime();
    stamp.mFlags = kAudioTimeStampSampleTimeValid;
    std::memcpy(data, &stamp, sizeof stamp);
    return noErr;
}

OSStatus FilePlayerUnit::reset() {
    std::lock_guard guard(graph.engineLock);
    unschedule();
    graph.restartPath();
    graph.updatePlaying();
    return noErr;
}

OSStatus FilePlayerUnit::setFile(const void* data, std::uint32_t size) {
    AudioFileID wanted = nullptr;
    if (size != 0 && !readValue(data, size, wanted))
        return kAudioUnitErr_InvalidPropertyValue;
    double wantedRate = 0;
    if (wanted) {
        AudioStreamBasicDescription format;
        std::uint32_t formatSize = sizeof format;
        if (AudioFileGetProperty(wanted, kAudioFilePropertyDataFormat, &formatSize, &format) !=
                noErr ||
            !(format.mSampleRate > 0))
            return kAudioUnitErr_InvalidFile;
        wantedRate = format.mSampleRate;
    }
    std::lock_guard guard(graph.engineLock);
    if (!graph.isInitialized())
        return kAudioUnitErr_Uninitialized;
    unschedule();
    file = wanted;
    rate = wantedRate;
    graph.restartPath();
    graph.updatePlaying();
    if (file)
        graph.fileChanged(rate);
    return noErr;
}

OSStatus FilePlayerUnit::setRegion(const void* data, std::uint32_t size) {
    ScheduledAudioFileRegion wanted;
    if (!readValue(data, size, wanted))
        return kAudioUnitErr_InvalidPropertyValue;
    if (!(wanted.mTimeStamp.mFlags & kAudioTimeStampSampleTimeValid) ||
        wanted.mTimeStamp.mSampleTime != 0 || wanted.mCompletionProc || wanted.mLoopCount != 0 ||
        wanted.mStartFrame < 0)
        return kAudioUnitErr_InvalidPropertyValue;
    std::lock_guard guard(graph.engineLock);
    if (!graph.isInitialized())
        return kAudioUnitErr_Uninitialized;
    if (!file || wanted.mAudioFile != file)
        return kAudioUnitErr_InvalidFile;
    // A new region replaces the old one outright: its play time starts at 0.
    unschedule();
    region = wanted;
    regionSet = true;
    graph.restartPath();
    graph.updatePlaying();
    return noErr;
}

OSStatus FilePlayerUnit::prime(const void* data, std::uint32_t size) {
    std::uint32_t frames = 0;
    if (!readValue(data, size, frames))
        return kAudioUnitErr_InvalidPropertyValue;
    if (frames == 0)
        frames = kDefaultPrimeFrames;
    std::lock_guard guard(graph.engineLock);
    if (!regionSet)
        return kAudioUnitErr_Uninitialized;
    frames = std::min(frames, region.mFramesToPlay);
    const auto have = std::uint32_t(readAhead.size() / 2);
    if (frames > have) {
        readAhead.resize(2 * std::size_t(frames));
        const std::uint32_t got =
            readFile(have, readAhead.data() + 2 * std::size_t(have), frames - have);
        readAhead.resize(2 * std::size_t(have + got));
    }
    graph.primePath();
    return noErr;
}

OSStatus FilePlayerUnit::setStartTime(const void* data, std::uint32_t size) {
    AudioTimeStamp stamp;
    if (!readValue(data, size, stamp))
        return kAudioUnitErr_InvalidPropertyValue;
    if (!(stamp.mFlags & kAudioTimeStampSampleTimeValid) || stamp.mSampleTime != -1.0)
        return kAudioUnitErr_InvalidPropertyValue;
    std::lock_guard guard(graph.engineLock);
    if (!regionSet)
        return kAudioUnitErr_Uninitialized;
    started = true;
    graph.updatePlaying();
    graph.wakeFeeder();
    return noErr;
}

std::uint32_t FilePlayerUnit::read(float* out, std::uint32_t frames) {
    if (exhausted || !regionSet)
        return 0;
    frames = std::min(frames, region.mFramesToPlay - cursor);
    std::uint32_t done = 0;
    const auto ahead = std::uint32_t(readAhead.size() / 2);
    if (cursor < ahead) {
        done = std::min(frames, ahead - cursor);
        std::copy_n(readAhead.data() + 2 * std::size_t(cursor), 2 * std::size_t(done), out);
    }
    if (done < frames)
        done += readFile(cursor + done, out + 2 * std::size_t(done), frames - done);
    cursor += done;
    if (done < frames || cursor >= region.mFramesToPlay)
        exhausted = true;
    return done;
}

std::uint32_t FilePlayerUnit::readFile(std::uint32_t from, float* out, std::uint32_t frames) {
    std::uint32_t done = 0;
    while (done < frames) {
        std::uint32_t got = frames - done;
        const OSStatus status = AudioFileReadFrames(file, region.mStartFrame + from + done, &got,
                                                    out + 2 * std::size_t(done));
        if (status != noErr) {
            if (!readFailureLogged)
                log("audio graph: file read failed (%d), the region ends there", int(status));
            readFailureLogged = true;
            break;
        }
        if (got == 0)
            break; // the end of the file
        done += got;
    }
    return done;
}

void FilePlayerUnit::restartRegion() {
    cursor = 0;
    exhausted = !regionSet || region.mFramesToPlay == 0;
}

void FilePlayerUnit::unschedule() {
    regionSet = false;
    started = false;
    cursor = 0;
    exhausted = true;
    readAhead.clear();
}

// ---- time/pitch -----------------------------------------------------------------------

TimePitchUnit::TimePitchUnit(OpaqueAUGraph& graph, const AudioComponentDescription& description)
    : OpaqueAudioUnit(graph, description) {}

OSStatus TimePitchUnit::setParameter(AudioUnitParameterID parameter, float value) {
    if (!std::isfinite(value))
        return kAudioUnitErr_InvalidParameter;
    switch (parameter) {
    case kTimePitchParam_Rate:
        rate.store(float(std::clamp(double(value), kMinRate, kMaxRate)));
        break;
    case kTimePitchParam_Pitch:
        pitchCents.store(float(std::clamp(double(value), kMinCents, kMaxCents)));
        break;
    default:
        return kAudioUnitErr_InvalidParameter;
    }
    graph.wakeFeeder();
    return noErr;
}

OSStatus TimePitchUnit::getParameter(AudioUnitParameterID parameter, float* value) const {
    if (!value)
        return kAudioUnitErr_InvalidParameter;
    switch (parameter) {
    case kTimePitchParam_Rate:
        *value = rate.load();
        return noErr;
    case kTimePitchParam_Pitch:
        *value = pitchCents.load();
        return noErr;
    default:
        return kAudioUnitErr_InvalidParameter;
    }
}

void TimePitchUnit::startRun() {
    applyParameters();
    stretch.startRun();
}

void TimePitchUnit::applyParameters() {
    stretch.setParameters(rate.load(), pitchCents.load());
}

// ---- output ---------------------------------------------------------------------------

OutputUnit::OutputUnit(OpaqueAUGraph& graph, const AudioComponentDescription& description,
                       WakeSignal& wake)
    : OpaqueAudioUnit(graph, description), wake(wake), ring(2 * kRingCapacityFrames) {
    target.store(kRingCapacityFrames / 4);
}

std::size_t OutputUnit::levelFrames() const {
    return std::size_t(ring.writePosition() - ring.readPosition()) / 2;
}

void OutputUnit::write(const float* interleaved, std::size_t frames) {
    ring.write(interleaved, 2 * frames);
}

void OutputUnit::beginRun() {
    ring.requestDiscardUpTo(ring.writePosition());
    endFrame.store(kNoEnd, std::memory_order_release);
    run.fetch_add(1, std::memory_order_acq_rel);
}

std::uint64_t OutputUnit::framesTaken() const {
    std::uint64_t taken = ring.readPosition() / 2;
    const std::uint64_t silence = silenceAfterEnd.load(std::memory_order_acquire);
    if ((silence >> kCountBits) == (run.load(std::memory_order_acquire) & 0xffff))
        taken += silence & kCountMask;
    return taken;
}

std::uint32_t OutputUnit::renderAudio(float* out, std::uint32_t frames) noexcept {
    if (!rtPlaying.load(std::memory_order_acquire))
        return 0;
    // The run first: an end read after it belongs to that run or a later one, so silence
    // is never counted against a run it did not follow.
    const std::uint32_t currentRun = run.load(std::memory_order_acquire);
    const std::uint64_t end = endFrame.load(std::memory_order_acquire);
    const auto got = std::uint32_t(ring.read(out, 2 * std::size_t(frames)) / 2);
    if (end == kNoEnd) {
        // Below its level: the feeding thread tops the ring up (it sleeps until told).
        if (ring.writePosition() - ring.readPosition() <
            2 * std::uint64_t(target.load(std::memory_order_relaxed)))
            wake.post();
    } else if (got < frames && ring.readPosition() / 2 >= end) {
        // Past the end the device plays silence; the file player's time goes on with it.
        if (currentRun != rtRun) {
            rtRun = currentRun;
            rtSilenceFrames = 0;
        }
        rtSilenceFrames += frames - got;
        silenceAfterEnd.store((std::uint64_t(rtRun & 0xffff) << kCountBits) |
                                  (rtSilenceFrames & kCountMask),
                              std::memory_order_release);
    }
    return got;
}

bool OutputUnit::expectsToRender() const noexcept {
    if (!rtPlaying.load(std::memory_order_acquire))
        return false;
    const std::uint64_t end = endFrame.load(std::memory_order_acquire);
    return end == kNoEnd || ring.readPosition() / 2 < end;
}

} // namespace platform
