#include "waveform_view/WaveformViewBase.h"

#include "audio/KTWaveform.h"
#include "waveform_view/FileDrop.h"
#include "waveform_view/KTFixedWaveformView.h"
#include "waveform_view/KTFixedWaveformViewDelegate.h"
#include "waveform_view/KTWaveformView.h"
#include "waveform_view/KTWaveformViewDelegate.h"

#include <QApplication>
#include <QCursor>
#include <QDragEnterEvent>
#include <QDragLeaveEvent>
#include <QDropEvent>
#include <QMouseEvent>
#include <QOpenGLContext>
#include <QScrollArea>
#include <QScrollBar>
#include <QWheelEvent>
#include <cmath>

namespace waveform_view {

// Construction, state, and the view's place in its scroll area.

template <class Widget, class View, class Delegate>
WaveformViewBase<Widget, View, Delegate>::WaveformViewBase(QWidget* parent) : Widget(parent) {
    // Moves without a button show the open hand over the grips.
    this->setMouseTracking(true);
    this->setAcceptDrops(true);
    autoscrollTimer_.setInterval(kAutoscrollIntervalMs);
    QObject::connect(&autoscrollTimer_, &QTimer::timeout, this, [this] { repeatDragAtEdge(); });
    dropzoneTimer_.setInterval(kDropzoneIntervalMs);
    QObject::connect(&dropzoneTimer_, &QTimer::timeout, this, [this] { animateDropzone(); });
}

template <class Widget, class View, class Delegate>
WaveformViewBase<Widget, View, Delegate>::~WaveformViewBase() {
    // The surface (a child of the view) destroys its context after this part of the object
    // is gone.
    detachSurface();
}

template <class Widget, class View, class Delegate>
void WaveformViewBase<Widget, View, Delegate>::detachSurface() {
    QObject::disconnect(contextDestroyed_);
    if (glReady_) {
        surface_->makeCurrent();
        releaseGLResources();
        surface_->doneCurrent();
    }
}

template <class Widget, class View, class Delegate>
void WaveformViewBase<Widget, View, Delegate>::attachToScrollView(QScrollArea* scrollView) {
    scrollView_ = scrollView;
    scrollView->setFrameShape(QFrame::NoFrame);
    scrollView->setWidgetResizable(false);
    scrollView->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    self().placeInScrollView(*scrollView);
    // QScrollArea moves its widget in its own slot, connected before this one, so the
    // visible rectangle is already up to date here.
    QObject::connect(scrollView->horizontalScrollBar(), &QScrollBar::valueChanged, this,
                     [this] { self().boundsDidChange(); });
    scrollView->viewport()->installEventFilter(this);
    self().fitWidth();
    this->show();
}

template <class Widget, class View, class Delegate>
void WaveformViewBase<Widget, View, Delegate>::setWaveform(std::unique_ptr<KTWaveform> waveform) {
    waveform_ = std::move(waveform);
    ++waveformGeneration_;
    if (waveform_)
        // The vertex buffer still holds the previous file's strip.
        waveform_->totalBuckets = 0;
    // A drag in progress belonged to the previous file; it ends here without a message.
    endTracking();
    edit_.playheadFrame = 0;
    edit_.rangeStartFrame = 0;
    edit_.rangeEndFrame = waveform_ ? waveform_->totalFrames() : 0;
    self().fitWidth();
    requestRedraw();
    // The grips moved (or went away) under a pointer that may be resting on the view (a GL
    // window over the view takes the pointer's entering, so it is asked where it is).
    const QPointF pointer = this->mapFromGlobal(QCursor::pos().toPointF());
    handCursor_.show(this->isVisible() && this->rect().contains(pointer.toPoint()) &&
                     isOverHandle(pointer));
}

template <class Widget, class View, class Delegate>
void WaveformViewBase<Widget, View, Delegate>::setPlayheadFrame(std::int32_t frame) {
    if (edit_.dragging)
        return;
    edit_.playheadFrame = frame;
    if (!scrolling_) {
        // Set even when nothing ends up scrolling: then the next user scroll is taken for
        // the view's own and does not suspend following. That is accepted.
        autoscrolling_ = true;
        if (scrollView_)
            scrollDocumentRectToVisible(*scrollView_,
                                        QRectF(playheadPixel() - kFollowWindowLead, 0.0,
                                               kFollowWindowWidth, this->height()));
    }
    requestRedraw();
}

template <class Widget, class View, class Delegate>
void WaveformViewBase<Widget, View, Delegate>::resetPlayhead() {
    setPlayheadFrame(edit_.rangeStartFrame);
}

template <class Widget, class View, class Delegate>
void WaveformViewBase<Widget, View, Delegate>::setRangeStartFrame(std::int32_t frame) {
    edit_.rangeStartFrame = frame;
    requestRedraw();
}

template <class Widget, class View, class Delegate>
void WaveformViewBase<Widget, View, Delegate>::setRangeEndFrame(std::int32_t frame) {
    edit_.rangeEndFrame = frame;
    requestRedraw();
}

template <class Widget, class View, class Delegate>
void WaveformViewBase<Widget, View, Delegate>::setDropzoneDelta(float delta) {
    dropzoneDelta_ = delta;
    requestRedraw();
}

template <class Widget, class View, class Delegate>
void WaveformViewBase<Widget, View, Delegate>::requestRedraw() {
    surface_->requestFrame();
}

template <class Widget, class View, class Delegate>
void WaveformViewBase<Widget, View, Delegate>::boundsDidChange() {
    if (!autoscrolling_) {
        scrolling_ = true;
        restartScrollEndTimer(scrollEndTimer_, this, kScrollEndDelayMs,
                              [this] { self().boundsDidFinishChanging(); });
    }
    autoscrolling_ = false;
}

template <class Widget, class View, class Delegate>
void WaveformViewBase<Widget, View, Delegate>::boundsDidFinishChanging() {
    scrolling_ = false;
}

// Zoom steps about the middle.

template <class Widget, class View, class Delegate>
void WaveformViewBase<Widget, View, Delegate>::zoomIn() {
    if (scrollView_)
        self().zoomInWithPivot(QPointF(std::floor(scrollView_->viewport()->width() * 0.5), 0.0));
}

template <class Widget, class View, class Delegate>
void WaveformViewBase<Widget, View, Delegate>::zoomOut() {
    if (scrollView_)
        self().zoomOutWithPivot(QPointF(std::floor(scrollView_->viewport()->width() * 0.5), 0.0));
}

// The mapping between frames and the zoomed pixel space, and the grips.

template <class Widget, class View, class Delegate>
double WaveformViewBase<Widget, View, Delegate>::framesPerPixel() const {
    return waveform_
               ? waveform_view::framesPerPixel(waveform_->totalFrames(), self().waveformAreaWidth())
               : 0.0;
}

template <class Widget, class View, class Delegate>
double WaveformViewBase<Widget, View, Delegate>::pixelForFrame(std::int32_t frame) const {
    return waveform_view::pixelForFrame(frame, framesPerPixel());
}

template <class Widget, class View, class Delegate>
std::int32_t WaveformViewBase<Widget, View, Delegate>::frameAtPixel(double x) const {
    return waveform_view::frameAtPixel(x, framesPerPixel());
}

template <class Widget, class View, class Delegate>
QRectF WaveformViewBase<Widget, View, Delegate>::rangeStartHandleRect() const {
    return waveform_view::rangeStartHandleRect(rangeStartPixel(),
                                               self().waveformAreaRect().height());
}

template <class Widget, class View, class Delegate>
QRectF WaveformViewBase<Widget, View, Delegate>::rangeEndHandleRect() const {
    return waveform_view::rangeEndHandleRect(rangeEndPixel(), self().waveformAreaRect().height());
}

template <class Widget, class View, class Delegate>
EditMapping WaveformViewBase<Widget, View, Delegate>::editMapping() const {
    return {framesPerPixel(), waveform_ ? waveform_->totalFrames() : 0,
            self().waveformAreaRect().height(),
            isBeatGridShown() && !snapOff_ ? &beatMarks_ : nullptr};
}

template <class Widget, class View, class Delegate>
void WaveformViewBase<Widget, View, Delegate>::setBeatMarks(BeatMarks marks) {
    beatMarks_ = std::move(marks);
    ++waveformGeneration_; // the grid is drawn with the waveform's strip
    requestRedraw();
}

template <class Widget, class View, class Delegate>
void WaveformViewBase<Widget, View, Delegate>::setShowsBeatGrid(bool shows) {
    showsBeatGrid_ = shows;
    ++waveformGeneration_;
    requestRedraw();
}

// Mouse input: moving the playhead and the ends of the range, drawing a new range with
// Shift, scrolling while the button is held at an edge, and the open hand over the grips.
//
// A press and its drags are kept in the scroll area's viewport coordinates and turned into
// the zoomed pixel space when used, because scrolling moves the view's content under a
// pointer that stays where it is.

template <class Widget, class View, class Delegate>
QPointF WaveformViewBase<Widget, View, Delegate>::viewportPoint(QPointF viewPoint) const {
    return scrollView_ ? this->mapTo(scrollView_->viewport(), viewPoint) : viewPoint;
}

template <class Widget, class View, class Delegate>
void WaveformViewBase<Widget, View, Delegate>::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton || tracking_)
        return Widget::mousePressEvent(event);
    const QPointF pressPoint = viewportPoint(event->position());
    snapOff_ = event->modifiers() & Qt::AltModifier;
    if (!edit_.press(self().zoomedPoint(pressPoint), event->modifiers() & Qt::ShiftModifier,
                     editMapping(), *this))
        return;
    requestRedraw();
    tracking_ = true;
    lastDragPoint_ = pressPoint;
    lastDragDeltaX_ = 0.0;
    autoscrollTimer_.start();
}

template <class Widget, class View, class Delegate>
void WaveformViewBase<Widget, View, Delegate>::mouseMoveEvent(QMouseEvent* event) {
    // The button went up where the view could not see it; this move is then a hover.
    if (tracking_ && !(event->buttons() & Qt::LeftButton))
        endDragAsReleased();
    if (!tracking_) {
        handCursor_.show(isOverHandle(event->position()));
        return Widget::mouseMoveEvent(event);
    }
    const QPointF point = viewportPoint(event->position());
    snapOff_ = event->modifiers() & Qt::AltModifier;
    lastDragDeltaX_ = point.x() - lastDragPoint_.x();
    lastDragPoint_ = point;
    processMouseDragged();
}

template <class Widget, class View, class Delegate>
void WaveformViewBase<Widget, View, Delegate>::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton)
        return Widget::mouseReleaseEvent(event);
    // The end of a press that grabbed nothing is the view's too, and does nothing.
    if (!tracking_)
        return;
    processMouseUp();
    // The grips may have moved to or away from the pointer.
    handCursor_.show(isOverHandle(event->position()));
}

template <class Widget, class View, class Delegate>
void WaveformViewBase<Widget, View, Delegate>::processMouseDragged() {
    if (!edit_.drag(self().zoomedPoint(lastDragPoint_).x(), lastDragDeltaX_, editMapping(), *this))
        return;
    if (scrollView_)
        autoscroll(*scrollView_, lastDragPoint_);
    requestRedraw();
}

template <class Widget, class View, class Delegate>
void WaveformViewBase<Widget, View, Delegate>::processMouseUp() {
    tracking_ = false;
    autoscrollTimer_.stop();
    edit_.release(*this);
}

// The release will not reach the view: the drag ends as if the button went up where the
// pointer last was, so the delegate still hears the range or the playhead it reached. The
// hand goes too (it would show over a dialog); the next move over a grip brings it back.
template <class Widget, class View, class Delegate>
void WaveformViewBase<Widget, View, Delegate>::endDragAsReleased() {
    if (!tracking_)
        return;
    processMouseUp();
    handCursor_.show(false);
}

template <class Widget, class View, class Delegate>
bool WaveformViewBase<Widget, View, Delegate>::event(QEvent* event) {
    switch (event->type()) {
    case QEvent::WindowBlocked:    // a modal dialog opened: it gets the release
    case QEvent::WindowDeactivate: // another window or the desktop took the keys and pointer
        endDragAsReleased();
        break;
    default:
        break;
    }
    return Widget::event(event);
}

template <class Widget, class View, class Delegate>
void WaveformViewBase<Widget, View, Delegate>::endTracking() {
    tracking_ = false;
    autoscrollTimer_.stop();
    edit_.endPress();
}

// The timer's tick while the button is held: a pointer held still in an edge band, or
// beyond the scroll area, drags again, which scrolls on and moves whatever it holds with it.
template <class Widget, class View, class Delegate>
void WaveformViewBase<Widget, View, Delegate>::repeatDragAtEdge() {
    if (!tracking_)
        return;
    // A popup (a menu opened from the keyboard) takes the pointer and gets the release, and
    // tells the view nothing; the tick is where the view notices.
    if (QApplication::activePopupWidget())
        return endDragAsReleased();
    if (!scrollView_)
        return;
    if (!isClearOfEdges(*scrollView_, lastDragPoint_))
        processMouseDragged();
}

template <class Widget, class View, class Delegate>
bool WaveformViewBase<Widget, View, Delegate>::isOverHandle(QPointF viewPoint) const {
    return edit_.isOverHandle(self().zoomedPoint(viewportPoint(viewPoint)), editMapping());
}

template <class Widget, class View, class Delegate>
void WaveformViewBase<Widget, View, Delegate>::leaveEvent(QEvent* event) {
    // While the button is held the hand stays until the release.
    if (!tracking_)
        handCursor_.show(false);
    Widget::leaveEvent(event);
}

template <class Widget, class View, class Delegate>
void WaveformViewBase<Widget, View, Delegate>::zoomAStepWithWheel(QWheelEvent* event) {
    const QPoint delta = event->angleDelta().isNull() ? event->pixelDelta() : event->angleDelta();
    const QPointF pivot = viewportPoint(event->position());
    if (delta.x() == 0 && delta.y() > 0)
        self().zoomInWithPivot(pivot);
    else if (delta.x() == 0 && delta.y() < 0)
        self().zoomOutWithPivot(pivot);
    else
        event->ignore();
}

template <class Widget, class View, class Delegate>
void WaveformViewBase<Widget, View, Delegate>::editDidDragPlayheadToFrame(std::int32_t frame) {
    if (delegate_)
        delegate_->waveformViewDidDragPlayheadToFrame(&self(), frame);
}

template <class Widget, class View, class Delegate>
void WaveformViewBase<Widget, View, Delegate>::editDidChangeCurrentFrame(std::int32_t frame) {
    if (delegate_)
        delegate_->waveformViewDidChangeCurrentFrame(&self(), frame);
}

template <class Widget, class View, class Delegate>
void WaveformViewBase<Widget, View, Delegate>::editWillChangeRange() {
    if (delegate_)
        delegate_->waveformViewWillChangeRange(&self());
}

template <class Widget, class View, class Delegate>
void WaveformViewBase<Widget, View, Delegate>::editDidChangeRangeStartFrameEndFrame(
    std::int32_t startFrame, std::int32_t endFrame) {
    if (delegate_)
        delegate_->waveformViewDidChangeRangeStartFrameEndFrame(&self(), startFrame, endFrame);
}

// The drop target: one audio or video file dragged onto the view goes to the delegate as a
// path; the view never opens files itself. While an accepted drag hovers, the drop zone's
// arrow moves (it is drawn only when no file is loaded).

template <class Widget, class View, class Delegate>
void WaveformViewBase<Widget, View, Delegate>::dragEnterEvent(QDragEnterEvent* event) {
    if (answerDragEnter(event))
        startAnimation();
}

template <class Widget, class View, class Delegate>
void WaveformViewBase<Widget, View, Delegate>::dragLeaveEvent(QDragLeaveEvent* event) {
    stopAnimation();
    event->accept();
}

template <class Widget, class View, class Delegate>
void WaveformViewBase<Widget, View, Delegate>::dropEvent(QDropEvent* event) {
    const QString path = answerDrop(event);
    stopAnimation();
    if (path.isEmpty())
        return;
    // Handed over as soon as the drop has been answered: opening a file runs an event loop
    // of its own while the peaks are reduced, and the drag's source should not wait on it
    // for its answer.
    QTimer::singleShot(0, this, [this, path] {
        if (delegate_)
            delegate_->waveformViewDidReceiveDraggedFileWithPath(&self(), path);
    });
}

// Restarts the one animation timer, so a second entry without an exit in between does not
// leave a timer running that nothing stops.
template <class Widget, class View, class Delegate>
void WaveformViewBase<Widget, View, Delegate>::startAnimation() {
    dropzoneTimer_.start();
}

template <class Widget, class View, class Delegate>
void WaveformViewBase<Widget, View, Delegate>::animateDropzone() {
    setDropzoneDelta(static_cast<float>(double(dropzoneDelta_) + kDropzoneStep));
}

template <class Widget, class View, class Delegate>
void WaveformViewBase<Widget, View, Delegate>::stopAnimation() {
    dropzoneTimer_.stop();
    setDropzoneDelta(0.0f);
}

// The GL objects.

template <class Widget, class View, class Delegate>
void WaveformViewBase<Widget, View, Delegate>::createGLResources() {
    this->initializeOpenGLFunctions();
    // A new context (the view moved to another window) has none of the old objects.
    glReady_ = true;
    if (waveform_)
        waveform_->totalBuckets = 0;
    QObject::disconnect(contextDestroyed_);
    contextDestroyed_ =
        QObject::connect(surface_->context(), &QOpenGLContext::aboutToBeDestroyed, this, [this] {
            surface_->makeCurrent();
            releaseGLResources();
            surface_->doneCurrent();
        });
    createGLObjects(*this, glObjects_, this->devicePixelRatioF());
}

template <class Widget, class View, class Delegate>
void WaveformViewBase<Widget, View, Delegate>::releaseGLResources() {
    if (!glReady_)
        return;
    deleteGLObjects(*this, glObjects_);
    glReady_ = false;
}

template class WaveformViewBase<QWidget, KTFixedWaveformView, KTFixedWaveformViewDelegate>;
template class WaveformViewBase<QWidget, KTWaveformView, KTWaveformViewDelegate>;

} // namespace waveform_view
