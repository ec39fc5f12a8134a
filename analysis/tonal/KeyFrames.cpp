#include "analysis/tonal/KeyFrames.h"

#include "analysis/tonal/NoteSpectrum.h"

#include <algorithm>
#include <cmath>

namespace tonal {

namespace {
constexpr double kHopSeconds = 0.09;
constexpr std::size_t kSubBlock = 4096; // input samples pushed through the cascade at a time
constexpr int kProvisionalFrames = 320; // frames with sound: about 30 s
constexpr float kSoundAmplitude = 0.001f;
} // namespace

KeyFrameBuilder::KeyFrameBuilder(double sampleRate)
    : sampleRate_(sampleRate), hop_(0), cascade_(sampleRate, kOctaveLevels), constantQ_(cascade_),
      bins_(kFineBinCount) {
    const std::int64_t alignment = cascade_.alignment();
    hop_ = std::max<std::int64_t>(1, std::llround(kHopSeconds * sampleRate / double(alignment))) *
           alignment;
}

KeyFrameBuilder::~KeyFrameBuilder() = default;

void KeyFrameBuilder::push(const float* mono, std::size_t count) {
    while (count > 0) {
        const std::size_t n = std::min(count, kSubBlock);
        cascade_.push(mono, n);
        pushed_ += std::int64_t(n);
        mono += n;
        count -= n;
        computeReadyFrames();
    }
}

void KeyFrameBuilder::finish() {
    if (pushed_ > 0) {
        // Silence after the end, through the filters only, until the last frame centred
        // within the stream has all it reads.
        const std::int64_t end = constantQ_.inputEndFor((pushed_ - 1) / hop_ * hop_);
        const std::vector<float> silence(kSubBlock, 0.0f);
        while (cascade_.nextInput() < end) {
            cascade_.push(silence.data(),
                          std::size_t(std::min<std::int64_t>(std::int64_t(kSubBlock),
                                                             end - cascade_.nextInput())));
            computeReadyFrames();
        }
    }
    if (!provisional_)
        foldWaiting();
}

void KeyFrameBuilder::foldWaiting() {
    provisional_ = true;
    provisionalCents_ = tuning_.cents();
    for (const auto& waiting : waiting_)
        fold(waiting.data(), provisionalCents_);
    waiting_.clear();
    waiting_.shrink_to_fit();
}

void KeyFrameBuilder::computeReadyFrames() {
    while (nextFrame_ * hop_ < pushed_ && constantQ_.ready(cascade_, nextFrame_ * hop_)) {
        constantQ_.compute(cascade_, nextFrame_ * hop_, bins_.data());
        ++nextFrame_;
        constantQ_.discardBefore(cascade_, nextFrame_ * hop_);
        tuning_.addFrame(bins_);
        if (*std::max_element(bins_.begin(), bins_.end()) >= kSoundAmplitude)
            ++framesWithSound_;
        if (provisional_) {
            fold(bins_.data(), provisionalCents_);
        } else {
            waiting_.push_back(bins_);
            if (framesWithSound_ >= kProvisionalFrames)
                foldWaiting();
        }
    }
}

void KeyFrameBuilder::fold(const float* fineBins, double tuningCents) {
    frames_.push_back(
        foldPeaksToKeys(std::span<const float>(fineBins, std::size_t(kFineBinCount)), tuningCents));
}

} // namespace tonal
