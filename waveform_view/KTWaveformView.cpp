// Construction, and the view's place in its scroll area: it is the document, so scrolling
// moves it and zooming changes its width; the GL surface stays over the part that shows.

#include "waveform_view/KTWaveformView.h"

#include "waveform_view/GLSurface.h"

#include <QEvent>
#include <QScrollArea>

KTWaveformView::KTWaveformView(QWidget* parent) : WaveformViewBase(parent) {
    surface_ = new waveform_view::GLSurface(
        {[this] { initializeGL(); }, [this](int width, int height) { resizeGL(width, height); },
         [this] { paintGL(); }},
        this);
    setSurface(surface_);
    placeSurface();
}

void KTWaveformView::placeInScrollView(QScrollArea& scrollView) {
    resize(scrollView.viewport()->size());
    scrollView.setWidget(this);
    // The surface covers what shows; nothing of the view's own background is ever seen.
    setAutoFillBackground(false);
}

QRect KTWaveformView::visibleRect() const {
    if (!scrollView_)
        return rect();
    return waveform_view::documentVisibleRect(*scrollView_);
}

void KTWaveformView::fitWidth() {
    if (scrollView_)
        setViewWidth(scrollView_->viewport()->width());
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
