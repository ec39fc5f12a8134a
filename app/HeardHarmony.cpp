#include "app/HeardHarmony.h"

#include "analysis/tonal/Chord.h"
#include "analysis/tonal/MusicalKey.h"

#include <cmath>

HeardOffset heardOffset(double tuningCents, int pitchCents) {
    const double total = tuningCents + pitchCents;
    const auto semitones = int(std::lround(total / 100.0));
    return {semitones, total - 100.0 * semitones};
}

QString heardKeyText(const session::Harmony& harmony, int pitchCents) {
    if (!harmony.isKnown())
        return {};
    const HeardOffset offset = heardOffset(harmony.tuningCents, pitchCents);
    const auto cents = int(std::lround(offset.cents));
    const QString tuning = cents == 0 ? QStringLiteral("0 cents")
                                      : QStringLiteral("%1%2 cents")
                                            .arg(cents > 0 ? QStringLiteral("+") : QString())
                                            .arg(cents);
    const std::string key = tonal::transposeKeyName(harmony.key, offset.semitones);
    return key.empty() ? QStringLiteral("· ") + tuning
                       : QString::fromStdString(key) + QStringLiteral(" · ") + tuning;
}

std::vector<HeardChord> heardChords(const session::Harmony& harmony, int pitchCents) {
    const int semitones = heardOffset(harmony.tuningCents, pitchCents).semitones;
    tonal::Spelling spelling = tonal::Spelling::Common;
    if (const auto key = tonal::parseKeyName(harmony.key))
        spelling = tonal::spellingForKey(tonal::transposeKey(*key, semitones));
    std::vector<HeardChord> heard;
    for (const session::ChordSpan& chord : harmony.chords) {
        const QString label =
            QString::fromStdString(tonal::transposeChordLabel(chord.label, semitones, spelling));
        if (heard.empty() || heard.back().label != label)
            heard.push_back({chord.startSeconds, label});
    }
    return heard;
}

int tuningMatchedCents(double tuningCents, int semitones) {
    return 100 * semitones - int(std::lround(tuningCents));
}
