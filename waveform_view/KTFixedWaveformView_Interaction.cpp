// Mouse, wheel and pinch input: moving the playhead and the ends of the range, drawing a
// new range with Shift, scrolling while the button is held at an edge, zooming, and the
// open hand over the grips.
//
// Every x here is a document x. A press and its drags are kept in the scroll area's
// viewport coordinates and turned into document coordinates when used, because scrolling
// moves the document (and this view with it) under a pointer that stays where it is.

#include "audio/KTWaveform.h"
#include "waveform_view/KTFixedWaveformView.h"
#include "waveform_view/KTFixedWaveformViewDelegate.h"

#include <QMouseEvent>
#include <QNativeGestureEvent>
#include <QScrollArea>
#include <QWheelEvent>
#include <cmath>

QPointF KTFixedWaveformView::viewportPoint(QPointF viewPoint) const {
    return scrollView_ ? mapTo(scrollView_->viewport(), viewPoint) : viewPoint;
}

QPointF KTFixedWaveformView::documentPoint(QPointF viewportPoint) const {
    const QWidget* document = documentView();
    return document ? viewportPoint - QPointF(document->pos()) : viewportPoint;
}

waveform_view::EditMapping KTFixedWaveformView::editMapping() const {
    return {framesPerPixel(), waveform_ ? waveform_->totalFrames() : 0,
            waveformAreaRect().height()};
}

void KTFixedWaveformView::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton || tracking_)
        return QOpenGLWidget::mousePressEvent(event);
    const QPointF pressPoint = viewportPoint(event->position());
    if (!edit_.press(documentPoint(pressPoint), event->modifiers() & Qt::ShiftModifier,
                     editMapping(), *this))
        return;
    update();
    tracking_ = true;
    lastDragPoint_ = pressPoint;
    lastDragDeltaX_ = 0.0;
    autoscrollTimer_.start();
}

void KTFixedWaveformView::mouseMoveEvent(QMouseEvent* event) {
    if (!tracking_) {
        handCursor_.show(isOverHandle(event->position()));
        return QOpenGLWidget::mouseMoveEvent(event);
    }
    const QPointF point = viewportPoint(event->position());
    lastDragDeltaX_ = point.x() - lastDragPoint_.x();
    lastDragPoint_ = point;
    processMouseDragged();
}

void KTFixedWaveformView::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton)
        return QOpenGLWidget::mouseReleaseEvent(event);
    // The end of a press that grabbed nothing is the view's too, and does nothing.
    if (!tracking_)
        return;
    processMouseUp();
    // The grips may have moved to or away from the pointer.
    handCursor_.show(isOverHandle(event->position()));
}

void KTFixedWaveformView::processMouseDragged() {
    if (!edit_.drag(documentPoint(lastDragPoint_).x(), lastDragDeltaX_, editMapping(), *this))
        return;
    if (scrollView_)
        waveform_view::autoscroll(*scrollView_, lastDragPoint_);
    update();
}

void KTFixedWaveformView::processMouseUp() {
    tracking_ = false;
    autoscrollTimer_.stop();
    edit_.release(*this);
}

void KTFixedWaveformView::endTracking() {
    tracking_ = false;
    autoscrollTimer_.stop();
    edit_.endPress();
}

void KTFixedWaveformView::editDidDragPlayheadToFrame(std::int32_t frame) {
    if (delegate_)
        delegate_->waveformViewDidDragPlayheadToFrame(this, frame);
}

void KTFixedWaveformView::editDidChangeCurrentFrame(std::int32_t frame) {
    if (delegate_)
        delegate_->waveformViewDidChangeCurrentFrame(this, frame);
}

void KTFixedWaveformView::editWillChangeRange() {
    if (delegate_)
        delegate_->waveformViewWillChangeRange(this);
}

void KTFixedWaveformView::editDidChangeRangeStartFrameEndFrame(std::int32_t startFrame,
                                                               std::int32_t endFrame) {
    if (delegate_)
        delegate_->waveformViewDidChangeRangeStartFrameEndFrame(this, startFrame, endFrame);
}

// The timer's tick while the button is held: a pointer held still in an edge band, or
// beyond the scroll area, drags again, which scrolls on and moves whatever it holds with it.
void KTFixedWaveformView::repeatDragAtEdge() {
    if (!tracking_ || !scrollView_)
        return;
    if (!waveform_view::isClearOfEdges(*scrollView_, lastDragPoint_))
        processMouseDragged();
}

// A plain wheel zooms a step per vertical notch. A trackpad's two-finger gesture zooms when
// it begins purely vertically, a step per 20 points of travel, and scrolls otherwise; the
// scroll area does the scrolling of whatever this view passes on (ignores).
void KTFixedWaveformView::wheelEvent(QWheelEvent* event) {
    event->accept();
    if (!waveform_)
        return;
    const QPointF pivot = viewportPoint(event->position());
    if (event->phase() == Qt::NoScrollPhase) {
        const QPoint delta =
            event->angleDelta().isNull() ? event->pixelDelta() : event->angleDelta();
        if (delta.x() == 0 && delta.y() > 0)
            zoomInWithPivot(pivot);
        else if (delta.x() == 0 && delta.y() < 0)
            zoomOutWithPivot(pivot);
        else
            event->ignore();
        return;
    }
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
    return QOpenGLWidget::event(event);
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

bool KTFixedWaveformView::isOverHandle(QPointF viewPoint) const {
    return edit_.isOverHandle(documentPoint(viewportPoint(viewPoint)), editMapping());
}

void KTFixedWaveformView::leaveEvent(QEvent* event) {
    // While the button is held the hand stays until the release.
    if (!tracking_)
        handCursor_.show(false);
    QOpenGLWidget::leaveEvent(event);
}
