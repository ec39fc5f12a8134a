// The mapping between frames and the view's own pixels, and the rectangles derived from it.

#include "audio/KTWaveform.h"
#include "waveform_view/KTWaveformView.h"

double KTWaveformView::waveformAreaWidth() const {
    return width() - 2.0 * kSideMargin;
}

QRectF KTWaveformView::waveformAreaRect() const {
    return QRectF(kSideMargin, 0.0, waveformAreaWidth(), height());
}

double KTWaveformView::framesPerPixel() const {
    return waveform_ ? waveform_view::framesPerPixel(waveform_->totalFrames(), waveformAreaWidth())
                     : 0.0;
}

double KTWaveformView::pixelForFrame(std::int32_t frame) const {
    return waveform_view::pixelForFrame(frame, framesPerPixel());
}

std::int32_t KTWaveformView::frameAtPixel(double x) const {
    return waveform_view::frameAtPixel(x, framesPerPixel());
}

QRectF KTWaveformView::rangeStartHandleRect() const {
    return waveform_view::rangeStartHandleRect(rangeStartPixel(), height());
}

QRectF KTWaveformView::rangeEndHandleRect() const {
    return waveform_view::rangeEndHandleRect(rangeEndPixel(), height());
}

waveform_view::EditMapping KTWaveformView::editMapping() const {
    return {framesPerPixel(), waveform_ ? waveform_->totalFrames() : 0,
            static_cast<double>(height())};
}
