#pragma once

// Short pieces of music whose every beat is known, written as MIDI and rendered at test
// time by fluidsynth with the small TimGM6mb sound font (cached in the fixtures folder):
// piano arpeggios in eighths over bass and, if asked, drums (kick on the bar's strong beats,
// snare or side stick on the others, closed hi-hat in eighths), over a four-chord
// progression that changes with every bar.

#include <filesystem>
#include <ostream>
#include <string>
#include <vector>

namespace test_support {

struct MusicPiece {
    std::string name; // for test names: letters, digits and '_' only
    double bpm = 120;
    int beatsPerBar = 4;
    int bars = 16;
    bool drums = true;

    std::vector<double> beatSeconds() const;
    std::vector<double> downbeatSeconds() const;
};

inline void PrintTo(const MusicPiece& piece, std::ostream* out) { *out << piece.name; }

// The piece as a 44.1 kHz stereo WAV file. Throws std::runtime_error when fluidsynth fails.
std::filesystem::path renderMusic(const MusicPiece& piece);

// The share of `found` within `toleranceSeconds` of a distinct `expected` time, combined
// with the share of `expected` matched, as the F-measure of beat tracking (1 is perfect).
double beatFMeasure(const std::vector<double>& expected, const std::vector<double>& found,
                    double toleranceSeconds = 0.07);

} // namespace test_support
