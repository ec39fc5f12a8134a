// The drop target: one audio or video file dragged onto the view goes to the delegate as a
// path; the view never opens files itself. While an accepted drag hovers, the drop zone's
// arrow moves (it is drawn only when no file is loaded).

#include "waveform_view/FileDrop.h"
#include "waveform_view/KTWaveformView.h"
#include "waveform_view/KTWaveformViewDelegate.h"

#include <QDragEnterEvent>
#include <QDragLeaveEvent>
#include <QDropEvent>
#include <QTimer>

void KTWaveformView::dragEnterEvent(QDragEnterEvent* event) {
    if (waveform_view::answerDragEnter(event))
        startAnimation();
}

void KTWaveformView::dragLeaveEvent(QDragLeaveEvent* event) {
    stopAnimation();
    event->accept();
}

void KTWaveformView::dropEvent(QDropEvent* event) {
    const QString path = waveform_view::answerDrop(event);
    stopAnimation();
    if (path.isEmpty())
        return;
    // Handed over once the drop has been answered, so the drag's source does not wait for
    // the file to be opened.
    QTimer::singleShot(0, this, [this, path] {
        if (delegate_)
            delegate_->waveformViewDidReceiveDraggedFileWithPath(this, path);
    });
}

// Restarts the one animation timer, so a second entry without an exit in between does not
// leave a timer running that nothing stops.
void KTWaveformView::startAnimation() {
    dropzoneTimer_.start();
}

void KTWaveformView::animateDropzone() {
    setDropzoneDelta(static_cast<float>(double(dropzoneDelta_) + kDropzoneStep));
}

void KTWaveformView::stopAnimation() {
    dropzoneTimer_.stop();
    setDropzoneDelta(0.0f);
}
