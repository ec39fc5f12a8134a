#pragma once

// Where each glyph of the LCD font image "lcd-font.png" lies. Header only, so that the
// program drawing the image and the timer view reading it share the one table.
//
// The table keeps the boxes as they were laid out, with the origin at the bottom left of
// the image; lcdGlyphRect() is the one place that turns them into Qt's top-left rectangles.
//
// Thread contract: constants and pure functions, callable from any thread.

#include <QRectF>
#include <array>

namespace controls {

enum class LcdGlyph {
    Digit0,
    Digit1,
    Digit2,
    Digit3,
    Digit4,
    Digit5,
    Digit6,
    Digit7,
    Digit8,
    Digit9,
    MinutesSeparator, // between minutes and seconds
    DecimalSeparator, // before hundredths, and before the tenths of a pitch
    SpeedUnit,        // right of a percentage
    PlusSign,
    MinusSign,
};
inline constexpr int kLcdGlyphCount = 15;

// The font image in points (the @2x file has twice as many pixels).
inline constexpr int kLcdFontWidth = 80;
inline constexpr int kLcdFontHeight = 74;

struct LcdGlyphBox {
    int x, y, width, height; // points; y counts up from the image's bottom edge
};

// Indexed by LcdGlyph. The digits follow the image, not their value order: 1 to 4 on the top
// row, 5 to 8 in the middle, 9 and 0 at the bottom left.
inline constexpr std::array<LcdGlyphBox, kLcdGlyphCount> kLcdGlyphBoxes{{
    {18, 0, 14, 20},  // 0
    {0, 54, 14, 20},  // 1
    {18, 54, 14, 20}, // 2
    {36, 54, 14, 20}, // 3
    {54, 54, 14, 20}, // 4
    {0, 27, 14, 20},  // 5
    {18, 27, 14, 20}, // 6
    {36, 27, 14, 20}, // 7
    {54, 27, 14, 20}, // 8
    {0, 0, 14, 20},   // 9
    {36, 0, 8, 20},   // minutes separator
    {44, 0, 8, 20},   // decimal separator
    {52, 0, 14, 20},  // speed unit
    {68, 0, 10, 20},  // plus sign
    {68, 27, 10, 20}, // minus sign
}};

// The glyph's rectangle in points, origin at the image's top left.
inline QRectF lcdGlyphRect(LcdGlyph glyph) {
    const LcdGlyphBox& box = kLcdGlyphBoxes[static_cast<std::size_t>(glyph)];
    return QRectF(box.x, kLcdFontHeight - box.y - box.height, box.width, box.height);
}

// The glyph of a decimal digit 0..9.
inline LcdGlyph lcdDigit(int digit) {
    return static_cast<LcdGlyph>(digit);
}

} // namespace controls
