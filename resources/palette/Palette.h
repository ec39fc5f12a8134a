#pragma once

// The colours of Study Loop, so the waveform field, the HUD bar of controls under it, the
// images drawn at build time and the icon read as one surface of one blue.
//
// The ground is a single hue darkening downwards: the waveform field runs from kFieldTop
// at its top edge to kFieldBottom at its bottom edge; the HUD bar starts at kFieldBottom,
// where the field ends, and darkens to kFieldDeep, the ground of the controls. The blues
// drawn on it share the ground's hue: kWaveform, saturated, for the audio itself (and the
// axis it sits on), kAccent, paler, for highlights, lit segments and outlines.
//
//     waveform field   kFieldTop     #004C6E
//                      kFieldBottom  #002B4A
//     HUD bar          kFieldBottom  #002B4A
//                      kFieldDeep    #001A30
//
// Plain 8-bit values with no dependency, so OpenGL code, QPainter code and the build-time
// image programs use the same numbers; PaletteQColor.h makes QColors of them.

#include <cstdint>

namespace palette {

struct Rgb {
    std::uint8_t r;
    std::uint8_t g;
    std::uint8_t b;

    // 0..1, for glColor and friends.
    constexpr float redF() const { return static_cast<float>(r) / 255.0f; }
    constexpr float greenF() const { return static_cast<float>(g) / 255.0f; }
    constexpr float blueF() const { return static_cast<float>(b) / 255.0f; }

    constexpr bool operator==(const Rgb&) const = default;
};

inline constexpr Rgb kFieldTop{0x00, 0x4C, 0x6E};
inline constexpr Rgb kFieldBottom{0x00, 0x2B, 0x4A};
inline constexpr Rgb kFieldDeep{0x00, 0x1A, 0x30};
inline constexpr Rgb kWaveform{0x29, 0xA3, 0xFF};
inline constexpr Rgb kAccent{0x7C, 0xC6, 0xF2};
inline constexpr Rgb kWhite{0xFF, 0xFF, 0xFF};

} // namespace palette
