#include "tools/make_demo/Score.h"

#include "tools/make_demo/Voices.h"

#include <cmath>
#include <numbers>
#include <stdexcept>
#include <string>
#include <string_view>

namespace make_demo {

namespace {

// Parts are written as text so the music reads like music: "E5:4" is E5 for four sixteenths,
// "C4+E4+G4:16" a chord for a bar, "r:2" a rest, and "|" a bar line, checked to fall on a
// whole bar so a miscounted bar fails the build instead of shifting everything after it.
struct Note {
    int step;   // sixteenths from the start of the piece
    int length; // in sixteenths
    std::vector<int> pitches;
};

int parsePitch(std::string_view name) {
    static constexpr int kSemitones[] = {9, 11, 0, 2, 4, 5, 7}; // A B C D E F G
    if (name.size() < 2 || name[0] < 'A' || name[0] > 'G')
        throw std::invalid_argument("bad pitch '" + std::string(name) + "'");
    int pitch = kSemitones[name[0] - 'A'];
    std::size_t at = 1;
    if (name[at] == '#' || name[at] == 'b')
        pitch += name[at++] == '#' ? 1 : -1;
    if (at + 1 != name.size() || name[at] < '0' || name[at] > '9')
        throw std::invalid_argument("bad octave in '" + std::string(name) + "'");
    return pitch + 12 * (name[at] - '0' + 1);
}

std::vector<Note> parsePart(std::string_view text) {
    std::vector<Note> notes;
    int step = 0;
    while (!text.empty()) {
        const auto start = text.find_first_not_of(' ');
        if (start == std::string_view::npos)
            break;
        text.remove_prefix(start);
        const auto token = text.substr(0, text.find(' '));
        text.remove_prefix(token.size());
        if (token == "|") {
            if (step % kStepsPerBar != 0)
                throw std::invalid_argument("bar line at step " + std::to_string(step));
            continue;
        }
        const auto colon = token.find(':');
        if (colon == std::string_view::npos || colon + 1 == token.size())
            throw std::invalid_argument("missing length in '" + std::string(token) + "'");
        const int length = std::stoi(std::string(token.substr(colon + 1)));
        Note note{step, length, {}};
        for (auto pitches = token.substr(0, colon); pitches != "r";) {
            const auto plus = pitches.find('+');
            note.pitches.push_back(parsePitch(pitches.substr(0, plus)));
            if (plus == std::string_view::npos)
                break;
            pitches.remove_prefix(plus + 1);
        }
        if (!note.pitches.empty())
            notes.push_back(note);
        step += length;
    }
    if (step != kBars * kStepsPerBar)
        throw std::invalid_argument("part lasts " + std::to_string(step) + " sixteenths");
    return notes;
}

// Bars 1–8 state the tune, 9–12 answer it with sixteenth-note runs (the passage a student
// will want to slow down), 13–16 bring the tune back and cadence onto C.
constexpr std::string_view kLead =
    "G4:4 C5:4 E5:6 D5:2 | C5:4 A4:4 E5:8 | F5:4 E5:4 D5:4 C5:4 | D5:6 B4:2 G4:8 | "
    "G4:4 C5:4 E5:6 G5:2 | A5:4 G5:4 E5:8 | F5:4 A5:4 G5:2 F5:2 E5:2 D5:2 | D5:12 r:4 | "
    "C5:1 D5:1 E5:1 G5:1 C6:4 B5:1 A5:1 G5:1 E5:1 G5:4 | "
    "A5:2 G5:1 E5:1 C5:2 E5:2 A4:4 r:2 C5:1 D5:1 | "
    "E5:1 F5:1 A5:1 C6:1 A5:1 F5:1 C5:1 F5:1 A5:4 G5:2 F5:2 | "
    "G5:1 F5:1 E5:1 D5:1 B4:1 C5:1 D5:1 G4:1 D5:6 r:2 | "
    "G4:4 C5:4 E5:6 D5:2 | C5:2 E5:2 A5:4 G5:2 E5:2 C5:4 | F5:4 E5:2 D5:2 C5:2 D5:2 E5:4 | "
    "D5:4 B4:4 C5:6 r:2";

// The bass and pad go round the progression three times, then turn the last V into a cadence.
constexpr std::string_view kBassCycle = "C2:6 C2:2 G2:4 C3:2 G2:2 | A1:6 A1:2 E2:4 A2:2 E2:2 | "
                                        "F1:6 F1:2 C2:4 F2:2 C2:2 | G1:6 G1:2 D2:4 G2:2 D2:2 | ";
constexpr std::string_view kBassEnding = "C2:6 C2:2 G2:4 C3:2 G2:2 | A1:6 A1:2 E2:4 A2:2 E2:2 | "
                                         "F1:6 F1:2 C2:4 F2:2 C2:2 | G1:6 G1:2 C2:6 r:2";
constexpr std::string_view kPadCycle = "C4+E4+G4:16 | C4+E4+A4:16 | C4+F4+A4:16 | B3+D4+G4:16 | ";
constexpr std::string_view kPadEnding =
    "C4+E4+G4:16 | C4+E4+A4:16 | C4+F4+A4:16 | B3+D4+G4:8 C4+E4+G4:5 r:3";

std::string threeTimesThen(std::string_view cycle, std::string_view ending) {
    std::string part;
    for (int i = 0; i < 3; ++i)
        part += cycle;
    return part += ending;
}

// One bar of drums on a sixteenth grid: x hit, o open hat, . nothing.
struct Groove {
    std::string_view kick, snare, hat;
};
constexpr Groove kVerse{"x.......x.x.....", "....x.......x...", "x.x.x.x.x.x.x.x."};
constexpr Groove kDriving{"x.......x.x.....", "....x.......x...", "xxxxxxxxxxxxxxxx"};
constexpr Groove kFill{"x.......x.x.....", "....x.......xxxx", "x.x.x.x.x.x....."};
constexpr Groove kEnding{"x.......x.......", "....x...........", "x.x.x.x.o......."};

const Groove& grooveFor(int bar) {
    if (bar == kBars - 1)
        return kEnding;
    if (bar == 7 || bar == 11)
        return kFill;
    return bar >= 8 ? kDriving : kVerse;
}

// Downbeats a little louder than off-beats, sixteenths in between softer still.
float accent(int step) {
    return step % 4 == 0 ? 1.0f : step % 2 == 0 ? 0.8f : 0.6f;
}

std::int64_t frameOf(int step) {
    return step * kFramesPerStep;
}
double secondsOf(int steps) {
    return double(steps * kFramesPerStep) / kSampleRate;
}

using Voice = void (*)(Track&, std::int64_t, double, int, float);

Track renderPart(std::string_view part, Voice voice, double legato) {
    Track track(kFrames, 0.0f);
    for (const Note& note : parsePart(part))
        for (int pitch : note.pitches)
            voice(track, frameOf(note.step), secondsOf(note.length) * legato, pitch,
                  accent(note.step));
    return track;
}

struct Drums {
    Track kick, snare, hat;
};

Drums renderDrums() {
    Drums drums{Track(kFrames, 0.0f), Track(kFrames, 0.0f), Track(kFrames, 0.0f)};
    for (int bar = 0; bar < kBars; ++bar) {
        const Groove& groove = grooveFor(bar);
        for (int i = 0; i < kStepsPerBar; ++i) {
            const int step = bar * kStepsPerBar + i;
            const auto at = frameOf(step);
            if (groove.kick[i] == 'x')
                addKick(drums.kick, at, accent(i));
            // A fill's last beat starts soft and grows into the next bar.
            const bool fillRun = &groove == &kFill && i >= 12;
            if (groove.snare[i] == 'x')
                addSnare(drums.snare, at, fillRun ? 0.55f + 0.12f * float(i - 12) : 1.0f);
            if (groove.hat[i] != '.')
                addHat(drums.hat, at, accent(i), groove.hat[i] == 'o');
        }
    }
    return drums;
}

// Equal-power panning: -1 is hard left, +1 hard right, and the centre is not louder than
// the sides.
void mixIn(Stereo& mix, const Track& track, float gain, float pan) {
    const double angle = (pan + 1.0) * std::numbers::pi / 4.0;
    const auto left = float(gain * std::cos(angle));
    const auto right = float(gain * std::sin(angle));
    for (std::size_t i = 0; i < track.size(); ++i) {
        mix.left[i] += left * track[i];
        mix.right[i] += right * track[i];
    }
}

// A dotted-eighth echo of the lead, darker with each repeat, answering from the other side.
Track echoOf(const Track& dry) {
    const std::size_t delay = std::size_t(3 * kFramesPerStep);
    Track echo(dry.size(), 0.0f);
    Svf darken;
    for (std::size_t i = delay; i < dry.size(); ++i)
        echo[i] = darken.process(dry[i - delay] + 0.35f * echo[i - delay], 2500.0, 0.7).low;
    return echo;
}

} // namespace

Stereo renderPiece() {
    const Track lead = renderPart(kLead, addLead, 0.9);
    const Track bass = renderPart(threeTimesThen(kBassCycle, kBassEnding), addBass, 0.85);
    const Track pad = renderPart(threeTimesThen(kPadCycle, kPadEnding), addPad, 1.0);
    const Drums drums = renderDrums();

    Stereo mix{Track(kFrames, 0.0f), Track(kFrames, 0.0f)};
    mixIn(mix, lead, 0.5f, -0.3f);
    mixIn(mix, echoOf(lead), 0.18f, 0.5f);
    mixIn(mix, bass, 0.55f, 0.0f);
    mixIn(mix, pad, 0.1f, 0.0f);
    mixIn(mix, drums.kick, 0.7f, 0.0f);
    mixIn(mix, drums.snare, 0.6f, 0.05f);
    mixIn(mix, drums.hat, 0.22f, 0.35f);

    // Whatever still rings at the last frame fades out over 100 ms rather than stopping dead.
    const auto fade = std::int64_t(0.1 * kSampleRate);
    for (std::int64_t i = 0; i < fade; ++i) {
        const auto at = std::size_t(kFrames - fade + i);
        const auto gain = float(fade - 1 - i) / float(fade);
        mix.left[at] *= gain;
        mix.right[at] *= gain;
    }
    return mix;
}

} // namespace make_demo
