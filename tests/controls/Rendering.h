#pragma once

// What a widget looks like: its own painting over a known ground, at `scale` pixels per point.

#include <QColor>
#include <QImage>
#include <QWidget>

namespace controls_test {

inline QImage renderWidget(QWidget& widget, QColor ground = Qt::transparent, int scale = 1) {
    QImage image(widget.size() * scale, QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(scale);
    image.fill(ground);
    widget.render(&image, QPoint(), QRegion(), QWidget::RenderFlags());
    return image;
}

} // namespace controls_test
