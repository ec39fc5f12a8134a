#include "analysis/tonal/Chord.h"

#include "analysis/tonal/NoteScale.h"

#include <array>

namespace tonal {

namespace {

constexpr std::array<std::string_view, 12> kSharpNames = {"C",  "C#", "D",  "D#", "E",  "F",
                                                          "F#", "G",  "G#", "A",  "A#", "B"};
constexpr std::array<std::string_view, 12> kFlatNames = {"C",  "Db", "D",  "Eb", "E",  "F",
                                                         "Gb", "G",  "Ab", "A",  "Bb", "B"};
constexpr std::array<std::string_view, 12> kCommonNames = {"C",  "C#", "D",  "Eb", "E",  "F",
                                                           "F#", "G",  "Ab", "A",  "Bb", "B"};

constexpr std::array<std::string_view, kChordQualityCount> kSuffixes = {
    "", "m", "7", "maj7", "m7", "dim", "aug", "sus2", "sus4"};

} // namespace

ChordIntervals chordIntervals(ChordQuality quality) {
    switch (quality) {
    case ChordQuality::Major:
        return {{0, 4, 7, 0}, 3};
    case ChordQuality::Minor:
        return {{0, 3, 7, 0}, 3};
    case ChordQuality::Dominant7:
        return {{0, 4, 7, 10}, 4};
    case ChordQuality::Major7:
        return {{0, 4, 7, 11}, 4};
    case ChordQuality::Minor7:
        return {{0, 3, 7, 10}, 4};
    case ChordQuality::Diminished:
        return {{0, 3, 6, 0}, 3};
    case ChordQuality::Augmented:
        return {{0, 4, 8, 0}, 3};
    case ChordQuality::Sus2:
        return {{0, 2, 7, 0}, 3};
    case ChordQuality::Sus4:
        return {{0, 5, 7, 0}, 3};
    }
    return {{0, 4, 7, 0}, 3};
}

std::string_view chordSuffix(ChordQuality quality) {
    return kSuffixes[std::size_t(quality)];
}

std::string pitchClassName(int pitchClass, Spelling spelling) {
    const auto& names = spelling == Spelling::Sharps  ? kSharpNames
                        : spelling == Spelling::Flats ? kFlatNames
                                                      : kCommonNames;
    return std::string(names[std::size_t(wrap(pitchClass, 12))]);
}

std::optional<std::pair<int, int>> parsePitchClass(std::string_view text) {
    static constexpr std::string_view kLetters = "C D EF G A B";
    if (text.empty())
        return std::nullopt;
    const std::size_t letter = kLetters.find(text[0]);
    if (letter == std::string_view::npos || text[0] == ' ')
        return std::nullopt;
    int pitchClass = int(letter);
    int length = 1;
    if (text.size() > 1 && (text[1] == '#' || text[1] == 'b')) {
        pitchClass += text[1] == '#' ? 1 : -1;
        length = 2;
    }
    return std::pair{wrap(pitchClass, 12), length};
}

std::string chordLabel(const Chord& chord, Spelling spelling) {
    if (chord.isNone())
        return "N";
    return pitchClassName(chord.root, spelling) + std::string(chordSuffix(chord.quality));
}

std::optional<Chord> parseChordLabel(std::string_view label) {
    if (label == "N")
        return Chord{};
    const auto root = parsePitchClass(label);
    if (!root)
        return std::nullopt;
    const std::string_view suffix = label.substr(std::size_t(root->second));
    for (int q = 0; q < kChordQualityCount; ++q)
        if (suffix == kSuffixes[std::size_t(q)])
            return Chord{root->first, ChordQuality(q)};
    return std::nullopt;
}

std::string transposeChordLabel(std::string_view label, int semitones, Spelling spelling) {
    std::optional<Chord> chord = parseChordLabel(label);
    if (!chord)
        return std::string(label);
    if (!chord->isNone())
        chord->root = wrap(chord->root + semitones, 12);
    return chordLabel(*chord, spelling);
}

} // namespace tonal
