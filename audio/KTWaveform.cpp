#include "audio/KTWaveform.h"

#include "audio/CheckError.h"
#include "audio/KTAudioFile.h"
#include "audio/PeakReducer.h"
#include "audio/WaveformReader.h"
#include "platform/log/Log.h"

#include <algorithm>
#include <cmath>

namespace {

std::int32_t samplesFor(std::int32_t frames) {
    return static_cast<std::int32_t>(std::ceil(frames / double(KTWaveform::kFramesPerSample)));
}

void logReduction(std::int32_t frames, std::int32_t samples) {
    platform::log("total frames: %d", frames);
    platform::log("fps: %d", KTWaveform::kFramesPerSample);
    platform::log("total samples: %d", samples);
}

} // namespace

KTWaveform::KTWaveform() = default;

KTWaveform::KTWaveform(const std::string& url) : KTWaveform(url, nullptr) {}

KTWaveform::KTWaveform(const std::string& url, std::atomic<std::int64_t>& progressFrames)
    : KTWaveform(url, &progressFrames) {}

KTWaveform::KTWaveform(const std::string& url, std::atomic<std::int64_t>* progressFrames) {
    PeakData peaks = readPeaks(url, progressFrames);
    CheckError(peaks.status, "Read frames as floats");
    takePeaks(std::move(peaks));
}

std::unique_ptr<KTWaveform> KTWaveform::read(const KTAudioFile& file,
                                             std::atomic<std::int64_t>& progressFrames,
                                             const std::atomic<bool>& cancel,
                                             platform::OSStatus& status) {
    PeakData peaks = readPeaks(file.extAudioFile(), &progressFrames, &cancel);
    status = peaks.status;
    if (status != platform::noErr)
        return nullptr;
    auto waveform = std::make_unique<KTWaveform>();
    waveform->takePeaks(std::move(peaks));
    return waveform;
}

void KTWaveform::takePeaks(PeakData&& peaks) {
    platform::log("numframes read: %d", peaks.framesRead);
    logReduction(peaks.framesRead, samplesFor(peaks.framesRead));
    totalFrames_ = peaks.framesRead;
    samples_ = std::move(peaks.samples);
    coords_.assign(samples_.size() * 4, 0);
    globalMaxValue_ = peaks.globalMaxValue;
    platform::log("globalmax: %d", globalMaxValue_);
}

void KTWaveform::reduceFrameData(const float* data, std::int32_t frames) {
    frames = std::max(frames, 0);
    totalFrames_ = frames;
    const std::int32_t samples = samplesFor(frames);
    logReduction(frames, samples);
    samples_.assign(std::size_t(samples), 0);
    coords_.assign(std::size_t(samples) * 4, 0);
    PeakReducer reducer(samples_.data());
    reducer.feed(data, std::size_t(frames));
    reducer.finish();
    globalMaxValue_ = reducer.globalMaxValue();
    platform::log("globalmax: %d", globalMaxValue_);
}

std::int16_t KTWaveform::getMaxValueAtBucketSize(std::int32_t index,
                                                 std::int32_t bucketSize) const {
    std::int16_t peak = samples_[std::size_t(index)];
    if (bucketSize < 2)
        return peak;
    const std::int32_t end = static_cast<std::int32_t>(
        std::min<std::int64_t>(std::int64_t(index) + bucketSize, totalSamples()));
    for (std::int32_t j = index + 1; j < end; ++j)
        if (samples_[std::size_t(j)] > peak)
            peak = samples_[std::size_t(j)];
    return peak;
}
