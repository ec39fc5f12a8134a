// Construction, state, and the view's place in its scroll area: it is the document, so
// scrolling moves it and zooming changes its width; the GL surface stays over the part
// that shows.

#include "waveform_view/KTWaveformView.h"

#include "audio/KTWaveform.h"
#include "waveform_view/DocumentScrolling.h"
#include "waveform_view/GLSurface.h"

#include <QCursor>
#include <QEvent>
#include <QPointer>
#include <QScrollArea>
#include <QScrollBar>

namespace {

// One scroll-end timer for all scrolling views, apart from the fixed views' one.
QPointer<QTimer> scrollEndTimer;

} // namespace

KTWaveformView::KTWaveformView(QWidget* parent) : QWidget(parent) {
    surface_ = new waveform_view::GLSurface(
        {[this] { initializeGL(); }, [this](int width, int height) { resizeGL(width, height); },
         [this] { paintGL(); }},
        this);
    // Moves without a button show the open hand over the grips.
    setMouseTracking(true);
    setAcceptDrops(true);
    autoscrollTimer_.setInterval(kAutoscrollIntervalMs);
    connect(&autoscrollTimer_, &QTimer::timeout, this, [this] { repeatDragAtEdge(); });
    dropzoneTimer_.setInterval(kDropzoneIntervalMs);
    connect(&dropzoneTimer_, &QTimer::timeout, this, [this] { animateDropzone(); });
    placeSurface();
}

KTWaveformView::~KTWaveformView() {
    // The surface, a child, destroys its context after this part of the object is gone.
    disconnect(contextDestroyed_);
    if (glReady_) {
        surface_->makeCurrent();
        releaseGLResources();
        surface_->doneCurrent();
    }
}

void KTWaveformView::attachToScrollView(QScrollArea* scrollView) {
    scrollView_ = scrollView;
    scrollView->setFrameShape(QFrame::NoFrame);
    scrollView->setWidgetResizable(false);
    scrollView->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    resize(scrollView->viewport()->size());
    scrollView->setWidget(this);
    // The surface covers what shows; nothing of the view's own background is ever seen.
    setAutoFillBackground(false);
    // QScrollArea moves the view in its own slot, connected before this one, so the
    // visible rectangle is already up to date here.
    connect(scrollView->horizontalScrollBar(), &QScrollBar::valueChanged, this,
            [this] { boundsDidChange(); });
    scrollView->viewport()->installEventFilter(this);
    fitWidth();
    show();
}

QRect KTWaveformView::visibleRect() const {
    if (!scrollView_)
        return rect();
    return waveform_view::documentVisibleRect(*scrollView_);
}

void KTWaveformView::setWaveform(std::unique_ptr<KTWaveform> waveform) {
    waveform_ = std::move(waveform);
    if (waveform_)
        // The vertex buffer still holds the previous file's strip.
        waveform_->totalBuckets = 0;
    // A drag in progress belonged to the previous file; it ends here without a message.
    endTracking();
    edit_.playheadFrame = 0;
    edit_.rangeStartFrame = 0;
    edit_.rangeEndFrame = waveform_ ? waveform_->totalFrames() : 0;
    fitWidth();
    requestRedraw();
    // The grips moved (or went away) under a pointer that may be resting on the view.
    handCursor_.show(underMouse() && isOverHandle(mapFromGlobal(QCursor::pos().toPointF())));
}

void KTWaveformView::setPlayheadFrame(std::int32_t frame) {
    if (edit_.dragging)
        return;
    edit_.playheadFrame = frame;
    if (!scrolling_) {
        // Set even when nothing ends up scrolling: then the next user scroll is taken for
        // the view's own and does not suspend following. That is accepted.
        autoscrolling_ = true;
        if (scrollView_)
            waveform_view::scrollDocumentRectToVisible(
                *scrollView_,
                QRectF(playheadPixel() - kFollowWindowLead, 0.0, kFollowWindowWidth, height()));
    }
    requestRedraw();
}

void KTWaveformView::resetPlayhead() {
    setPlayheadFrame(edit_.rangeStartFrame);
}

void KTWaveformView::setRangeStartFrame(std::int32_t frame) {
    edit_.rangeStartFrame = frame;
    requestRedraw();
}

void KTWaveformView::setRangeEndFrame(std::int32_t frame) {
    edit_.rangeEndFrame = frame;
    requestRedraw();
}

void KTWaveformView::setDropzoneDelta(float delta) {
    dropzoneDelta_ = delta;
    requestRedraw();
}

void KTWaveformView::fitWidth() {
    if (scrollView_)
        setViewWidth(scrollView_->viewport()->width());
}

void KTWaveformView::boundsDidChange() {
    if (!autoscrolling_) {
        scrolling_ = true;
        waveform_view::restartScrollEndTimer(scrollEndTimer, this, kScrollEndDelayMs,
                                             [this] { boundsDidFinishChanging(); });
    }
    autoscrolling_ = false;
}

void KTWaveformView::boundsDidFinishChanging() {
    scrolling_ = false;
}

void KTWaveformView::windowResized() {
    if (!scrollView_)
        return;
    // The view always fills the scroll area's height; only its width is the zoom.
    resize(width(), scrollView_->viewport()->height());
    if (!waveform_ || scrollView_->viewport()->width() > width())
        fitWidth();
}

bool KTWaveformView::eventFilter(QObject* watched, QEvent* event) {
    if (scrollView_ && watched == scrollView_->viewport() && event->type() == QEvent::Resize) {
        windowResized();
        placeSurface();
    }
    return QWidget::eventFilter(watched, event);
}

// A scroll moves the view in the scroll area, and a zoom or a new window size resizes it:
// either way another part of it shows.
void KTWaveformView::moveEvent(QMoveEvent* event) {
    placeSurface();
    QWidget::moveEvent(event);
}

void KTWaveformView::resizeEvent(QResizeEvent* event) {
    placeSurface();
    QWidget::resizeEvent(event);
}

void KTWaveformView::setViewWidth(int width) {
    resize(width, height());
}

void KTWaveformView::placeSurface() {
    const QRect visible = visibleRect();
    if (visible != surface_->geometry())
        surface_->setGeometry(visible);
    reshapePending_ = true;
    requestRedraw();
}

void KTWaveformView::requestRedraw() {
    surface_->update();
}
