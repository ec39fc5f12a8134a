// The waveform area: the document, less a margin at each side.

#include "waveform_view/KTFixedWaveformView.h"

double KTFixedWaveformView::waveformAreaWidth() const {
    const QWidget* document = documentView();
    return (document ? document->width() : width()) - 2.0 * kSideMargin;
}

QRectF KTFixedWaveformView::waveformAreaRect() const {
    const QWidget* document = documentView();
    return QRectF(kSideMargin, 0.0, waveformAreaWidth(), document ? document->height() : height());
}
