#include "controls/KTHudImageView.h"

#include "controls/ControlImages.h"

#include <QPainter>

namespace {

constexpr int kBarHeight = 40;
constexpr int kCapWidth = 8;
constexpr int kRightCapX = 192; // in the image

const QImage& hudImage() {
    static const QImage image = controls::loadControlImage(QStringLiteral("hud_bg"));
    return image;
}

// `rect` in points, as pixels of `image`.
QRectF inPixels(const QImage& image, const QRectF& rect) {
    const qreal ratio = image.devicePixelRatio();
    return QRectF(rect.x() * ratio, rect.y() * ratio, rect.width() * ratio, rect.height() * ratio);
}

} // namespace

KTHudImageView::KTHudImageView(QWidget* parent) : QWidget(parent) {}

void KTHudImageView::paintEvent(QPaintEvent* /*event*/) {
    const QImage& image = hudImage();
    if (image.isNull()) {
        return;
    }
    QPainter painter(this);
    const int top = height() - kBarHeight;
    const int w = width();
    painter.drawImage(QRectF(0, top, kCapWidth, kBarHeight), image,
                      inPixels(image, QRectF(0, 0, kCapWidth, kBarHeight)));
    const int middleWidth = w - 2 * kCapWidth;
    // A negative width would mirror the slice; a bar that narrow has no middle.
    if (middleWidth > 0) {
        painter.drawImage(QRectF(kCapWidth, top, middleWidth, kBarHeight), image,
                          inPixels(image, QRectF(kCapWidth, 0, 1, kBarHeight)));
    }
    painter.drawImage(QRectF(w - kCapWidth, top, kCapWidth, kBarHeight), image,
                      inPixels(image, QRectF(kRightCapX, 0, kCapWidth, kBarHeight)));
}
