#pragma once

// The constant-Q magnitude spectrum of one moment of a stream, on the fine bins of
// NoteScale.h (12 a semitone, C1 - 50 cents to C8 + 42 cents): for each bin, the amplitude
// of the sound at that bin's frequency, through a Hann window centred on the moment.
//
// Each window is just long enough for the next semitone to fall on its first zero (Q =
// 33.6: about a second at C1, a tenth at C4), and never shorter than 46 ms, so that the top
// octaves, whose constant-Q windows would last a few milliseconds, see a stretch of sound
// a display frame or an analysis hop long rather than a sliver of it.
//
// The kernels are precomputed in the frequency domain and sparse (Brown and Puckette's
// method), one set per octave level of an OctaveCascade: each octave is read from the
// level where it sits at the same place relative to the rate, so every level needs one
// FFT of 512 points or fewer. A sine of amplitude A at a bin's frequency gives A there.
//
// Thread contract: the kernels are built once per rate and shared, read-only, by every
// object of that rate (building them takes a few tens of milliseconds); `compute` uses
// scratch buffers of its object, so one thread at a time per object.

#include "analysis/signal/RealFft.h"
#include "analysis/tonal/NoteScale.h"
#include "analysis/tonal/OctaveCascade.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace tonal {

struct OctaveKernel;

constexpr int kOctaveLevels = 7;

class ConstantQ {
public:
    static constexpr double kMinWindowSeconds = 0.046;

    // For streams read through `cascade` (or any cascade of the same rate and levels).
    explicit ConstantQ(const OctaveCascade& cascade);
    ~ConstantQ();
    ConstantQ(const ConstantQ&) = delete;
    ConstantQ& operator=(const ConstantQ&) = delete;

    // The input samples a frame centred on input index `centre` reads, filters included.
    std::int64_t firstInputFor(std::int64_t centre) const;
    std::int64_t inputEndFor(std::int64_t centre) const;

    // Whether the cascade holds everything the frame centred on `centre` (a multiple of
    // the cascade's alignment) reads.
    bool ready(const OctaveCascade& cascade, std::int64_t centre) const;
    // Fills `magnitudes` (kFineBinCount) for the frame centred on `centre`. False when the
    // cascade does not hold what the frame reads (then `magnitudes` is left unspecified).
    bool compute(const OctaveCascade& cascade, std::int64_t centre, float* magnitudes);
    // Lets the cascade drop what no frame centred at or after `centre` reads.
    void discardBefore(OctaveCascade& cascade, std::int64_t centre) const;

private:
    OctaveCascade geometry_; // rates and filter reach only: nothing is pushed into it
    std::int64_t alignment_;
    // The kernels are the same for every transform of a rate: built once, then shared.
    std::shared_ptr<const std::vector<OctaveKernel>> kernels_;
    std::vector<std::unique_ptr<analysis::RealFft>> ffts_; // one per level
};

} // namespace tonal
