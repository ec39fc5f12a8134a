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

#include <QGuiApplication>
#include <QMouseEvent>
#include <QNativeGestureEvent>
#include <QScrollArea>
#include <QScrollBar>
#include <QWheelEvent>
#include <algorithm>
#include <cmath>

namespace {

// Rectangles are half-open here, as on screen: a grip 16 pixels wide starting at 100 covers
// 100 up to but not including 116, so the start grip ends one pixel before the range start.
bool containsHalfOpen(const QRectF& rect, QPointF point) {
    return point.x() >= rect.left() && point.x() < rect.right() && point.y() >= rect.top() &&
           point.y() < rect.bottom();
}

// A start must leave at least one frame of the file after it.
std::int32_t clampStartFrame(std::int32_t frame, std::int32_t totalFrames) {
    frame = std::max(frame, 0);
    return frame < totalFrames ? frame : totalFrames - 1;
}

// An end must leave at least one frame of the file before it.
std::int32_t clampEndFrame(std::int32_t frame, std::int32_t totalFrames) {
    return std::min(std::max(frame, 1), totalFrames);
}

} // namespace

QPointF KTFixedWaveformView::viewportPoint(QPointF viewPoint) const {
    return scrollView_ ? mapTo(scrollView_->viewport(), viewPoint) : viewPoint;
}

QPointF KTFixedWaveformView::documentPoint(QPointF viewportPoint) const {
    const QWidget* document = documentView();
    return document ? viewportPoint - QPointF(document->pos()) : viewportPoint;
}

void KTFixedWaveformView::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton || tracking_)
        return QOpenGLWidget::mousePressEvent(event);
    // With no file (or nothing to map frames onto) there is nothing to grab.
    if (!waveform_ || !(framesPerPixel() > 0.0)) {
        activeArea_ = ActiveArea::None;
        dragging_ = false;
        return;
    }
    const QPointF pressPoint = viewportPoint(event->position());
    const QPointF point = documentPoint(pressPoint);
    const double x = point.x();
    const std::int32_t totalFrames = waveform_->totalFrames();

    // The cases are tried in this order: Shift wins over the grips, and a grip wins over
    // the body (the end grip begins exactly at the range end, where the body has ended).
    if (event->modifiers() & Qt::ShiftModifier) {
        // A new one-frame range starts here; its first horizontal movement decides which
        // end follows the pointer. `dragging_` stays clear, so playback still moves the
        // playhead while the range is drawn.
        draggingRange_ = true;
        draggingDirection_ = 0.0;
        rangeStartFrame_ = clampStartFrame(frameAtPixel(x), totalFrames);
        rangeEndFrame_ = rangeStartFrame_ + 1;
        playheadFrame_ = rangeStartFrame_;
        if (delegate_)
            delegate_->waveformViewWillChangeRange(this);
        sendDidDragPlayhead();
        update();
    } else if (containsHalfOpen(rangeStartHandleRect(), point)) {
        // Nothing changes until the grip moves, so a click on it edits nothing.
        activeArea_ = ActiveArea::StartHandle;
        handleOffset_ = rangeStartPixel() - x;
    } else if (containsHalfOpen(rangeEndHandleRect(), point)) {
        activeArea_ = ActiveArea::EndHandle;
        handleOffset_ = rangeEndPixel() - x;
    } else if (rangeStartPixel() <= x && x < rangeEndPixel()) {
        // The playhead jumps under the pointer at once; the player hears of it at release.
        dragging_ = true;
        activeArea_ = ActiveArea::RangeBody;
        playheadFrame_ = clampStartFrame(frameAtPixel(x), totalFrames);
        update();
    } else {
        // Outside the range the playhead never moves.
        activeArea_ = ActiveArea::None;
        dragging_ = false;
        return;
    }
    tracking_ = true;
    lastDragPoint_ = pressPoint;
    lastDragDeltaX_ = 0.0;
    autoscrollTimer_.start();
}

void KTFixedWaveformView::mouseMoveEvent(QMouseEvent* event) {
    if (!tracking_) {
        showHandCursor(isOverHandle(event->position()));
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
    showHandCursor(isOverHandle(event->position()));
}

void KTFixedWaveformView::processMouseDragged() {
    const double x = documentPoint(lastDragPoint_).x();
    const std::int32_t totalFrames = waveform_->totalFrames();
    if (draggingRange_) {
        if (draggingDirection_ == 0.0) {
            // A purely vertical first movement leaves the direction open for the next one.
            draggingDirection_ = lastDragDeltaX_;
            return;
        }
        if (draggingDirection_ > 0.0) {
            rangeEndFrame_ = clampEndFrame(frameAtPixel(x), totalFrames);
            if (rangeEndFrame_ < rangeStartFrame_) {
                rangeStartFrame_ = rangeEndFrame_ - 1;
                playheadFrame_ = rangeStartFrame_;
                sendDidDragPlayhead();
            }
        } else {
            rangeStartFrame_ = clampStartFrame(frameAtPixel(x), totalFrames);
            if (rangeEndFrame_ < rangeStartFrame_)
                rangeEndFrame_ = rangeStartFrame_ + 1;
            playheadFrame_ = rangeStartFrame_;
            sendDidDragPlayhead();
        }
    } else {
        switch (activeArea_) {
        case ActiveArea::None:
            return;
        case ActiveArea::RangeBody: {
            // The playhead stays in the range, one pixel's worth of frames short of its
            // end, so it is always drawn inside the range.
            std::int32_t frame = std::max(frameAtPixel(x), rangeStartFrame_);
            const double lastFrame = double(rangeEndFrame_) - framesPerPixel();
            if (double(frame) > lastFrame)
                frame = static_cast<std::int32_t>(std::trunc(lastFrame));
            playheadFrame_ = frame;
            sendDidDragPlayhead();
            break;
        }
        case ActiveArea::StartHandle:
            // Only a strict inversion is repaired: the start pushes the end along.
            rangeStartFrame_ = clampStartFrame(frameAtPixel(x + handleOffset_), totalFrames);
            if (rangeEndFrame_ < rangeStartFrame_)
                rangeEndFrame_ = rangeStartFrame_ + 1;
            playheadFrame_ = rangeStartFrame_;
            sendDidDragPlayhead();
            beginRangeEdit();
            break;
        case ActiveArea::EndHandle:
            rangeEndFrame_ = clampEndFrame(frameAtPixel(x + handleOffset_), totalFrames);
            if (rangeEndFrame_ < rangeStartFrame_)
                rangeStartFrame_ = rangeEndFrame_ - 1;
            if (playheadFrame_ != rangeStartFrame_) {
                playheadFrame_ = rangeStartFrame_;
                sendDidDragPlayhead();
            }
            beginRangeEdit();
            break;
        }
    }
    autoscroll(lastDragPoint_);
    update();
}

void KTFixedWaveformView::beginRangeEdit() {
    if (dragging_)
        return;
    dragging_ = true;
    if (delegate_)
        delegate_->waveformViewWillChangeRange(this);
}

void KTFixedWaveformView::processMouseUp() {
    const bool rangeEdit = draggingRange_ || activeArea_ == ActiveArea::StartHandle ||
                           activeArea_ == ActiveArea::EndHandle;
    const bool playheadEdit = activeArea_ == ActiveArea::RangeBody;
    // The press is over before the delegate hears of it, whatever the delegate does next.
    endTracking();
    if (!delegate_)
        return;
    // A click on a grip without movement still reports the unchanged range.
    if (rangeEdit)
        delegate_->waveformViewDidChangeRangeStartFrameEndFrame(this, rangeStartFrame_,
                                                                rangeEndFrame_);
    else if (playheadEdit)
        delegate_->waveformViewDidChangeCurrentFrame(this, playheadFrame_);
}

void KTFixedWaveformView::endTracking() {
    tracking_ = false;
    autoscrollTimer_.stop();
    activeArea_ = ActiveArea::None;
    dragging_ = false;
    draggingRange_ = false;
}

void KTFixedWaveformView::sendDidDragPlayhead() {
    if (delegate_)
        delegate_->waveformViewDidDragPlayheadToFrame(this, playheadFrame_);
}

// The timer's tick while the button is held: a pointer held still in an edge band, or
// beyond the scroll area, drags again, which scrolls on and moves whatever it holds with it.
void KTFixedWaveformView::repeatDragAtEdge() {
    if (!tracking_ || !scrollView_)
        return;
    const QSizeF area = scrollView_->viewport()->size();
    const QPointF point = lastDragPoint_;
    const bool clearOfEdges = point.x() >= kAutoscrollBandWidth &&
                              point.x() < area.width() - kAutoscrollBandWidth && point.y() >= 0.0 &&
                              point.y() < area.height();
    if (!clearOfEdges)
        processMouseDragged();
}

// Scrolls by how far the pointer lies into an edge band (or past it), so that the further
// out the pointer is held, the faster the view moves.
void KTFixedWaveformView::autoscroll(QPointF viewportPoint) {
    if (!scrollView_)
        return;
    const double rightBand = scrollView_->viewport()->width() - kAutoscrollBandWidth;
    int step = 0;
    if (viewportPoint.x() < kAutoscrollBandWidth)
        step = -static_cast<int>(std::ceil(kAutoscrollBandWidth - viewportPoint.x()));
    else if (viewportPoint.x() >= rightBand)
        step = static_cast<int>(std::floor(viewportPoint.x() - rightBand)) + 1;
    if (step != 0) {
        QScrollBar* bar = scrollView_->horizontalScrollBar();
        bar->setValue(bar->value() + step);
    }
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
    if (!waveform_ || !(framesPerPixel() > 0.0))
        return false;
    const QPointF point = documentPoint(viewportPoint(viewPoint));
    return containsHalfOpen(rangeStartHandleRect(), point) ||
           containsHalfOpen(rangeEndHandleRect(), point);
}

void KTFixedWaveformView::leaveEvent(QEvent* event) {
    // While the button is held the hand stays until the release.
    if (!tracking_)
        showHandCursor(false);
    QOpenGLWidget::leaveEvent(event);
}

// The application's cursor is a stack. The view pushes at most one open hand and pops only
// while it has one pushed, so it neither leaves a hand behind nor pops a cursor it never
// pushed.
void KTFixedWaveformView::showHandCursor(bool show) {
    if (show == handCursorShown_)
        return;
    if (show)
        QGuiApplication::setOverrideCursor(Qt::OpenHandCursor);
    else
        QGuiApplication::restoreOverrideCursor();
    handCursorShown_ = show;
}
