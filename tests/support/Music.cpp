#include "tests/support/Music.h"

#include "tests/support/Fixtures.h"

#include <array>
#include <cmath>
#include <cstdint>
#include <fstream>
#include <functional>
#include <stdexcept>
#include <tuple>
#include <unistd.h>

namespace test_support {
namespace {

constexpr int kTicks = 480; // per beat

struct Event {
    int tick;
    int order; // note-offs before note-ons at the same tick
    std::vector<std::uint8_t> bytes;
};

void note(std::vector<Event>& events, int tick, int length, int channel, int pitch, int velocity) {
    events.push_back(
        {tick, 1, {std::uint8_t(0x90 | channel), std::uint8_t(pitch), std::uint8_t(velocity)}});
    events.push_back({tick + length, 0, {std::uint8_t(0x80 | channel), std::uint8_t(pitch), 0}});
}

std::vector<Event> events(const MusicPiece& piece) {
    const int micros = int(std::lround(60e6 / piece.bpm));
    std::vector<Event> out{{0,
                            0,
                            {0xFF, 0x51, 3, std::uint8_t(micros >> 16), std::uint8_t(micros >> 8),
                             std::uint8_t(micros)}},
                           {0, 0, {0xC1, 33}}, // fingered bass
                           {0, 0, {0xC0, 0}}}; // piano
    constexpr std::array<std::pair<int, bool>, 4> chords{
        {{0, false}, {9, true}, {5, false}, {7, false}}};
    for (int bar = 0; bar < piece.bars; ++bar) {
        const int start = bar * piece.beatsPerBar * kTicks;
        const auto [root, minor] = chords[std::size_t(bar % 4)];
        const std::array<int, 4> arpeggio{60 + root, 60 + root + (minor ? 3 : 4), 67 + root,
                                          72 + root};
        note(out, start, piece.beatsPerBar * kTicks - 20, 1, 36 + root, 100);
        for (int eighth = 0; eighth < 2 * piece.beatsPerBar; ++eighth)
            note(out, start + eighth * kTicks / 2, kTicks - 20, 0,
                 arpeggio[std::size_t(eighth % 4)],
                 eighth == 0  ? 100
                 : eighth % 2 ? 55
                              : 75);
        if (!piece.drums)
            continue;
        for (int beat = 0; beat < piece.beatsPerBar; ++beat) {
            const bool strong = beat == 0 || (piece.beatsPerBar == 4 && beat == 2);
            note(out, start + beat * kTicks, 60, 9, strong ? 36 : 38, strong ? 110 : 90);
            note(out, start + beat * kTicks, 60, 9, 42, 80);
            note(out, start + beat * kTicks + kTicks / 2, 60, 9, 42, 55);
        }
    }
    out.push_back({piece.bars * piece.beatsPerBar * kTicks + kTicks, 2, {0xFF, 0x2F, 0}});
    std::stable_sort(out.begin(), out.end(), [](const Event& a, const Event& b) {
        return std::tie(a.tick, a.order) < std::tie(b.tick, b.order);
    });
    return out;
}

std::string midiFile(const MusicPiece& piece) {
    std::string track;
    int now = 0;
    for (const Event& event : events(piece)) {
        std::uint32_t delta = std::uint32_t(event.tick - now);
        now = event.tick;
        std::string length(1, char(delta & 0x7F));
        while (delta >>= 7)
            length.insert(length.begin(), char((delta & 0x7F) | 0x80));
        track += length + std::string(event.bytes.begin(), event.bytes.end());
    }
    auto be32 = [](std::uint32_t v) {
        return std::string{char(v >> 24), char(v >> 16), char(v >> 8), char(v)};
    };
    return "MThd" + be32(6) + std::string{0, 0, 0, 1, char(kTicks >> 8), char(kTicks & 0xFF)} +
           "MTrk" + be32(std::uint32_t(track.size())) + track;
}

} // namespace

std::vector<double> MusicPiece::beatSeconds() const {
    std::vector<double> beats;
    for (int i = 0; i < bars * beatsPerBar; ++i)
        beats.push_back(i * 60.0 / bpm);
    return beats;
}

std::vector<double> MusicPiece::downbeatSeconds() const {
    std::vector<double> downbeats;
    for (int i = 0; i < bars; ++i)
        downbeats.push_back(i * beatsPerBar * 60.0 / bpm);
    return downbeats;
}

std::filesystem::path renderMusic(const MusicPiece& piece) {
    const std::string midi = midiFile(piece);
    char hash[17];
    std::snprintf(hash, sizeof hash, "%016zx", std::hash<std::string>{}(midi));
    const auto directory = fixtureDirectory();
    const auto target = directory / ("music-" + piece.name + "-" + hash + ".wav");
    if (std::filesystem::exists(target))
        return target;
    const std::string unique = std::to_string(::getpid());
    const auto midiPath = directory / (".music-" + unique + ".mid");
    const auto partial = directory / (".music-" + unique + ".wav");
    std::ofstream(midiPath, std::ios::binary) << midi;
    const int status =
        run(std::string(STUDYLOOP_FLUIDSYNTH) + " -ni -q -g 0.6 -r 44100 -F " +
            shellQuote(partial.string()) + " " + shellQuote(STUDYLOOP_TEST_SOUNDFONT) + " " +
            shellQuote(midiPath.string()) + " >/dev/null 2>&1");
    std::filesystem::remove(midiPath);
    if (status != 0)
        throw std::runtime_error("fluidsynth could not render " + piece.name);
    std::filesystem::rename(partial, target);
    return target;
}

double beatFMeasure(const std::vector<double>& expected, const std::vector<double>& found,
                    double toleranceSeconds) {
    if (expected.empty() || found.empty())
        return 0;
    std::vector<bool> taken(expected.size(), false);
    std::size_t hits = 0;
    for (double time : found)
        for (std::size_t i = 0; i < expected.size(); ++i)
            if (!taken[i] && std::abs(expected[i] - time) <= toleranceSeconds) {
                taken[i] = true;
                ++hits;
                break;
            }
    const double precision = double(hits) / double(found.size());
    const double recall = double(hits) / double(expected.size());
    return hits ? 2 * precision * recall / (precision + recall) : 0;
}

} // namespace test_support
