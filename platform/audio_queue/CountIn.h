#pragma once

// The count-in heard during a queue's lead-in: a short decaying tone on every beat,
// counted back from the frame the run starts on, so the last click falls exactly one beat
// before the music and the clicks keep their tempo whatever the play rate.
//
//   lead-in   |.......click.......click.......click.......click.......|run starts
//                     4 beats     3           2           1           before the run
//
// Only whole clicks are heard: a click that would have begun before the lead-in is left
// out. The click a whole number of bars before the run (4, 8... in 4/4) is pitched higher.
//
// Thread contract: pure functions of their arguments; called on the real-time thread (and
// clickSample on the queue thread too).

#include <cmath>
#include <cstdint>

namespace platform {

struct CountIn {
    std::uint32_t leadInFrames = 0;
    std::uint32_t beatFrames = 0; // 0: the lead-in is silent
    std::uint32_t beatsPerBar = 4;
    double sampleRate = 44100;
};

inline constexpr double kCountInClickSeconds = 0.03;
inline constexpr double kCountInDecaySeconds = 0.008;
inline constexpr double kCountInLevel = 0.5;
inline constexpr double kCountInBeatHz = 1320;
inline constexpr double kCountInBarHz = 1760;

// One click, `t` seconds after it began (silent outside [0, kCountInClickSeconds)): the
// higher tone marks a bar line. The metronome that follows the music sounds the same.
inline float clickSample(double t, bool barStart) noexcept {
    if (t < 0 || t >= kCountInClickSeconds)
        return 0.0f;
    const double hz = barStart ? kCountInBarHz : kCountInBeatHz;
    return float(kCountInLevel * std::exp(-t / kCountInDecaySeconds) *
                 std::sin(2.0 * M_PI * hz * t));
}

// The sample `framesLeft` frames before the run's first frame (1 <= framesLeft <=
// leadInFrames).
inline float countInSample(const CountIn& countIn, std::uint32_t framesLeft) noexcept {
    if (countIn.beatFrames == 0 || framesLeft == 0)
        return 0.0f;
    const std::uint32_t beat = (framesLeft + countIn.beatFrames - 1) / countIn.beatFrames;
    const std::uint64_t clickStart = std::uint64_t(beat) * countIn.beatFrames;
    if (clickStart > countIn.leadInFrames)
        return 0.0f;
    const double t = double(clickStart - framesLeft) / countIn.sampleRate;
    return clickSample(t, countIn.beatsPerBar > 0 && beat % countIn.beatsPerBar == 0);
}

} // namespace platform
