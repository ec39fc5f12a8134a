// The slider track is one rounded groove cut into three: a left cap, a one-point middle
// that the slider stretches, and a right cap. The knob is a light disc with a dark rim.

#include "resources/control_images/Drawings.h"
#include "resources/control_images/ImageSet.h"
#include "resources/palette/PaletteQColor.h"

#include <QPainter>

namespace {

constexpr double kTrackHeight = 6.0;
constexpr double kCapWidth = 5.0;
constexpr double kWholeWidth = 2 * kCapWidth + 1.0; // caps plus the one-point middle
constexpr double kKnobSize = 18.0;

// The rim is opaque (the accent mixed into the ground by hand rather than by alpha), so
// every row of the middle slice is fully covered and the track has crisp edges.
QColor rimColour() {
    const palette::Rgb a = palette::kAccent;
    const palette::Rgb b = palette::kFieldDeep;
    return QColor((a.r + b.r) / 2, (a.g + b.g) / 2, (a.b + b.b) / 2);
}

void drawWholeTrack(QPainter& painter) {
    QLinearGradient groove(0, 0, 0, kTrackHeight);
    groove.setColorAt(0, palette::qColor(palette::kFieldDeep).darker(140));
    groove.setColorAt(1, palette::qColor(palette::kFieldBottom));
    painter.setBrush(groove);
    painter.setPen(QPen(rimColour(), 1.0));
    painter.drawRoundedRect(QRectF(0.5, 0.5, kWholeWidth - 1.0, kTrackHeight - 1.0), 2.5, 2.5);
}

// Draws the part of the whole track that starts at `fromX` and is `width` wide.
void addTrackSlice(ImageSet& images, const QString& name, double fromX, double width) {
    images.add(name, QSizeF(width, kTrackHeight), [fromX, width](QPainter& painter) {
        painter.setClipRect(QRectF(0, 0, width, kTrackHeight));
        painter.translate(-fromX, 0);
        drawWholeTrack(painter);
    });
}

// The slider places the knob image one point above the middle of its rectangle, so the disc
// sits one point below the middle of the image and lands on the track's centre line.
void drawKnob(QPainter& painter) {
    const QPointF centre(kKnobSize / 2, kKnobSize / 2 + 1.0);
    const double radius = 7.0;
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(0, 0, 0, 80));
    painter.drawEllipse(centre + QPointF(0, 0.6), radius + 0.4, radius + 0.4);

    QRadialGradient face(centre - QPointF(2.0, 3.0), radius * 1.6);
    face.setColorAt(0, palette::qColor(palette::kWhite));
    face.setColorAt(1, palette::qColor(palette::kAccent).lighter(112));
    painter.setBrush(face);
    painter.setPen(QPen(palette::qColor(palette::kFieldDeep), 1.0));
    painter.drawEllipse(centre, radius, radius);

    painter.setPen(Qt::NoPen);
    painter.setBrush(palette::qColor(palette::kFieldBottom));
    painter.drawEllipse(centre, 2.0, 2.0);
}

} // namespace

void drawSliderParts(ImageSet& images) {
    addTrackSlice(images, "slider_left", 0.0, kCapWidth);
    addTrackSlice(images, "slider_fill", kCapWidth, 1.0);
    addTrackSlice(images, "slider_right", kCapWidth + 1.0, kCapWidth);
    images.add("slider_knob", QSizeF(kKnobSize, kKnobSize), drawKnob);
}
