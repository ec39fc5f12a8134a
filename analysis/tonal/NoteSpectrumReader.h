#pragma once

// The note spectrum under the playhead, read from the recording itself: for a frame
// position, the constant-Q spectrum of the sound around it (about half a second either
// side for the lowest octave, 23 ms for the highest) and its NoteSpectrum.
//
// Made for a worker thread that asks 20 to 30 times a second while the file plays: the
// reader keeps its own open file, filters and kernels, and between two positions that move
// forward by less than two seconds it decodes only the frames that came into reach since
// the last call (no seek). A jump elsewhere, or back, costs one seek and about 1.7 s of
// decoding.
//
// Thread contract: create, use and destroy on one thread (a worker thread, never the
// audio thread: it decodes and reads the file). Nothing here ends the process: a file that
// cannot be read makes isOpen() false or spectrumAt() return false.

#include "analysis/tonal/ConstantQ.h"
#include "analysis/tonal/NoteSpectrum.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace platform {
struct OpaqueExtAudioFile;
}

namespace tonal {

class NoteSpectrumReader {
public:
    // `location`: a path or file URL, as the program's file layer takes it.
    explicit NoteSpectrumReader(const std::string& location);
    ~NoteSpectrumReader();
    NoteSpectrumReader(const NoteSpectrumReader&) = delete;
    NoteSpectrumReader& operator=(const NoteSpectrumReader&) = delete;

    bool isOpen() const { return file_ != nullptr; }
    double sampleRate() const { return sampleRate_; }
    std::int64_t totalFrames() const { return totalFrames_; }

    // The spectrum around file frame `frame` (rounded down to a multiple of a few ms),
    // keys shifted by `shiftCents` and moved by the recording's `tuningCents`. Frames
    // outside the file count as silence. False when the file cannot be read there.
    bool spectrumAt(std::int64_t frame, double shiftCents, NoteSpectrum& out,
                    double tuningCents = 0);
    // The fine constant-Q bins of the last successful call (kFineBinCount amplitudes).
    const std::vector<float>& fineBins() const { return fineBins_; }

private:
    bool feedTo(std::int64_t inputEnd);

    platform::OpaqueExtAudioFile* file_ = nullptr;
    double sampleRate_ = 0;
    std::int64_t totalFrames_ = 0;
    std::unique_ptr<OctaveCascade> cascade_;
    std::unique_ptr<ConstantQ> constantQ_;
    std::int64_t restartedAt_ = -1; // input index the cascade last restarted from
    std::int64_t lastCentre_ = -1;
    std::vector<float> stereo_, mono_, fineBins_;
};

} // namespace tonal
