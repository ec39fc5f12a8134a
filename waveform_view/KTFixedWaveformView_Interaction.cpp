// Wheel and pinch zooming, and where a press lands: every x here is a document x. The
// press, its drags and the drop target are WaveformViewBase's.

#include "waveform_view/KTFixedWaveformView.h"

#include <QNativeGestureEvent>
#include <QWheelEvent>

QPointF KTFixedWaveformView::zoomedPoint(QPointF viewportPoint) const {
    const QWidget* document = documentView();
    return document ? viewportPoint - QPointF(document->pos()) : viewportPoint;
}

// A plain wheel zooms a step per vertical notch. A trackpad's two-finger gesture zooms when
// it begins purely vertically, a step per 20 points of travel, and scrolls otherwise; the
// scroll area does the scrolling of whatever this view passes on (ignores).
void KTFixedWaveformView::wheelEvent(QWheelEvent* event) {
    event->accept();
    if (!waveform_)
        return;
    if (event->phase() == Qt::NoScrollPhase)
        return zoomAStepWithWheel(event);
    const QPointF pivot = viewportPoint(event->position());
    // Trackpads report points; a device that gives only angles counts eighths of a notch
    // (degrees), about a point each.
    const QPointF delta = event->pixelDelta().isNull() ? QPointF(event->angleDelta()) / 8.0
                                                       : QPointF(event->pixelDelta());
    if (scrollZoomGesture_) {
        // Swallows everything of the zoom gesture, its momentum included.
        if (event->phase() == Qt::ScrollEnd) {
            scrollZoomGesture_ = false;
        } else if (event->phase() == Qt::ScrollUpdate) {
            // Truncating toward zero: the first step either way needs a full 20 points, and
            // a gesture that wavers about its start never zooms.
            const int before = static_cast<int>(scrollZoomAccumulator_ / kScrollZoomStep);
            scrollZoomAccumulator_ += static_cast<float>(delta.y());
            const int after = static_cast<int>(scrollZoomAccumulator_ / kScrollZoomStep);
            if (after < before)
                zoomOutWithPivot(pivot);
            else if (after > before)
                zoomInWithPivot(pivot);
        }
        return;
    }
    if (event->phase() == Qt::ScrollBegin && delta.x() == 0.0) {
        scrollZoomGesture_ = true;
        scrollZoomAccumulator_ = 0.0f;
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
        magnifyAccumulator_ = 0.0f;
        return false; // the begin of any gesture; nothing else to do with it here
    case Qt::ZoomNativeGesture: {
        const int before = static_cast<int>(magnifyAccumulator_ / kPinchZoomStep);
        magnifyAccumulator_ += static_cast<float>(event->value());
        const int after = static_cast<int>(magnifyAccumulator_ / kPinchZoomStep);
        const QPointF pivot = viewportPoint(event->position());
        if (after < before)
            zoomOutWithPivot(pivot);
        else if (after > before)
            zoomInWithPivot(pivot);
        event->accept();
        return true;
    }
    default:
        return false;
    }
}
