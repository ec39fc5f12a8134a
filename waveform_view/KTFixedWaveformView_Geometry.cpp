// The mapping between frames and document pixels, and the rectangles derived from it.

#include "audio/KTWaveform.h"
#include "waveform_view/KTFixedWaveformView.h"

#include <cmath>
#include <limits>

double KTFixedWaveformView::waveformAreaWidth() const {
    const QWidget* document = documentView();
    return (document ? document->width() : width()) - 2.0 * kSideMargin;
}

QRectF KTFixedWaveformView::waveformAreaRect() const {
    const QWidget* document = documentView();
    return QRectF(kSideMargin, 0.0, waveformAreaWidth(), document ? document->height() : height());
}

double KTFixedWaveformView::framesPerPixel() const {
    const double areaWidth = waveformAreaWidth();
    if (!waveform_ || areaWidth <= 0.0)
        return 0.0;
    return static_cast<double>(waveform_->totalFrames()) / areaWidth;
}

double KTFixedWaveformView::pixelForFrame(std::int32_t frame) const {
    const double perPixel = framesPerPixel();
    if (perPixel <= 0.0)
        return kSideMargin;
    // Floored, so the frames of one pixel column all land on that column.
    return std::floor(frame / perPixel) + kSideMargin;
}

std::int32_t KTFixedWaveformView::frameAtPixel(double x) const {
    const double frame = std::trunc((x - kSideMargin) * framesPerPixel());
    constexpr double lowest = std::numeric_limits<std::int32_t>::min();
    constexpr double highest = std::numeric_limits<std::int32_t>::max();
    return static_cast<std::int32_t>(frame < lowest ? lowest : frame > highest ? highest : frame);
}

QRectF KTFixedWaveformView::rangeStartHandleRect() const {
    return QRectF(rangeStartPixel() - kStartHandleOffset, 0.0, kHandleWidth,
                  waveformAreaRect().height());
}

QRectF KTFixedWaveformView::rangeEndHandleRect() const {
    return QRectF(rangeEndPixel(), 0.0, kHandleWidth, waveformAreaRect().height());
}
