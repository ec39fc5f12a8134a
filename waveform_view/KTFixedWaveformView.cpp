// Construction, state, and keeping the view over the visible strip of the scroll area.

#include "waveform_view/KTFixedWaveformView.h"

#include "audio/KTWaveform.h"

#include <QCursor>
#include <QEvent>
#include <QPointer>
#include <QScrollArea>
#include <QScrollBar>
#include <QSurfaceFormat>
#include <QTimer>
#include <cmath>

namespace {

// One scroll-end timer for all views: a user scroll in any of them restarts it, and only
// the view scrolled last hears that scrolling ended.
QPointer<QTimer> scrollEndTimer;

} // namespace

KTFixedWaveformView::KTFixedWaveformView(QWidget* parent) : QOpenGLWidget(parent) {
    QSurfaceFormat format = QSurfaceFormat::defaultFormat();
    format.setRenderableType(QSurfaceFormat::OpenGL);
    format.setProfile(QSurfaceFormat::CompatibilityProfile);
    format.setVersion(2, 1);
    // Two samples are enough to smooth the waveform's edges; everything else turns
    // multisampling off while it draws.
    format.setSamples(2);
    format.setDepthBufferSize(0);
    format.setStencilBufferSize(0);
    setFormat(format);

    // Moves without a button show the open hand over the grips.
    setMouseTracking(true);
    setAcceptDrops(true);
    autoscrollTimer_.setInterval(kAutoscrollIntervalMs);
    connect(&autoscrollTimer_, &QTimer::timeout, this, [this] { repeatDragAtEdge(); });
    dropzoneTimer_.setInterval(kDropzoneIntervalMs);
    connect(&dropzoneTimer_, &QTimer::timeout, this, [this] { animateDropzone(); });
}

KTFixedWaveformView::~KTFixedWaveformView() {
    showHandCursor(false);
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
    const QWidget* document = documentView();
    if (!document)
        return rect();
    const QRect shown(-document->x(), -document->y(), scrollView_->viewport()->width(),
                      scrollView_->viewport()->height());
    return shown & document->rect();
}

void KTFixedWaveformView::setWaveform(std::unique_ptr<KTWaveform> waveform) {
    waveform_ = std::move(waveform);
    if (waveform_)
        // The vertex buffer still holds the previous file's strip.
        waveform_->totalBuckets = 0;
    // A drag in progress belonged to the previous file; it ends here without a message.
    endTracking();
    playheadFrame_ = 0;
    rangeStartFrame_ = 0;
    rangeEndFrame_ = waveform_ ? waveform_->totalFrames() : 0;
    fitWidth();
    update();
    // The grips moved (or went away) under a pointer that may be resting on the view.
    showHandCursor(underMouse() && isOverHandle(mapFromGlobal(QCursor::pos().toPointF())));
}

void KTFixedWaveformView::setPlayheadFrame(std::int32_t frame) {
    if (dragging_)
        return;
    playheadFrame_ = frame;
    if (!scrolling_) {
        // Set even when nothing ends up scrolling: then the next user scroll is taken for
        // the view's own and does not suspend following. That is accepted.
        autoscrolling_ = true;
        scrollDocumentRectToVisible(
            QRectF(playheadPixel() - kFollowWindowLead, 0.0, kFollowWindowWidth, height()));
    }
    update();
}

void KTFixedWaveformView::resetPlayhead() {
    setPlayheadFrame(rangeStartFrame_);
}

void KTFixedWaveformView::setRangeStartFrame(std::int32_t frame) {
    rangeStartFrame_ = frame;
    update();
}

void KTFixedWaveformView::setRangeEndFrame(std::int32_t frame) {
    rangeEndFrame_ = frame;
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
        delete scrollEndTimer.data();
        scrollEndTimer = new QTimer(this);
        scrollEndTimer->setSingleShot(true);
        connect(scrollEndTimer.data(), &QTimer::timeout, this, [this] {
            boundsDidFinishChanging();
            scrollEndTimer->deleteLater();
        });
        scrollEndTimer->start(kScrollEndDelayMs);
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

void KTFixedWaveformView::scrollDocumentTo(double x) {
    scrollView_->horizontalScrollBar()->setValue(static_cast<int>(std::floor(x)));
}

void KTFixedWaveformView::scrollDocumentRectToVisible(const QRectF& rect) {
    if (!scrollView_)
        return;
    const QScrollBar* bar = scrollView_->horizontalScrollBar();
    const double left = bar->value();
    const double right = left + scrollView_->viewport()->width();
    // The least scroll that brings the rectangle in; its left edge wins if it cannot fit.
    if (rect.left() < left)
        scrollDocumentTo(rect.left());
    else if (rect.right() > right)
        scrollDocumentTo(std::ceil(rect.right() - scrollView_->viewport()->width()));
}
