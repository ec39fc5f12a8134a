// Where a press lands and what the wheel does: event positions are the view's own. The
// press, its drags and the drop target are WaveformViewBase's.

#include "waveform_view/KTWaveformView.h"

#include <QScrollArea>
#include <QWheelEvent>

QPointF KTWaveformView::zoomedPoint(QPointF viewportPoint) const {
    return scrollView_ ? mapFrom(scrollView_->viewport(), viewportPoint) : viewportPoint;
}

// Every vertical wheel or trackpad event zooms a full step about the pointer, whatever its
// size or phase; anything with a sideways component goes on to the scroll area, which
// scrolls with it.
void KTWaveformView::wheelEvent(QWheelEvent* event) {
    event->accept();
    if (waveform_)
        zoomAStepWithWheel(event);
}
