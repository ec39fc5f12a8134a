// Zoom steps: the view's own width is the zoom, and each step keeps the frame under a pivot
// where it is on screen.

#include "platform/log/Log.h"
#include "waveform_view/DocumentScrolling.h"
#include "waveform_view/KTWaveformView.h"

#include <QScrollArea>
#include <algorithm>
#include <cmath>

void KTWaveformView::zoomInWithPivot(QPointF pivot) {
    if (!scrollView_)
        return;
    const double pivotX = zoomedPoint(pivot).x();
    const double perPixel = framesPerPixel();
    if (!(perPixel > kDeepestFramesPerPixel))
        return;
    setViewWidth(static_cast<int>(std::floor(width() * kZoomFactor)));
    waveform_view::scrollDocumentTo(
        *scrollView_, waveform_view::pivotScrollX(pivotX, perPixel, framesPerPixel(), pivot.x()));
}

void KTWaveformView::zoomOutWithPivot(QPointF pivot) {
    if (scrollView_) {
        const double pivotX = zoomedPoint(pivot).x();
        const double perPixel = framesPerPixel();
        const int viewWidth = width();
        const int scrollWidth = scrollView_->viewport()->width();
        if (viewWidth > scrollWidth) {
            // Back to the start first, so the narrower view never shows past its end.
            waveform_view::scrollDocumentTo(*scrollView_, 0.0);
            setViewWidth(
                std::max(static_cast<int>(std::floor(viewWidth / kZoomFactor)), scrollWidth));
            waveform_view::scrollDocumentTo(
                *scrollView_,
                waveform_view::pivotScrollX(pivotX, perPixel, framesPerPixel(), pivot.x()));
        }
    }
    // The zoom level after every step, also one at the widest zoom that changed nothing, as
    // a trace for diagnosis.
    platform::log("fpp: %f", framesPerPixel());
}
