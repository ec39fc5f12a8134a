#include "controls/KTDualModeButton.h"

#include <QEvent>
#include <QPainter>

namespace {

// How much of a disabled button's image shows.
constexpr qreal kDisabledOpacity = 0.4;

} // namespace

KTDualModeButton::KTDualModeButton(QWidget* parent) : QPushButton(parent) {
    setFocusPolicy(Qt::NoFocus); // keys go to the window's commands, never to a button
}

void KTDualModeButton::awakeFromNib() {
    if (awake_) {
        return;
    }
    awake_ = true;
    const QIcon fromFile = icon();
    if (!fromFile.isNull()) {
        primaryModeImage_ =
            fromFile.pixmap(iconSize(), devicePixelRatioF(), QIcon::Normal, QIcon::Off);
        if (fromFile.availableSizes(QIcon::Normal, QIcon::On).isEmpty()) {
            primaryModeAlternateImage_ = QPixmap();
        } else {
            primaryModeAlternateImage_ =
                fromFile.pixmap(iconSize(), devicePixelRatioF(), QIcon::Normal, QIcon::On);
        }
        image_ = primaryModeImage_;
        alternateImage_ = primaryModeAlternateImage_;
        // From now on the images are drawn here; the icon would only add to the size hint.
        setIcon(QIcon());
    }
    primaryModeToolTip_ = toolTip();
    updateGeometry();
    update();
}

void KTDualModeButton::setMode(int mode) {
    awakeFromNib();
    if (mode == mode_) {
        return;
    }
    mode_ = mode;
    if (mode != 0) {
        setImage(secondaryModeImage_);
        setAlternateImage(secondaryModeAlternateImage_);
        setToolTip(secondaryModeToolTip_);
    } else {
        setImage(primaryModeImage_);
        setAlternateImage(primaryModeAlternateImage_);
        setToolTip(primaryModeToolTip_);
    }
}

void KTDualModeButton::setImage(const QPixmap& image) {
    image_ = image;
    updateGeometry();
    update();
}

void KTDualModeButton::setAlternateImage(const QPixmap& image) {
    alternateImage_ = image;
    update();
}

QSize KTDualModeButton::sizeHint() const {
    if (image_.isNull()) {
        return QPushButton::sizeHint();
    }
    return image_.deviceIndependentSize().toSize();
}

bool KTDualModeButton::event(QEvent* event) {
    // Polish comes just before the first show, after the interface file has set everything.
    if (event->type() == QEvent::Polish) {
        awakeFromNib();
    }
    return QPushButton::event(event);
}

void KTDualModeButton::paintEvent(QPaintEvent* event) {
    if (image_.isNull()) {
        QPushButton::paintEvent(event);
        return;
    }
    const QPixmap& shown = isDown() && !alternateImage_.isNull() ? alternateImage_ : image_;
    // Whole points, so the image is never resampled.
    const QSize size = shown.deviceIndependentSize().toSize();
    const QPoint topLeft((width() - size.width()) / 2, (height() - size.height()) / 2);
    QPainter painter(this);
    if (!isEnabled()) {
        painter.setOpacity(kDisabledOpacity);
    }
    painter.drawPixmap(topLeft, shown);
}
