// Wheel and pinch zooming, and where a press lands: every x here is a document x. The
// press, its drags and the drop target are WaveformViewBase's.

#include "waveform_view/KTFixedWaveformView.h"
#include "waveform_view/KTFixedWaveformViewDelegate.h"

#include <QNativeGestureEvent>
#include <QWheelEvent>
#include <cmath>

QPointF KTFixedWaveformView::zoomedPoint(QPointF viewportPoint) const {
    const QWidget* document = documentView();
    return document ? viewportPoint - QPointF(document->pos()) : viewportPoint;
}

namespace {

// Adds `amount` to what a gesture has summed and returns the whole steps of `step` crossed,
// signed. Truncating toward zero: the first step either way needs a full step's travel, and
// a movement that wavers about where it began never zooms.
int stepsCrossed(double& accumulator, double amount, double step) {
    const double before = std::trunc(accumulator / step);
    accumulator += amount;
    return static_cast<int>(std::trunc(accumulator / step) - before);
}

} // namespace

void KTFixedWaveformView::zoomSteps(int steps, QPointF pivot) {
    for (; steps > 0; --steps)
        zoomInWithPivot(pivot);
    for (; steps < 0; ++steps)
        zoomOutWithPivot(pivot);
}

// The vertical wheel zooms about the pointer, a step per notch; anything with a sideways
// component is passed on (ignored), and the scroll area scrolls with it. Without phases (X11,
// Windows) a high-resolution wheel or a trackpad sends the same angle as notches in many
// small events, so the angles are summed, a step per notch's 120; events that give only
// points count 20 points a step, as a gesture does. A trackpad's two-finger gesture with
// phases zooms when it begins purely vertically, a step per 20 points of travel, and scrolls
// otherwise.
void KTFixedWaveformView::wheelEvent(QWheelEvent* event) {
    event->accept();
    if (!waveform_)
        return;
    const QPointF pivot = viewportPoint(event->position());
    if (event->phase() == Qt::NoScrollPhase) {
        const bool angles = !event->angleDelta().isNull();
        const QPoint delta = angles ? event->angleDelta() : event->pixelDelta();
        if (delta.x() != 0 || delta.y() == 0)
            return event->ignore();
        // Summed in angles, which stay whole numbers.
        const double amount = angles ? delta.y() : delta.y() * (kNotch / kScrollZoomStep);
        zoomSteps(stepsCrossed(wheelZoomAccumulator_, amount, kNotch), pivot);
        return;
    }
    // Trackpads report points; a device that gives only angles counts eighths of a notch
    // (degrees), about a point each.
    const QPointF delta = event->pixelDelta().isNull() ? QPointF(event->angleDelta()) / 8.0
                                                       : QPointF(event->pixelDelta());
    if (scrollZoomGesture_) {
        // Swallows everything of the zoom gesture, its momentum included.
        if (event->phase() == Qt::ScrollEnd)
            scrollZoomGesture_ = false;
        else if (event->phase() == Qt::ScrollUpdate)
            zoomSteps(stepsCrossed(scrollZoomAccumulator_, delta.y(), kScrollZoomStep), pivot);
        return;
    }
    if (event->phase() == Qt::ScrollBegin && delta.x() == 0.0) {
        scrollZoomGesture_ = true;
        scrollZoomAccumulator_ = 0.0;
        return;
    }
    // A gesture with any horizontal component at its start scrolls to its end.
    event->ignore();
}

bool KTFixedWaveformView::event(QEvent* event) {
    if (event->type() == QEvent::NativeGesture && magnify(static_cast<QNativeGestureEvent*>(event)))
        return true;
    return WaveformViewBase::event(event);
}

// A pinch zooms a step per quarter of magnification, truncated toward zero like the
// two-finger gesture.
bool KTFixedWaveformView::magnify(QNativeGestureEvent* event) {
    switch (event->gestureType()) {
    case Qt::BeginNativeGesture:
        magnifyAccumulator_ = 0.0;
        return false; // the begin of any gesture; nothing else to do with it here
    case Qt::ZoomNativeGesture:
        zoomSteps(stepsCrossed(magnifyAccumulator_, event->value(), kPinchZoomStep),
                  viewportPoint(event->position()));
        event->accept();
        return true;
    default:
        return false;
    }
}

// With the beat grid showing, a double-click picks out the bar it lands on (the delegate
// decides what that means); otherwise it is the second press it always was.
void KTFixedWaveformView::mouseDoubleClickEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton || !isBeatGridShown() ||
        (event->modifiers() & Qt::ShiftModifier))
        return WaveformViewBase::mouseDoubleClickEvent(event);
    const double x = zoomedPoint(viewportPoint(event->position())).x();
    if (delegate_)
        delegate_->waveformViewDidDoubleClickFrame(
            this, waveform_view::frameAtPixel(x, framesPerPixel()));
}
