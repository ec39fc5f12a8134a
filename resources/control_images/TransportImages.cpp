// The round transport buttons: a dark blue disc with a light blue rim and a white glyph.
// The pressed ("_alt") image sinks the disc and turns the glyph light blue; a mode that is
// on (loop on) lights the rim and the glyph.

#include "resources/control_images/Drawings.h"
#include "resources/control_images/ImageSet.h"
#include "resources/palette/PaletteQColor.h"

#include <QPainter>
#include <QPainterPath>
#include <cmath>
#include <functional>

namespace {

constexpr double kSize = 32.0; // points
const QPointF kCentre(16.0, 16.0);
constexpr double kRadius = 14.0;

enum class Look { Normal, Pressed };

void drawDisc(QPainter& painter, Look look, bool lit) {
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(0, 0, 0, 90));
    painter.drawEllipse(kCentre + QPointF(0, 1.0), kRadius + 0.5, kRadius + 0.5);

    QLinearGradient fill(0, kCentre.y() - kRadius, 0, kCentre.y() + kRadius);
    if (look == Look::Normal) {
        fill.setColorAt(0, palette::qColor(palette::kFieldBottom).lighter(118));
        fill.setColorAt(1, palette::qColor(palette::kFieldDeep));
    } else {
        fill.setColorAt(0, palette::qColor(palette::kFieldDeep).darker(130));
        fill.setColorAt(1, palette::qColor(palette::kFieldBottom));
    }
    painter.setBrush(fill);
    painter.setPen(QPen(palette::qColor(palette::kAccent, lit ? 1.0 : 0.55), lit ? 1.4 : 1.0));
    painter.drawEllipse(kCentre, kRadius, kRadius);

    if (lit) {
        painter.setBrush(Qt::NoBrush);
        painter.setPen(QPen(palette::qColor(palette::kAccent, 0.25), 2.4));
        painter.drawEllipse(kCentre, kRadius - 2.0, kRadius - 2.0);
    }
    if (look == Look::Normal) {
        // A soft sheen on the upper half.
        QLinearGradient sheen(0, kCentre.y() - kRadius, 0, kCentre.y());
        sheen.setColorAt(0, palette::qColor(palette::kWhite, 0.16));
        sheen.setColorAt(1, palette::qColor(palette::kWhite, 0.0));
        painter.setPen(Qt::NoPen);
        painter.setBrush(sheen);
        painter.drawEllipse(QRectF(kCentre.x() - kRadius + 3, kCentre.y() - kRadius + 1.5,
                                   2 * kRadius - 6, kRadius));
    }
}

QPainterPath polygon(std::initializer_list<QPointF> points) {
    QPainterPath path;
    bool first = true;
    for (const QPointF& point : points) {
        if (first) {
            path.moveTo(point);
            first = false;
        } else {
            path.lineTo(point);
        }
    }
    path.closeSubpath();
    return path;
}

void fillGlyph(QPainter& painter, const QPainterPath& glyph, const QColor& colour) {
    // A thin pen of the same colour rounds the corners of the filled shapes.
    painter.setPen(QPen(colour, 1.2, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.setBrush(colour);
    painter.drawPath(glyph);
}

void playGlyph(QPainter& painter, const QColor& colour) {
    fillGlyph(painter, polygon({{13.0, 9.5}, {13.0, 22.5}, {23.0, 16.0}}), colour);
}

void pauseGlyph(QPainter& painter, const QColor& colour) {
    QPainterPath bars;
    bars.addRect(QRectF(11.2, 10.2, 3.4, 11.6));
    bars.addRect(QRectF(17.4, 10.2, 3.4, 11.6));
    fillGlyph(painter, bars, colour);
}

void rewindGlyph(QPainter& painter, const QColor& colour) {
    QPainterPath arrows = polygon({{16.0, 10.5}, {16.0, 21.5}, {8.5, 16.0}});
    arrows.addPath(polygon({{23.5, 10.5}, {23.5, 21.5}, {16.0, 16.0}}));
    fillGlyph(painter, arrows, colour);
}

void fastForwardGlyph(QPainter& painter, const QColor& colour) {
    QPainterPath arrows = polygon({{8.5, 10.5}, {8.5, 21.5}, {16.0, 16.0}});
    arrows.addPath(polygon({{16.0, 10.5}, {16.0, 21.5}, {23.5, 16.0}}));
    fillGlyph(painter, arrows, colour);
}

void replayGlyph(QPainter& painter, const QColor& colour) {
    QPainterPath glyph;
    glyph.addRect(QRectF(9.6, 10.5, 2.4, 11.0));
    glyph.addPath(polygon({{22.5, 10.5}, {22.5, 21.5}, {13.5, 16.0}}));
    fillGlyph(painter, glyph, colour);
}

// Two arcs chasing each other round an ellipse, each ending in an arrowhead.
void loopGlyph(QPainter& painter, const QColor& colour) {
    const QRectF ellipse(8.5, 10.5, 15.0, 11.0);
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(colour, 2.0, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    QPainterPath arcs;
    arcs.arcMoveTo(ellipse, 35.0);
    arcs.arcTo(ellipse, 35.0, 135.0);
    arcs.arcMoveTo(ellipse, 215.0);
    arcs.arcTo(ellipse, 215.0, 135.0);
    painter.drawPath(arcs);

    const double left = ellipse.left(), right = ellipse.right(), middle = ellipse.center().y();
    QPainterPath heads =
        polygon({{left - 2.8, middle - 1.2}, {left + 2.8, middle - 1.2}, {left, middle + 2.6}});
    heads.addPath(
        polygon({{right - 2.8, middle + 1.2}, {right + 2.8, middle + 1.2}, {right, middle - 2.6}}));
    fillGlyph(painter, heads, colour);
}

using Glyph = std::function<void(QPainter&, const QColor&)>;

// "NAME.png" and its pressed partner "NAME_alt.png".
void addButtonPair(ImageSet& images, const QString& name, const Glyph& glyph, bool lit) {
    const QColor restingGlyph = palette::qColor(lit ? palette::kAccent : palette::kWhite);
    const QColor pressedGlyph = palette::qColor(lit ? palette::kWhite : palette::kAccent);
    images.add(name, QSizeF(kSize, kSize), [&](QPainter& painter) {
        drawDisc(painter, Look::Normal, lit);
        glyph(painter, restingGlyph);
    });
    images.add(name + "_alt", QSizeF(kSize, kSize), [&](QPainter& painter) {
        drawDisc(painter, Look::Pressed, lit);
        glyph(painter, pressedGlyph);
    });
}

} // namespace

void drawTransportButtons(ImageSet& images) {
    addButtonPair(images, "play", playGlyph, false);
    addButtonPair(images, "pause", pauseGlyph, false);
    addButtonPair(images, "loop_off", loopGlyph, false);
    addButtonPair(images, "loop_on", loopGlyph, true);
    addButtonPair(images, "rewind", rewindGlyph, false);
    addButtonPair(images, "replay", replayGlyph, false);
    addButtonPair(images, "ffwd", fastForwardGlyph, false);
}
