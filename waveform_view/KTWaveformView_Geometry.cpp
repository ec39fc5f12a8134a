// The waveform area: the view itself, less a margin at each side.

#include "waveform_view/KTWaveformView.h"

double KTWaveformView::waveformAreaWidth() const {
    return width() - 2.0 * kSideMargin;
}

QRectF KTWaveformView::waveformAreaRect() const {
    return QRectF(kSideMargin, 0.0, waveformAreaWidth(), height());
}
