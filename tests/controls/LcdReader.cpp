#include "tests/controls/LcdReader.h"

#include "controls/ControlImages.h"

#include <QPainter>
#include <algorithm>

namespace controls_test {

namespace {

constexpr int kGlyphHeight = 20;
constexpr int kFontHeight = 74;
// Signs sit 14 points left of the number but are only 10 wide.
constexpr int kMaxGap = 4;

struct Box {
    char character;
    int x, y, width; // points, y up from the font image's bottom edge
};

// The font's layout, written out again here so that a mistake in the view's own table or in
// its flip to top-down coordinates shows up as a misreading.
constexpr Box kBoxes[] = {
    {'0', 18, 0, 14}, {'1', 0, 54, 14},  {'2', 18, 54, 14}, {'3', 36, 54, 14}, {'4', 54, 54, 14},
    {'5', 0, 27, 14}, {'6', 18, 27, 14}, {'7', 36, 27, 14}, {'8', 54, 27, 14}, {'9', 0, 0, 14},
    {':', 36, 0, 8},  {'.', 44, 0, 8},   {'%', 52, 0, 14},  {'+', 68, 0, 10},  {'-', 68, 27, 10},
};

} // namespace

LcdReader::LcdReader(QColor ground, int scale) : ground_(ground), scale_(scale) {
    const QImage font = controls::loadControlImage(QStringLiteral("lcd-font"));
    for (const Box& box : kBoxes) {
        const QRect pixels(box.x * scale, (kFontHeight - box.y - kGlyphHeight) * scale,
                           box.width * scale, kGlyphHeight * scale);
        QImage look(pixels.size(), QImage::Format_ARGB32_Premultiplied);
        look.fill(ground);
        QPainter painter(&look);
        painter.drawImage(QRect(QPoint(0, 0), pixels.size()), font, pixels);
        painter.end();
        look.setDevicePixelRatio(scale);
        glyphs_.push_back({box.character, look});
    }
}

bool LcdReader::blank(const QImage& rendering, int left, int right, int top) const {
    for (int y = top; y < top + kGlyphHeight * scale_; ++y) {
        for (int x = std::max(left, 0); x < right; ++x) {
            if (rendering.pixelColor(x, y) != ground_) {
                return false;
            }
        }
    }
    return true;
}

std::string LcdReader::read(const QImage& rendering, int rightEdge, int top) const {
    std::string reversed;
    // From here on in pixels.
    int x = rightEdge * scale_;
    top *= scale_;
    for (bool found = true; found;) {
        found = false;
        for (int gap = 0; gap <= kMaxGap && !found; ++gap) {
            for (const Glyph& glyph : glyphs_) {
                const int left = x - gap * scale_ - glyph.look.width();
                if (left >= 0 && rendering.copy(left, top, glyph.look.width(),
                                                glyph.look.height()) == glyph.look) {
                    reversed.push_back(glyph.character);
                    x = left;
                    found = true;
                    break;
                }
            }
        }
    }
    if (!blank(rendering, 0, x, top)) {
        reversed.push_back('?');
    }
    return std::string(reversed.rbegin(), reversed.rend());
}

} // namespace controls_test
