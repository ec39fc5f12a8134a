#include "analysis/tonal/NoteSpectrumReader.h"

#include "platform/audio_file/ExtAudioFile.h"

#include <algorithm>

using namespace platform;

namespace tonal {

namespace {
constexpr std::uint32_t kChunkFrames = 4096;
constexpr double kMaxForwardReadSeconds = 2.0;
} // namespace

NoteSpectrumReader::NoteSpectrumReader(const std::string& location) {
    ExtAudioFileRef file = nullptr;
    if (ExtAudioFileOpenURL(location, &file) != noErr)
        return;
    AudioStreamBasicDescription format;
    std::uint32_t size = sizeof format;
    std::int64_t frames = 0;
    std::uint32_t framesSize = sizeof frames;
    bool ok = ExtAudioFileGetProperty(file, kExtAudioFileProperty_FileDataFormat, &size, &format) ==
                  noErr &&
              ExtAudioFileGetProperty(file, kExtAudioFileProperty_FileLengthFrames, &framesSize,
                                      &frames) == noErr &&
              format.mSampleRate > 0;
    if (ok) {
        const AudioStreamBasicDescription client = stereoFloatFormat(format.mSampleRate);
        ok = ExtAudioFileSetProperty(file, kExtAudioFileProperty_ClientDataFormat, sizeof client,
                                     &client) == noErr;
    }
    if (!ok) {
        ExtAudioFileDispose(file);
        return;
    }
    file_ = file;
    sampleRate_ = format.mSampleRate;
    totalFrames_ = frames;
    cascade_ = std::make_unique<OctaveCascade>(sampleRate_, kOctaveLevels);
    constantQ_ = std::make_unique<ConstantQ>(*cascade_);
    stereo_.resize(std::size_t(kChunkFrames) * 2);
    fineBins_.assign(kFineBinCount, 0.0f);
}

NoteSpectrumReader::~NoteSpectrumReader() {
    if (file_)
        ExtAudioFileDispose(file_);
}

bool NoteSpectrumReader::spectrumAt(std::int64_t frame, double shiftCents, NoteSpectrum& out,
                                    double tuningCents) {
    if (!file_)
        return false;
    const std::int64_t alignment = cascade_->alignment();
    const std::int64_t centre = std::max<std::int64_t>(0, frame) / alignment * alignment;
    const std::int64_t first = constantQ_->firstInputFor(centre);
    const std::int64_t end = constantQ_->inputEndFor(centre);
    // The cascade is still good when it started early enough for this frame, has not let go
    // of what it reads (only what earlier centres no longer needed), and the frames still
    // to decode are few.
    const bool continues = restartedAt_ >= 0 && centre >= lastCentre_ &&
                           (first >= restartedAt_ || restartedAt_ == 0) &&
                           end - cascade_->nextInput() <= kMaxForwardReadSeconds * sampleRate_;
    if (!continues) {
        const std::int64_t start = std::max<std::int64_t>(0, first / alignment * alignment);
        cascade_->restart(start);
        restartedAt_ = -1;
        if (ExtAudioFileSeek(file_, std::min(start, totalFrames_)) != noErr)
            return false;
        restartedAt_ = start;
    }
    if (!feedTo(end)) {
        restartedAt_ = -1;
        return false;
    }
    if (!constantQ_->compute(*cascade_, centre, fineBins_.data())) {
        restartedAt_ = -1;
        return false;
    }
    constantQ_->discardBefore(*cascade_, centre);
    lastCentre_ = centre;
    out = noteSpectrum(fineBins_, shiftCents, tuningCents);
    return true;
}

bool NoteSpectrumReader::feedTo(std::int64_t inputEnd) {
    while (cascade_->nextInput() < inputEnd) {
        const std::int64_t wanted =
            std::min<std::int64_t>(kChunkFrames, inputEnd - cascade_->nextInput());
        std::uint32_t frames = 0;
        if (cascade_->nextInput() < totalFrames_) {
            frames = std::uint32_t(wanted);
            AudioBufferList buffers;
            buffers.mNumberBuffers = 1;
            buffers.mBuffers[0] = {2, frames * 8, stereo_.data()};
            if (ExtAudioFileRead(file_, &frames, &buffers) != noErr)
                return false;
        }
        if (frames > 0) {
            mono_.resize(frames);
            for (std::uint32_t i = 0; i < frames; ++i)
                mono_[i] = 0.5f * (stereo_[2 * i] + stereo_[2 * i + 1]);
        } else {
            mono_.assign(std::size_t(wanted), 0.0f); // past the end of the data: silence
        }
        cascade_->push(mono_.data(), mono_.size());
    }
    return true;
}

} // namespace tonal
