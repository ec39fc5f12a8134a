#pragma once

// The whole-recording features the chords and the key are found from: every `hopSeconds`
// a constant-Q frame folded to the 85 keys, tuning compensated, and the recording's
// tuning. Built from a stream of mono samples in one pass, holding 340 bytes a frame
// (about 13 MB for an hour) and no audio.
//
// The keys are folded around a provisional tuning, estimated over the first frames with
// sound (about 30 s of them): frames until then wait in full (4 KB each), then all are
// folded with it. A recording keeps its tuning from start to end, so the final estimate,
// over the whole stream, differs from the provisional one by a cent or two, which a fold
// 100 cents wide does not notice.
//
// Thread contract: one thread at a time.

#include "analysis/tonal/ConstantQ.h"
#include "analysis/tonal/NoteSpectrum.h"
#include "analysis/tonal/TuningEstimator.h"

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

namespace tonal {

class KeyFrameBuilder {
public:
    explicit KeyFrameBuilder(double sampleRate);
    ~KeyFrameBuilder();

    // Frame i is centred on input sample i · hopFrames (about 93 ms apart).
    std::int64_t hopFrames() const { return hop_; }
    double hopSeconds() const { return double(hop_) / sampleRate_; }

    void push(const float* mono, std::size_t count);
    // Completes the frames centred within the samples pushed (the last ones read silence
    // past the end) and folds any that still wait. Call once, after the last push.
    void finish();

    const std::vector<KeyLevels>& frames() const { return frames_; }
    double tuningCents() const { return tuning_.cents(); }

private:
    void computeReadyFrames();
    void foldWaiting();
    void fold(const float* fineBins, double tuningCents);

    double sampleRate_;
    std::int64_t hop_;
    OctaveCascade cascade_;
    ConstantQ constantQ_;
    TuningEstimator tuning_;
    std::int64_t pushed_ = 0;
    std::int64_t nextFrame_ = 0;
    std::vector<float> bins_;
    std::vector<std::vector<float>> waiting_; // frames before the provisional tuning
    bool provisional_ = false;
    double provisionalCents_ = 0;
    int framesWithSound_ = 0;
    std::vector<KeyLevels> frames_;
};

} // namespace tonal
