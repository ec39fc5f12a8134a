// Construction, keeping the view over the visible strip of the scroll area, and the frames
// of its GL window.

#include "waveform_view/KTFixedWaveformView.h"

#include "waveform_view/GLWindow.h"

#include <QEvent>
#include <QPainter>
#include <QScreen>
#include <QScrollArea>
#include <algorithm>
#include <utility>

KTFixedWaveformView::KTFixedWaveformView(QWidget* parent) : WaveformViewBase(parent) {
    // Drawn only when grabbed; on screen the GL window covers it.
    setAttribute(Qt::WA_OpaquePaintEvent);
    glWindow_ = new waveform_view::GLWindow(
        waveform_view::viewSurfaceFormat(0),
        {[this] { initializeGL(); },
         [this](QSize pixels, unsigned target, waveform_view::GLWindow::Frame frame) {
             return paintGL(pixels, target, frame);
         }},
        this);
    container_ = glWindow_->container();
    setSurface(glWindow_);
    placeGLWindow();
    frameClock_.setTimerType(Qt::PreciseTimer);
    QObject::connect(&frameClock_, &QTimer::timeout, this, [this] { frameTick(); });
}

KTFixedWaveformView::~KTFixedWaveformView() {
    // The container is the scroll area's child and may outlive the view; it goes with it.
    if (!container_)
        return;
    glWindow_->makeCurrent();
    strip_.release();
    glWindow_->doneCurrent();
    detachSurface();
    delete container_.data();
}

void KTFixedWaveformView::placeInScrollView(QScrollArea& scrollView) {
    if (!scrollView.widget()) {
        auto* document = new QWidget;
        document->resize(scrollView.viewport()->size());
        scrollView.setWidget(document);
    }
    setParent(scrollView.widget());
    // The GL window's container goes into the scroll area beside the viewport, not into the
    // document: a container inside a scroll area makes every widget above it a native
    // window, and X limits a window to 32767 pixels, far narrower than a deep zoom's
    // document.
    container_->setParent(&scrollView);
    placeGLWindow();
    container_->show();
}

void KTFixedWaveformView::placeGLWindow() {
    // The view covers the viewport exactly (the document is never narrower), so the GL
    // window lies at the view's origin and is as large.
    container_->setGeometry(scrollView_ ? scrollView_->viewport()->geometry() : rect());
}

QWidget* KTFixedWaveformView::documentView() const {
    return scrollView_ ? scrollView_->widget() : nullptr;
}

QRect KTFixedWaveformView::documentVisibleRect() const {
    if (!documentView())
        return rect();
    return waveform_view::documentVisibleRect(*scrollView_);
}

void KTFixedWaveformView::fitWidth() {
    if (!scrollView_)
        return;
    setDocumentWidth(scrollView_->viewport()->width());
    followVisibleRect();
    requestRedraw();
}

void KTFixedWaveformView::boundsDidChange() {
    WaveformViewBase::boundsDidChange();
    followVisibleRect();
    requestRedraw();
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
    requestRedraw();
}

bool KTFixedWaveformView::eventFilter(QObject* watched, QEvent* event) {
    if (scrollView_ && watched == scrollView_->viewport() && event->type() == QEvent::Resize)
        windowResized();
    if (scrollView_ && watched == scrollView_->viewport() &&
        (event->type() == QEvent::Resize || event->type() == QEvent::Move))
        placeGLWindow();
    return QWidget::eventFilter(watched, event);
}

void KTFixedWaveformView::resizeEvent(QResizeEvent* event) {
    if (!scrollView_)
        placeGLWindow();
    QWidget::resizeEvent(event);
}

void KTFixedWaveformView::followVisibleRect() {
    if (scrollView_)
        setGeometry(documentVisibleRect());
}

void KTFixedWaveformView::setDocumentWidth(int width) {
    QWidget* document = documentView();
    document->resize(width, scrollView_->viewport()->height());
}

QImage KTFixedWaveformView::grabFramebuffer() {
    return glWindow_->grabFrame();
}

void KTFixedWaveformView::makeCurrent() {
    glWindow_->makeCurrent();
}

void KTFixedWaveformView::doneCurrent() {
    glWindow_->doneCurrent();
}

void KTFixedWaveformView::paintEvent(QPaintEvent* /*event*/) {
    if (!redirected(nullptr))
        return;
    const QImage frame = grabFramebuffer();
    QPainter(this).drawImage(rect(), frame);
}

void KTFixedWaveformView::setFrameCallback(std::function<void()> beforeFrame) {
    beforeFrame_ = std::move(beforeFrame);
    if (!beforeFrame_) {
        frameClock_.stop();
        return;
    }
    const QScreen* shownOn = screen();
    const double rate = shownOn && shownOn->refreshRate() > 1.0 ? shownOn->refreshRate() : 60.0;
    frameClock_.start(std::max(1, static_cast<int>(1000.0 / rate)));
}

void KTFixedWaveformView::frameTick() {
    if (beforeFrame_)
        beforeFrame_();
    glWindow_->drawPendingFrame();
}
