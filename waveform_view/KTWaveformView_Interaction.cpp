// Mouse and wheel input: moving the playhead and the ends of the range, drawing a new range
// with Shift, scrolling while the button is held at an edge, zooming with the wheel, and
// the open hand over the grips.
//
// Event positions are the view's own. A press and its drags are kept in the scroll area's
// viewport coordinates and turned into the view's when used, because scrolling moves the
// view under a pointer that stays where it is.

#include "audio/KTWaveform.h"
#include "waveform_view/DocumentScrolling.h"
#include "waveform_view/KTWaveformView.h"
#include "waveform_view/KTWaveformViewDelegate.h"

#include <QMouseEvent>
#include <QScrollArea>
#include <QWheelEvent>

QPointF KTWaveformView::viewportPoint(QPointF ownPoint) const {
    return scrollView_ ? mapTo(scrollView_->viewport(), ownPoint) : ownPoint;
}

QPointF KTWaveformView::ownPoint(QPointF viewportPoint) const {
    return scrollView_ ? mapFrom(scrollView_->viewport(), viewportPoint) : viewportPoint;
}

void KTWaveformView::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton || tracking_)
        return QWidget::mousePressEvent(event);
    if (!edit_.press(event->position(), event->modifiers() & Qt::ShiftModifier, editMapping(),
                     *this))
        return;
    requestRedraw();
    tracking_ = true;
    lastDragPoint_ = viewportPoint(event->position());
    lastDragDeltaX_ = 0.0;
    autoscrollTimer_.start();
}

void KTWaveformView::mouseMoveEvent(QMouseEvent* event) {
    if (!tracking_) {
        handCursor_.show(isOverHandle(event->position()));
        return QWidget::mouseMoveEvent(event);
    }
    const QPointF point = viewportPoint(event->position());
    lastDragDeltaX_ = point.x() - lastDragPoint_.x();
    lastDragPoint_ = point;
    processMouseDragged();
}

void KTWaveformView::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton)
        return QWidget::mouseReleaseEvent(event);
    // The end of a press that grabbed nothing is the view's too, and does nothing.
    if (!tracking_)
        return;
    processMouseUp();
    // The grips may have moved to or away from the pointer.
    handCursor_.show(isOverHandle(event->position()));
}

void KTWaveformView::processMouseDragged() {
    if (!edit_.drag(ownPoint(lastDragPoint_).x(), lastDragDeltaX_, editMapping(), *this))
        return;
    if (scrollView_)
        waveform_view::autoscroll(*scrollView_, lastDragPoint_);
    requestRedraw();
}

void KTWaveformView::processMouseUp() {
    tracking_ = false;
    autoscrollTimer_.stop();
    edit_.release(*this);
}

void KTWaveformView::endTracking() {
    tracking_ = false;
    autoscrollTimer_.stop();
    edit_.endPress();
}

void KTWaveformView::editDidDragPlayheadToFrame(std::int32_t frame) {
    if (delegate_)
        delegate_->waveformViewDidDragPlayheadToFrame(this, frame);
}

void KTWaveformView::editDidChangeCurrentFrame(std::int32_t frame) {
    if (delegate_)
        delegate_->waveformViewDidChangeCurrentFrame(this, frame);
}

void KTWaveformView::editWillChangeRange() {
    if (delegate_)
        delegate_->waveformViewWillChangeRange(this);
}

void KTWaveformView::editDidChangeRangeStartFrameEndFrame(std::int32_t startFrame,
                                                          std::int32_t endFrame) {
    if (delegate_)
        delegate_->waveformViewDidChangeRangeStartFrameEndFrame(this, startFrame, endFrame);
}

// The timer's tick while the button is held: a pointer held still in an edge band, or
// beyond the scroll area, drags again, which scrolls on and moves whatever it holds with it.
void KTWaveformView::repeatDragAtEdge() {
    if (!tracking_ || !scrollView_)
        return;
    if (!waveform_view::isClearOfEdges(*scrollView_, lastDragPoint_))
        processMouseDragged();
}

// Every vertical wheel or trackpad event zooms a full step about the pointer, whatever its
// size or phase; anything with a sideways component goes on to the scroll area, which
// scrolls with it.
void KTWaveformView::wheelEvent(QWheelEvent* event) {
    event->accept();
    if (!waveform_)
        return;
    const QPoint delta = event->angleDelta().isNull() ? event->pixelDelta() : event->angleDelta();
    const QPointF pivot = viewportPoint(event->position());
    if (delta.x() == 0 && delta.y() > 0)
        zoomInWithPivot(pivot);
    else if (delta.x() == 0 && delta.y() < 0)
        zoomOutWithPivot(pivot);
    else
        event->ignore();
}

bool KTWaveformView::isOverHandle(QPointF ownPoint) const {
    return edit_.isOverHandle(ownPoint, editMapping());
}

void KTWaveformView::leaveEvent(QEvent* event) {
    // While the button is held the hand stays until the release.
    if (!tracking_)
        handCursor_.show(false);
    QWidget::leaveEvent(event);
}
