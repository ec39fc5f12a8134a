#include "controls/KTCustomSliderCell.h"

#include "controls/ControlImages.h"
#include "controls/ThreePartImage.h"

#include <QMouseEvent>
#include <QPainter>
#include <QStyle>
#include <algorithm>
#include <cmath>

namespace {

struct SliderImages {
    controls::ThreePartImage track;
    QImage knob;
};

const SliderImages& sliderImages() {
    static const SliderImages images{
        {controls::loadControlImage(QStringLiteral("slider_left")),
         controls::loadControlImage(QStringLiteral("slider_fill")),
         controls::loadControlImage(QStringLiteral("slider_right"))},
        controls::loadControlImage(QStringLiteral("slider_knob")),
    };
    return images;
}

QSize pointSize(const QImage& image) {
    return image.deviceIndependentSize().toSize();
}

// Nearest integer, halves away from zero, in single precision.
int roundHalfAway(float value) {
    return static_cast<int>(std::lround(value));
}

} // namespace

KTCustomSliderCell::KTCustomSliderCell(QWidget* parent) : QSlider(Qt::Horizontal, parent) {
    setFocusPolicy(Qt::NoFocus); // keys go to the window's commands
}

void KTCustomSliderCell::setTrackHeight(int height) {
    trackHeight_ = height;
    update();
}

QSize KTCustomSliderCell::sizeHint() const {
    const QSize knob = pointSize(sliderImages().knob);
    return QSize(160, std::max(knob.height(), 18) + 4);
}

QSize KTCustomSliderCell::minimumSizeHint() const {
    const QSize knob = pointSize(sliderImages().knob);
    return QSize(knob.width() + 10, std::max(knob.height(), 18) + 4);
}

void KTCustomSliderCell::sliderChange(SliderChange change) {
    QSlider::sliderChange(change);
    update(); // all of it
}

QRect KTCustomSliderCell::knobRect() const {
    const int knobWidth = pointSize(sliderImages().knob).width();
    const int span = std::max(0, width() - knobWidth);
    const int x = QStyle::sliderPositionFromValue(minimum(), maximum(), sliderPosition(), span,
                                                  invertedAppearance());
    return QRect(x, 0, knobWidth, height());
}

int KTCustomSliderCell::valueAtKnobLeft(int x) const {
    const int knobWidth = pointSize(sliderImages().knob).width();
    const int span = std::max(0, width() - knobWidth);
    return QStyle::sliderValueFromPosition(minimum(), maximum(), std::clamp(x, 0, span), span,
                                           invertedAppearance());
}

void KTCustomSliderCell::paintEvent(QPaintEvent* event) {
    if (orientation() != Qt::Horizontal) {
        QSlider::paintEvent(event);
        return;
    }
    // The dirty rectangle is ignored on purpose: everything is drawn every time.
    QPainter painter(this);
    drawBarInsideFlipped(painter, rect(), true);
    drawKnob(painter, knobRect());
}

void KTCustomSliderCell::drawBarInsideFlipped(QPainter& painter, const QRect& bar,
                                              bool /*flipped*/) const {
    // Qt's coordinates already run top down, as a flipped view's do; the images are drawn
    // upright either way.
    const SliderImages& images = sliderImages();
    int h = pointSize(images.track.fill).height();
    if (trackHeight_ != 0) {
        h += 1;
    }
    const QRect frame(bar.x() + 5,
                      bar.y() + roundHalfAway(static_cast<float>(bar.height() - h) * 0.5f),
                      bar.width() - 9, h);
    drawThreePartImage(painter, frame, images.track, isEnabled() ? 1.0 : 0.5);
}

void KTCustomSliderCell::drawKnob(QPainter& painter, const QRect& knob) const {
    const QImage& image = sliderImages().knob;
    const QSize size = pointSize(image);
    const int x = knob.x() + roundHalfAway(static_cast<float>(knob.width() - size.width()) * 0.5f);
    // The image's bottom edge, measured up from the knob rectangle's bottom edge; the extra
    // point lifts the knob onto the track's centre line.
    const int bottom = knob.y() + knob.height() -
                       roundHalfAway(static_cast<float>(knob.height() - size.height()) * 0.5f) - 1;
    painter.drawImage(QPoint(x, bottom - size.height()), image);
}

void KTCustomSliderCell::mousePressEvent(QMouseEvent* event) {
    if (orientation() != Qt::Horizontal || event->button() != Qt::LeftButton || !isEnabled()) {
        QSlider::mousePressEvent(event);
        return;
    }
    const QRect knob = knobRect();
    const int x = qRound(event->position().x());
    grabOffset_ = knob.contains(x, knob.center().y()) ? x - knob.x() : knob.width() / 2;
    isPressed_ = true;
    setSliderDown(true);
    setSliderPosition(valueAtKnobLeft(x - grabOffset_));
    event->accept();
}

void KTCustomSliderCell::mouseMoveEvent(QMouseEvent* event) {
    if (!isPressed_) {
        QSlider::mouseMoveEvent(event);
        return;
    }
    setSliderPosition(valueAtKnobLeft(qRound(event->position().x()) - grabOffset_));
    event->accept();
}

void KTCustomSliderCell::mouseReleaseEvent(QMouseEvent* event) {
    if (!isPressed_) {
        QSlider::mouseReleaseEvent(event);
        return;
    }
    isPressed_ = false;
    setSliderDown(false);
    update();
    event->accept();
}
