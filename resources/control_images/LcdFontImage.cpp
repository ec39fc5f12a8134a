// The LCD font: seven-segment digits and a few signs in light blue on a transparent ground,
// each glyph inside its box of the shared glyph table. Unlit segments are kept as a faint
// ghost, as on a real liquid-crystal panel.

#include "controls/LcdGlyphs.h"
#include "resources/control_images/Drawings.h"
#include "resources/control_images/ImageSet.h"
#include "resources/palette/PaletteQColor.h"

#include <QPainter>
#include <QPainterPath>
#include <array>

namespace {

using controls::LcdGlyph;

constexpr double kThickness = 2.2; // segment stroke, points
const QColor kLit = QColor(0xDF, 0xF3, 0xFF);
const QColor kGlow = palette::qColor(palette::kAccent, 0.55);
const QColor kGhost = palette::qColor(palette::kAccent, 0.09);

// A horizontal segment from x0 to x1 at height y, with pointed ends.
QPainterPath horizontalSegment(double x0, double x1, double y) {
    const double half = kThickness / 2;
    QPainterPath path;
    path.moveTo(x0, y);
    path.lineTo(x0 + half, y - half);
    path.lineTo(x1 - half, y - half);
    path.lineTo(x1, y);
    path.lineTo(x1 - half, y + half);
    path.lineTo(x0 + half, y + half);
    path.closeSubpath();
    return path;
}

QPainterPath verticalSegment(double x, double y0, double y1) {
    const double half = kThickness / 2;
    QPainterPath path;
    path.moveTo(x, y0);
    path.lineTo(x + half, y0 + half);
    path.lineTo(x + half, y1 - half);
    path.lineTo(x, y1);
    path.lineTo(x - half, y1 - half);
    path.lineTo(x - half, y0 + half);
    path.closeSubpath();
    return path;
}

// The seven segments of a cell 14 x 20 points whose top left is `origin`, in the usual
// order a b c d e f g (top, upper right, lower right, bottom, lower left, upper left, middle).
std::array<QPainterPath, 7> sevenSegments(QPointF origin) {
    const double left = 2.6, right = 11.4, top = 2.2, middle = 10.0, bottom = 17.8, gap = 0.5;
    std::array<QPainterPath, 7> segments{
        horizontalSegment(left + gap, right - gap, top),
        verticalSegment(right, top + gap, middle - gap),
        verticalSegment(right, middle + gap, bottom - gap),
        horizontalSegment(left + gap, right - gap, bottom),
        verticalSegment(left, middle + gap, bottom - gap),
        verticalSegment(left, top + gap, middle - gap),
        horizontalSegment(left + gap, right - gap, middle),
    };
    for (QPainterPath& segment : segments) {
        segment.translate(origin);
    }
    return segments;
}

// Which segments each digit lights, a..g as bits 0..6.
constexpr std::array<int, 10> kDigitSegments{0x3F, 0x06, 0x5B, 0x4F, 0x66,
                                             0x6D, 0x7D, 0x07, 0x7F, 0x6F};

void paintLit(QPainter& painter, const QPainterPath& shape) {
    painter.setPen(QPen(kGlow, 0.9));
    painter.setBrush(kLit);
    painter.drawPath(shape);
}

void paintGhost(QPainter& painter, const QPainterPath& shape) {
    painter.setPen(Qt::NoPen);
    painter.setBrush(kGhost);
    painter.drawPath(shape);
}

QPainterPath square(double centreX, double centreY, double size) {
    QPainterPath path;
    path.addRoundedRect(QRectF(centreX - size / 2, centreY - size / 2, size, size), 0.4, 0.4);
    return path;
}

void drawDigit(QPainter& painter, int digit) {
    const QRectF cell = controls::lcdGlyphRect(controls::lcdDigit(digit));
    const auto segments = sevenSegments(cell.topLeft());
    for (int index = 0; index < 7; ++index) {
        if (kDigitSegments[static_cast<std::size_t>(digit)] & (1 << index)) {
            paintLit(painter, segments[static_cast<std::size_t>(index)]);
        } else {
            paintGhost(painter, segments[static_cast<std::size_t>(index)]);
        }
    }
}

// Paints into the glyph's box only.
template <typename Paint> void inBox(QPainter& painter, LcdGlyph glyph, Paint paint) {
    painter.save();
    painter.setClipRect(controls::lcdGlyphRect(glyph));
    paint(controls::lcdGlyphRect(glyph));
    painter.restore();
}

void drawSigns(QPainter& painter) {
    inBox(painter, LcdGlyph::MinutesSeparator, [&](const QRectF& colon) {
        paintLit(painter, square(colon.center().x(), colon.top() + 7.0, 2.4));
        paintLit(painter, square(colon.center().x(), colon.top() + 13.6, 2.4));
    });
    inBox(painter, LcdGlyph::DecimalSeparator, [&](const QRectF& point) {
        paintLit(painter, square(point.center().x(), point.top() + 17.8, 2.4));
    });
    // A percent sign built from segments: two small boxes and a slanted bar.
    inBox(painter, LcdGlyph::SpeedUnit, [&](const QRectF& unit) {
        QPainterPath ringTop;
        ringTop.addRoundedRect(QRectF(unit.left() + 2.0, unit.top() + 3.0, 4.0, 4.6), 1.0, 1.0);
        QPainterPath ringBottom;
        ringBottom.addRoundedRect(QRectF(unit.left() + 8.0, unit.top() + 12.4, 4.0, 4.6), 1.0, 1.0);
        painter.setBrush(Qt::NoBrush);
        painter.setPen(QPen(kLit, 1.5));
        painter.drawPath(ringTop);
        painter.drawPath(ringBottom);
        QPainterPath slash;
        slash.moveTo(unit.left() + 10.6, unit.top() + 2.6);
        slash.lineTo(unit.left() + 12.2, unit.top() + 2.6);
        slash.lineTo(unit.left() + 3.4, unit.top() + 17.4);
        slash.lineTo(unit.left() + 1.8, unit.top() + 17.4);
        slash.closeSubpath();
        paintLit(painter, slash);
    });
    inBox(painter, LcdGlyph::PlusSign, [&](const QRectF& plus) {
        paintLit(painter,
                 horizontalSegment(plus.left() + 1.0, plus.right() - 1.0, plus.top() + 10.0));
        paintLit(painter, verticalSegment(plus.center().x(), plus.top() + 6.0, plus.top() + 14.0));
    });
    inBox(painter, LcdGlyph::MinusSign, [&](const QRectF& minus) {
        paintLit(painter,
                 horizontalSegment(minus.left() + 1.0, minus.right() - 1.0, minus.top() + 10.0));
    });
}

} // namespace

void drawLcdFont(ImageSet& images) {
    images.add("lcd-font", QSizeF(controls::kLcdFontWidth, controls::kLcdFontHeight),
               [](QPainter& painter) {
                   // Each glyph stays inside its own box, glow included, so that no glyph
                   // picks up a neighbour's pixels when it is cut out.
                   for (int digit = 0; digit <= 9; ++digit) {
                       inBox(painter, controls::lcdDigit(digit),
                             [&](const QRectF&) { drawDigit(painter, digit); });
                   }
                   drawSigns(painter);
               });
}
