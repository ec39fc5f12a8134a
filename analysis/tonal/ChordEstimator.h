#pragma once

// The chords of a recording, from its key frames (PeakFrames::keyFrames), one label per beat
// or per fixed stretch of about 0.37 s, smoothed over time.
//
// Each segment between two boundaries (the beats, when the beat tracker gives them) is the
// mean of the frames centred in it, on a square-root scale. Its treble (E2 to C7) and bass
// (around C2) are folded to pitch classes. A chord's score is the correlation of the
// treble with the chord's template, which counts each chord note's first six harmonics
// (the 3rd and 6th fall on its fifth, the 5th on its major third) at 0.55 a harmonic, plus
// half the bass's share on the chord's root. Segments more than 34 dB below the
// recording's loud frames are no chord. A Viterbi path over the segments, with a fixed
// cost for every change, gives the sequence; equal neighbours are merged.
//
// The constants were chosen on rendered pieces (bench/analysis) and checked on the same
// pieces rendered with another sound font.
//
// Plain functions: any thread.

#include "analysis/tonal/Chord.h"
#include "analysis/tonal/NoteSpectrum.h"

#include <span>
#include <vector>

namespace tonal {

struct ChordSpan {
    double startSeconds = 0;
    double endSeconds = 0;
    Chord chord;
};

constexpr double kFixedSegmentSeconds = 0.37;

// `frames` are `hopSeconds` apart, frame i centred at i · hopSeconds. `beatSeconds`,
// ascending, cut the segments; empty: fixed segments. The spans cover the frames' whole
// duration without gaps.
std::vector<ChordSpan> estimateChords(std::span<const KeyLevels> frames, double hopSeconds,
                                      std::span<const double> beatSeconds);

// The level the loud frames reach (the 95th percentile of each frame's strongest key), as
// the scale chords and key are measured against; 0 for silence.
float loudLevel(std::span<const KeyLevels> frames);

} // namespace tonal
