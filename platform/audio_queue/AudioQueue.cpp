#include "platform/audio_queue/AudioQueue.h"

#include "platform/audio_queue/QueueEngine.h"

namespace platform {

namespace {
constexpr OSStatus kInvalidQueue = kParamError;
}

OSStatus AudioQueueNewOutput(const AudioStreamBasicDescription* format,
                             AudioQueueOutputCallback callback, void* userData, void* runLoop,
                             const void*, std::uint32_t, AudioQueueRef* outQueue) {
    if (runLoop)
        return kAudioQueueErr_InvalidParameter;
    return AudioQueueNewOutputOnDevice(format, callback, userData, defaultAudioDevice(), outQueue);
}

OSStatus AudioQueueNewOutputOnDevice(const AudioStreamBasicDescription* format,
                                     AudioQueueOutputCallback callback, void* userData,
                                     std::shared_ptr<AudioDevice> device, AudioQueueRef* outQueue) {
    if (!outQueue || !format)
        return kAudioQueueErr_InvalidParameter;
    const AudioStreamBasicDescription wanted = stereoFloatFormat(format->mSampleRate);
    if (!(format->mSampleRate > 0) || format->mFormatID != wanted.mFormatID ||
        format->mFormatFlags != wanted.mFormatFlags ||
        format->mBytesPerFrame != wanted.mBytesPerFrame ||
        format->mChannelsPerFrame != wanted.mChannelsPerFrame ||
        format->mBitsPerChannel != wanted.mBitsPerChannel)
        return kAudioFormatUnsupportedDataFormatError;
    if (!device)
        return kAudioQueueErr_InvalidDevice;
    // The first queue decides the rate a real device opens at; it is then kept.
    device->prepareToPlay(format->mSampleRate);
    *outQueue = new OpaqueAudioQueue(format->mSampleRate, std::move(device), callback, userData);
    return noErr;
}

OSStatus AudioQueueDispose(AudioQueueRef queue, bool immediate) {
    return queue ? queue->dispose(immediate) : kInvalidQueue;
}

OSStatus AudioQueueAllocateBuffer(AudioQueueRef queue, std::uint32_t bytes,
                                  AudioQueueBufferRef* outBuffer) {
    return queue ? queue->allocateBuffer(bytes, outBuffer) : kInvalidQueue;
}

OSStatus AudioQueueFreeBuffer(AudioQueueRef queue, AudioQueueBufferRef buffer) {
    return queue ? queue->freeBuffer(buffer) : kInvalidQueue;
}

OSStatus AudioQueueEnqueueBuffer(AudioQueueRef queue, AudioQueueBufferRef buffer,
                                 std::uint32_t numPacketDescriptions,
                                 const void* packetDescriptions) {
    if (!queue)
        return kInvalidQueue;
    if (!buffer || numPacketDescriptions != 0 || packetDescriptions)
        return kAudioQueueErr_InvalidParameter;
    return queue->enqueue(buffer);
}

OSStatus AudioQueueStart(AudioQueueRef queue, const AudioTimeStamp* startTime) {
    if (!queue)
        return kInvalidQueue;
    if (startTime)
        return kAudioQueueErr_InvalidParameter;
    return queue->start();
}

OSStatus AudioQueuePause(AudioQueueRef queue) {
    return queue ? queue->pause() : kInvalidQueue;
}

OSStatus AudioQueueStop(AudioQueueRef queue, bool immediate) {
    return queue ? queue->stop(immediate) : kInvalidQueue;
}

OSStatus AudioQueueReset(AudioQueueRef queue) {
    return queue ? queue->reset() : kInvalidQueue;
}

OSStatus AudioQueueRequestFill(AudioQueueRef queue, AudioQueueBufferRef buffer) {
    if (!queue)
        return kInvalidQueue;
    if (!buffer)
        return kAudioQueueErr_InvalidParameter;
    return queue->requestFill(buffer);
}

OSStatus AudioQueuePrime(AudioQueueRef queue, std::uint32_t, std::uint32_t* outFramesPrepared) {
    return queue ? queue->prime(outFramesPrepared) : kInvalidQueue;
}

OSStatus AudioQueueSetParameter(AudioQueueRef queue, AudioQueueParameterID parameter,
                                AudioQueueParameterValue value) {
    return queue ? queue->setParameter(parameter, value) : kInvalidQueue;
}

OSStatus AudioQueueGetParameter(AudioQueueRef queue, AudioQueueParameterID parameter,
                                AudioQueueParameterValue* outValue) {
    return queue ? queue->getParameter(parameter, outValue) : kInvalidQueue;
}

OSStatus AudioQueueSetProperty(AudioQueueRef queue, AudioQueuePropertyID property, const void* data,
                               std::uint32_t dataSize) {
    return queue ? queue->setProperty(property, data, dataSize) : kInvalidQueue;
}

OSStatus AudioQueueGetProperty(AudioQueueRef queue, AudioQueuePropertyID property, void* outData,
                               std::uint32_t* ioDataSize) {
    return queue ? queue->getProperty(property, outData, ioDataSize) : kInvalidQueue;
}

OSStatus AudioQueueAddPropertyListener(AudioQueueRef queue, AudioQueuePropertyID property,
                                       AudioQueuePropertyListenerProc listener, void* userData) {
    return queue ? queue->addListener(property, listener, userData) : kInvalidQueue;
}

OSStatus AudioQueueRemovePropertyListener(AudioQueueRef queue, AudioQueuePropertyID property,
                                          AudioQueuePropertyListenerProc listener, void* userData) {
    return queue ? queue->removeListener(property, listener, userData) : kInvalidQueue;
}

OSStatus AudioQueueGetCurrentTime(AudioQueueRef queue, AudioQueueTimelineRef timeline,
                                  AudioTimeStamp* outTimeStamp, Boolean* outDiscontinuity) {
    if (!queue)
        return kInvalidQueue;
    if (timeline)
        return kAudioQueueErr_InvalidParameter;
    if (outDiscontinuity)
        *outDiscontinuity = 0;
    return queue->currentTime(outTimeStamp);
}

OSStatus AudioQueueSetLeadIn(AudioQueueRef queue, const AudioQueueLeadIn& leadIn) {
    return queue ? queue->setLeadIn(leadIn) : kInvalidQueue;
}

OSStatus AudioQueueSetClick(AudioQueueRef queue, std::shared_ptr<BeatClick> click) {
    return queue ? queue->setClick(std::move(click)) : kInvalidQueue;
}

OSStatus AudioQueueGetHeardSampleTime(AudioQueueRef queue,
                                      std::chrono::steady_clock::time_point time,
                                      double* outSampleTime) {
    if (!queue)
        return kInvalidQueue;
    if (!outSampleTime)
        return kAudioQueueErr_InvalidParameter;
    return queue->heardSampleTime(time, outSampleTime);
}

} // namespace platform
