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

// One value per key (0 = C1): the amplitude of the strongest fine bin within 50 cents of
// the key, 0 for a key whose band lies outside C1 - 50 cents ... C8 + 42 cents of the audio.
using KeyLevels = std::array<float, kKeyCount>;

struct NoteSpectrum {
    KeyLevels keyLevels{};
    // The keys that sound, ascending: peaks of the fine spectrum no weaker than a fifth of
    // the strongest (-14 dB) and above -54 dBFS, less those on an overtone of a lit lower
    // key and less than half as strong as it; at most kMaxStrongestKeys, the strongest
    // first to be chosen.
    std::vector<int> strongestKeys;
};

constexpr int kMaxStrongestKeys = 8;
constexpr float kSilenceAmplitude = 0.002f; // -54 dBFS
constexpr float kStrongestShare = 0.2f;

// `fineBins` has kFineBinCount amplitudes, as ConstantQ gives them. `offsetCents` is where
// the keys' bands sit against equal temperament in the audio: tuning - shift.
KeyLevels foldToKeys(std::span<const float> fineBins, double offsetCents);
std::vector<int> strongestKeys(std::span<const float> fineBins, double offsetCents);
// As foldToKeys, but only the spectrum's peaks count: a key gets the strongest local
// maximum within its band, 0 when the band only holds the skirt of a neighbour's peak. A
// short note's spectrum is as wide as its duration is short; this keeps it to its key.
KeyLevels foldPeaksToKeys(std::span<const float> fineBins, double offsetCents);

NoteSpectrum noteSpectrum(std::span<const float> fineBins, double shiftCents,
                          double tuningCents = 0);

} // namespace tonal
