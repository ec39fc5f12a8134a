#pragma once

// What a widget looks like, read from its rendering: renderWidget paints it over a known
// ground, and LcdReader reads the text a timer view shows the way a person would, by
// recognising the glyphs of the LCD font in its pixels, from the right edge leftwards.

#include "controls/ControlImages.h"

#include <QColor>
#include <QImage>
#include <QPainter>
#include <QWidget>
#include <algorithm>
#include <string>
#include <vector>

namespace controls_test {

// The widget's own painting over `ground`, at `scale` pixels per point.
inline QImage renderWidget(QWidget& widget, QColor ground = Qt::transparent, int scale = 1) {
    QImage image(widget.size() * scale, QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(scale);
    image.fill(ground);
    widget.render(&image, QPoint(), QRegion(), QWidget::RenderFlags());
    return image;
}

class LcdReader {
public:
    // `ground` is the colour the view was rendered over, `scale` its pixels per point (the
    // font image of that scale must be the one the program loads).
    LcdReader(QColor ground, int scale);

    // The glyphs whose tops are at `top`, ending at `rightEdge` (both in points), left to right:
    // digits, ':' (minutes separator), '.', '%' (speed unit), '+', '-'. Glyphs may be a few blank
    // points apart. Anything left over that is not blank reads as '?'.
    std::string read(const QImage& rendering, int rightEdge, int top) const;

private:
    struct Glyph {
        char character;
        QImage look; // the glyph drawn over the ground
    };
    bool blank(const QImage& rendering, int left, int right, int top) const;

    QColor ground_;
    int scale_;
    std::vector<Glyph> glyphs_;
};

constexpr int kGlyphHeight = 20;
constexpr int kFontHeight = 74;
// Signs sit 14 points left of the number but are only 10 wide.
constexpr int kMaxGap = 4;

struct LcdBox {
    char character;
    int x, y, width; // points, y up from the font image's bottom edge
};

// The font's layout, written out again here so that a mistake in the view's own table or in
// its flip to top-down coordinates shows up as a misreading.
constexpr LcdBox kLcdBoxes[] = {
    {'0', 18, 0, 14}, {'1', 0, 54, 14},  {'2', 18, 54, 14}, {'3', 36, 54, 14}, {'4', 54, 54, 14},
    {'5', 0, 27, 14}, {'6', 18, 27, 14}, {'7', 36, 27, 14}, {'8', 54, 27, 14}, {'9', 0, 0, 14},
    {':', 36, 0, 8},  {'.', 44, 0, 8},   {'%', 52, 0, 14},  {'+', 68, 0, 10},  {'-', 68, 27, 10},
};

inline LcdReader::LcdReader(QColor ground, int scale) : ground_(ground), scale_(scale) {
    const QImage font = controls::loadControlImage(QStringLiteral("lcd-font"));
    for (const LcdBox& box : kLcdBoxes) {
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

inline bool LcdReader::blank(const QImage& rendering, int left, int right, int top) const {
    for (int y = top; y < top + kGlyphHeight * scale_; ++y) {
        for (int x = std::max(left, 0); x < right; ++x) {
            if (rendering.pixelColor(x, y) != ground_) {
                return false;
            }
        }
    }
    return true;
}

inline std::string LcdReader::read(const QImage& rendering, int rightEdge, int top) const {
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
