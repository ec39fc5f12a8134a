// Construction, state, and keeping the view over the visible strip of the scroll area.

#include "waveform_view/KTFixedWaveformView.h"

#include "audio/KTWaveform.h"

#include <QCursor>
#include <QEvent>
#include <QPointer>
#include <QScrollArea>
#include <QScrollBar>
#include <QTimer>

namespace {

// One scroll-end timer for all views: a user scroll in any of them restarts it, and only
// the view scrolled last hears that scrolling ended.
QPointer<QTimer> scrollEndTimer;

} // namespace

KTFixedWaveformView::KTFixedWaveformView(QWidget* parent) : QOpenGLWidget(parent) {
    setFormat(waveform_view::viewSurfaceFormat());

    // Moves without a button show the open hand over the grips.
    setMouseTracking(true);
    setAcceptDrops(true);
    autoscrollTimer_.setInterval(kAutoscrollIntervalMs);
    connect(&autoscrollTimer_, &QTimer::timeout, this, [this] { repeatDragAtEdge(); });
    dropzoneTimer_.setInterval(kDropzoneIntervalMs);
    connect(&dropzoneTimer_, &QTimer::timeout, this, [this] { animateDropzone(); });
}

KTFixedWaveformView::~KTFixedWaveformView() {
    // The base class destroys the context after this part of the object is gone.
    disconnect(contextDestroyed_);
    if (glReady_) {
        makeCurrent();
        releaseGLResources();
        doneCurrent();
    }
}

void KTFixedWaveformView::attachToScrollView(QScrollArea* scrollView) {
    scrollView_ = scrollView;
    scrollView->setFrameShape(QFrame::NoFrame);
    scrollView->setWidgetResizable(false);
    scrollView->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    if (!scrollView->widget()) {
        auto* document = new QWidget;
        document->resize(scrollView->viewport()->size());
        scrollView->setWidget(document);
    }
    setParent(scrollView->widget());
    // QScrollArea moves the document in its own slot, connected before this one, so the
    // visible rectangle is already up to date here.
    connect(scrollView->horizontalScrollBar(), &QScrollBar::valueChanged, this,
            [this] { boundsDidChange(); });
    scrollView->viewport()->installEventFilter(this);
    fitWidth();
    show();
}

QWidget* KTFixedWaveformView::documentView() const {
    return scrollView_ ? scrollView_->widget() : nullptr;
}

QRect KTFixedWaveformView::documentVisibleRect() const {
    if (!documentView())
        return rect();
    return waveform_view::documentVisibleRect(*scrollView_);
}

void KTFixedWaveformView::setWaveform(std::unique_ptr<KTWaveform> waveform) {
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
    update();
    // The grips moved (or went away) under a pointer that may be resting on the view.
    handCursor_.show(underMouse() && isOverHandle(mapFromGlobal(QCursor::pos().toPointF())));
}

void KTFixedWaveformView::setPlayheadFrame(std::int32_t frame) {
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
    update();
}

void KTFixedWaveformView::resetPlayhead() {
    setPlayheadFrame(edit_.rangeStartFrame);
}

void KTFixedWaveformView::setRangeStartFrame(std::int32_t frame) {
    edit_.rangeStartFrame = frame;
    update();
}

void KTFixedWaveformView::setRangeEndFrame(std::int32_t frame) {
    edit_.rangeEndFrame = frame;
    update();
}

void KTFixedWaveformView::setDropzoneDelta(float delta) {
    dropzoneDelta_ = delta;
    update();
}

void KTFixedWaveformView::fitWidth() {
    if (!scrollView_)
        return;
    setDocumentWidth(scrollView_->viewport()->width());
    followVisibleRect();
    update();
}

void KTFixedWaveformView::boundsDidChange() {
    if (!autoscrolling_) {
        scrolling_ = true;
        waveform_view::restartScrollEndTimer(scrollEndTimer, this, kScrollEndDelayMs,
                                             [this] { boundsDidFinishChanging(); });
    }
    autoscrolling_ = false;
    followVisibleRect();
    update();
}

void KTFixedWaveformView::boundsDidFinishChanging() {
    scrolling_ = false;
}

void KTFixedWaveformView::windowResized() {
    if (!scrollView_)
        return;
    QWidget* document = documentView();
    // The document always fills the scroll area's height; only its width is the zoom.
    document->resize(document->width(), scrollView_->viewport()->height());
    if (!waveform_ || scrollView_->viewport()->width() > document->width())
        fitWidth();
    followVisibleRect();
    update();
}

bool KTFixedWaveformView::eventFilter(QObject* watched, QEvent* event) {
    if (scrollView_ && watched == scrollView_->viewport() && event->type() == QEvent::Resize)
        windowResized();
    return QOpenGLWidget::eventFilter(watched, event);
}

void KTFixedWaveformView::followVisibleRect() {
    if (scrollView_)
        setGeometry(documentVisibleRect());
}

void KTFixedWaveformView::setDocumentWidth(int width) {
    QWidget* document = documentView();
    document->resize(width, scrollView_->viewport()->height());
}
