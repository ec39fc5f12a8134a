// The drop target: one audio or video file dragged onto the view goes to the delegate as a
// path; the view never opens files itself. While an accepted drag hovers, the drop zone's
// arrow moves (it is drawn only when no file is loaded).

#include "waveform_view/FileDrop.h"
#include "waveform_view/KTFixedWaveformView.h"
#include "waveform_view/KTFixedWaveformViewDelegate.h"

#include <QDragEnterEvent>
#include <QDragLeaveEvent>
#include <QDropEvent>
#include <QTimer>

void KTFixedWaveformView::dragEnterEvent(QDragEnterEvent* event) {
    if (waveform_view::answerDragEnter(event))
        startAnimation();
}

void KTFixedWaveformView::dragLeaveEvent(QDragLeaveEvent* event) {
    stopAnimation();
    event->accept();
}

void KTFixedWaveformView::dropEvent(QDropEvent* event) {
    const QString path = waveform_view::answerDrop(event);
    stopAnimation();
    if (path.isEmpty())
        return;
    // Handed over as soon as the drop has been answered: opening a file runs an event loop
    // of its own while the peaks are reduced, and the drag's source should not wait on it
    // for its answer.
    QTimer::singleShot(0, this, [this, path] {
        if (delegate_)
            delegate_->waveformViewDidReceiveDraggedFileWithPath(this, path);
    });
}

// Restarts the one animation timer, so a second entry without an exit in between does not
// leave a timer running that nothing stops.
void KTFixedWaveformView::startAnimation() {
    dropzoneTimer_.start();
}

void KTFixedWaveformView::animateDropzone() {
    setDropzoneDelta(static_cast<float>(double(dropzoneDelta_) + kDropzoneStep));
}

void KTFixedWaveformView::stopAnimation() {
    dropzoneTimer_.stop();
    setDropzoneDelta(0.0f);
}
