// The mapping between frames and document pixels, and the rectangles derived from it.

#include "audio/KTWaveform.h"
#include "waveform_view/KTFixedWaveformView.h"

double KTFixedWaveformView::waveformAreaWidth() const {
    const QWidget* document = documentView();
    return (document ? document->width() : width()) - 2.0 * kSideMargin;
}

QRectF KTFixedWaveformView::waveformAreaRect() const {
    const QWidget* document = documentView();
    return QRectF(kSideMargin, 0.0, waveformAreaWidth(), document ? document->height() : height());
}

double KTFixedWaveformView::framesPerPixel() const {
    return waveform_ ? waveform_view::framesPerPixel(waveform_->totalFrames(), waveformAreaWidth())
                     : 0.0;
}

double KTFixedWaveformView::pixelForFrame(std::int32_t frame) const {
    return waveform_view::pixelForFrame(frame, framesPerPixel());
}

std::int32_t KTFixedWaveformView::frameAtPixel(double x) const {
    return waveform_view::frameAtPixel(x, framesPerPixel());
}

QRectF KTFixedWaveformView::rangeStartHandleRect() const {
    return waveform_view::rangeStartHandleRect(rangeStartPixel(), waveformAreaRect().height());
}

QRectF KTFixedWaveformView::rangeEndHandleRect() const {
    return waveform_view::rangeEndHandleRect(rangeEndPixel(), waveformAreaRect().height());
}
