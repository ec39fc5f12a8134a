#pragma once

// The note strip's view of one constant-Q frame: one level per key of the 85 (C1 to C8) and
// the few keys that light up.
//
// The keys are the notes as heard: with the player transposing by `shiftCents`, key k
// shows the audio at k - shift, so the strip moves with the pitch shift without any audio
// being analysed again. `tuningCents` is the recording's own deviation from A440: a
// recording 20 cents sharp has its notes 20 cents above the equal-tempered keys, and each
// key's band follows them.
//
// Plain functions on their arguments: any thread.

#include "analysis/tonal/NoteScale.h"

#include <array>
#include <span>
#include <vector>

namespace tonal {

struct NoteSpectrum {
    // The amplitude of the strongest fine bin within 50 cents of each key (0 = C1), 0 for a
    // key whose band lies outside C1 - 50 cents ... C8 + 42 cents of the audio.
    std::array<float, kKeyCount> keyLevels{};
    // The keys that sound, ascending: peaks of the fine spectrum no weaker than a fifth of
    // the strongest (-14 dB) and above -54 dBFS, less those that are only an overtone of a
    // stronger lit key; at most kMaxStrongestKeys, the strongest first to be chosen.
    std::vector<int> strongestKeys;
};

constexpr int kMaxStrongestKeys = 8;
constexpr float kSilenceAmplitude = 0.002f; // -54 dBFS
constexpr float kStrongestShare = 0.2f;

// `fineBins` has kFineBinCount amplitudes, as ConstantQ gives them.
NoteSpectrum noteSpectrum(std::span<const float> fineBins, double shiftCents,
                          double tuningCents = 0);

} // namespace tonal
