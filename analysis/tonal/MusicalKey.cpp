#include "analysis/tonal/MusicalKey.h"

#include "analysis/tonal/NoteScale.h"

namespace tonal {

Spelling spellingForKey(const MusicalKey& key) {
    if (!key.isKnown())
        return Spelling::Common;
    // The relative major decides: its tonic's place on the circle of fifths.
    const int major = key.minor ? wrap(key.tonic + 3, 12) : key.tonic;
    switch (major) {
    case 0:
        return Spelling::Common;
    case 5:
    case 10:
    case 3:
    case 8:
    case 1:
        return Spelling::Flats;
    case 6:
        return key.minor ? Spelling::Flats : Spelling::Sharps; // Eb minor, F# major
    default:
        return Spelling::Sharps; // G D A E B
    }
}

std::string keyName(const MusicalKey& key) {
    if (!key.isKnown())
        return "";
    return pitchClassName(key.tonic, spellingForKey(key)) + (key.minor ? " minor" : " major");
}

std::optional<MusicalKey> parseKeyName(std::string_view name) {
    const auto tonic = parsePitchClass(name);
    if (!tonic)
        return std::nullopt;
    const std::string_view mode = name.substr(std::size_t(tonic->second));
    if (mode == " major")
        return MusicalKey{tonic->first, false};
    if (mode == " minor")
        return MusicalKey{tonic->first, true};
    return std::nullopt;
}

MusicalKey transposeKey(const MusicalKey& key, int semitones) {
    if (!key.isKnown())
        return key;
    return {wrap(key.tonic + semitones, 12), key.minor};
}

std::string transposeKeyName(std::string_view name, int semitones) {
    const auto key = parseKeyName(name);
    return key ? keyName(transposeKey(*key, semitones)) : std::string(name);
}

} // namespace tonal
