#include "platform/audio_queue/QueueParameters.h"

#include <algorithm>
#include <cmath>

namespace platform {

namespace {
constexpr double kMinRate = 1.0 / 32, kMaxRate = 32;
constexpr double kMinCents = -2400, kMaxCents = 2400;
} // namespace

OSStatus QueueParameters::set(AudioQueueParameterID parameter, float value) {
    if (!std::isfinite(value))
        return kAudioQueueErr_InvalidParameter;
    switch (parameter) {
    case kAudioQueueParam_Volume:
        volumeValue.store(std::max(value, 0.0f));
        return noErr;
    case kAudioQueueParam_PlayRate:
        rate.store(float(std::clamp(double(value), kMinRate, kMaxRate)));
        return noErr;
    case kAudioQueueParam_Pitch:
        pitchCents.store(float(std::clamp(double(value), kMinCents, kMaxCents)));
        return noErr;
    default:
        return kAudioQueueErr_InvalidParameter;
    }
}

OSStatus QueueParameters::get(AudioQueueParameterID parameter, float* value) const {
    if (!value)
        return kAudioQueueErr_InvalidParameter;
    switch (parameter) {
    case kAudioQueueParam_Volume:
        *value = volumeValue.load();
        return noErr;
    case kAudioQueueParam_PlayRate:
        *value = rate.load();
        return noErr;
    case kAudioQueueParam_Pitch:
        *value = pitchCents.load();
        return noErr;
    default:
        return kAudioQueueErr_InvalidParameter;
    }
}

OSStatus QueueParameters::setProperty(AudioQueuePropertyID property, std::uint32_t value) {
    switch (property) {
    case kAudioQueueProperty_EnableTimePitch:
        timePitchEnabled.store(value != 0);
        return noErr;
    case kAudioQueueProperty_TimePitchAlgorithm:
        // The spectral algorithm is the only one; it is what every other name gets too.
        timePitchAlgorithm.store(value);
        return noErr;
    default:
        return kAudioQueueErr_InvalidProperty;
    }
}

OSStatus QueueParameters::getProperty(AudioQueuePropertyID property, std::uint32_t* value) const {
    switch (property) {
    case kAudioQueueProperty_EnableTimePitch:
        *value = timePitchEnabled.load();
        return noErr;
    case kAudioQueueProperty_TimePitchAlgorithm:
        *value = timePitchAlgorithm.load();
        return noErr;
    default:
        return kAudioQueueErr_InvalidProperty;
    }
}

QueueParameters::Stretch QueueParameters::stretch() const {
    if (!timePitchEnabled.load())
        return {1.0, 0.0};
    return {double(rate.load()), double(pitchCents.load())};
}

} // namespace platform
