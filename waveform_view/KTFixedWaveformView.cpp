// Construction, and keeping the view over the visible strip of the scroll area.

#include "waveform_view/KTFixedWaveformView.h"

#include <QEvent>
#include <QScrollArea>

KTFixedWaveformView::KTFixedWaveformView(QWidget* parent) : WaveformViewBase(parent) {
    setFormat(waveform_view::viewSurfaceFormat());
    setGLWidget(this);
}

void KTFixedWaveformView::placeInScrollView(QScrollArea& scrollView) {
    if (!scrollView.widget()) {
        auto* document = new QWidget;
        document->resize(scrollView.viewport()->size());
        scrollView.setWidget(document);
    }
    setParent(scrollView.widget());
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
    update();
}

void KTFixedWaveformView::boundsDidChange() {
    WaveformViewBase::boundsDidChange();
    followVisibleRect();
    update();
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
