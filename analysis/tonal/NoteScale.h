#pragma once

// The keyboard the tonal analysis measures on: the 85 keys from C1 (MIDI 24, 32.7 Hz) to C8
// (MIDI 108, 4186 Hz) in equal temperament at A440, each split into 12 fine bins of 8⅓ cents.
// Fine bin 12·k + 6 sits exactly on key k; key k's own bins run from 50 cents below it to
// 41⅔ cents above. Cents here are counted from C1 at A440.
//
// Plain constants and arithmetic: any thread.

#include <cmath>

namespace tonal {

constexpr int kLowestKeyMidi = 24; // C1
constexpr int kKeyCount = 85;      // C1 ... C8
constexpr int kBinsPerSemitone = 12;
constexpr int kFineBinCount = kKeyCount * kBinsPerSemitone;
constexpr double kCentsPerFineBin = 100.0 / kBinsPerSemitone;

constexpr double fineBinCents(double bin) {
    return (bin - kBinsPerSemitone / 2) * kCentsPerFineBin;
}
constexpr double centsToFineBin(double cents) {
    return cents / kCentsPerFineBin + kBinsPerSemitone / 2;
}

inline double centsToHz(double centsFromC1) {
    return 440.0 * std::exp2((centsFromC1 / 100.0 + kLowestKeyMidi - 69) / 12.0);
}
inline double hzToCents(double hz) {
    return (12.0 * std::log2(hz / 440.0) + 69 - kLowestKeyMidi) * 100.0;
}

// The pitch class (0 = C ... 11 = B) of key k.
constexpr int keyPitchClass(int key) {
    return key % 12;
}

// x modulo m in [0, m).
constexpr int wrap(int x, int m) {
    return ((x % m) + m) % m;
}

} // namespace tonal
