// Zoom steps: the document's width is the zoom, and each step keeps the frame under a
// pivot where it is on screen.

#include "waveform_view/KTFixedWaveformView.h"

#include <QScrollArea>
#include <algorithm>
#include <cmath>

void KTFixedWaveformView::zoomInWithPivot(QPointF pivot) {
    if (!scrollView_)
        return;
    QWidget* document = documentView();
    const double pivotX = pivot.x() - document->x();
    const double perPixel = framesPerPixel();
    if (!(perPixel > kDeepestFramesPerPixel))
        return;
    setDocumentWidth(static_cast<int>(std::floor(document->width() * kZoomFactor)));
    waveform_view::scrollDocumentTo(
        *scrollView_, waveform_view::pivotScrollX(pivotX, perPixel, framesPerPixel(), pivot.x()));
    followVisibleRect();
    requestRedraw();
}

void KTFixedWaveformView::zoomOutWithPivot(QPointF pivot) {
    if (!scrollView_)
        return;
    QWidget* document = documentView();
    const double pivotX = pivot.x() - document->x();
    const double perPixel = framesPerPixel();
    const int documentWidth = document->width();
    const int scrollWidth = scrollView_->viewport()->width();
    if (documentWidth <= scrollWidth)
        return;
    // Back to the start first, so the narrower document never shows past its end.
    waveform_view::scrollDocumentTo(*scrollView_, 0.0);
    setDocumentWidth(
        std::max(static_cast<int>(std::floor(documentWidth / kZoomFactor)), scrollWidth));
    waveform_view::scrollDocumentTo(
        *scrollView_, waveform_view::pivotScrollX(pivotX, perPixel, framesPerPixel(), pivot.x()));
    followVisibleRect();
    requestRedraw();
}
