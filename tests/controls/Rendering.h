#pragma once

// What a widget looks like: its own painting over a known ground, at one pixel per point.

#include <QColor>
#include <QImage>
#include <QWidget>

namespace controls_test {

inline QImage renderWidget(QWidget& widget, QColor ground = Qt::transparent) {
    QImage image(widget.size(), QImage::Format_ARGB32_Premultiplied);
    image.fill(ground);
    widget.render(&image, QPoint(), QRegion(), QWidget::RenderFlags());
    return image;
}

} // namespace controls_test
