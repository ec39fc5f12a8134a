// The drop target: one audio or video file dragged onto the view goes to the delegate as a
// path; the view never opens files itself. While an accepted drag hovers, the drop zone's
// arrow moves (it is drawn only when no file is loaded).

#include "platform/desktop/AudioFileTypes.h"
#include "platform/log/Log.h"
#include "waveform_view/KTFixedWaveformView.h"
#include "waveform_view/KTFixedWaveformViewDelegate.h"

#include <QDragEnterEvent>
#include <QDragLeaveEvent>
#include <QDropEvent>
#include <QMimeData>
#include <QTimer>
#include <QUrl>

namespace {

// The local files a drag carries; other URLs (web links) are not file names.
QStringList draggedFilePaths(const QMimeData* mimeData) {
    QStringList paths;
    if (!mimeData || !mimeData->hasUrls())
        return paths;
    for (const QUrl& url : mimeData->urls())
        if (url.isLocalFile())
            paths.append(url.toLocalFile());
    return paths;
}

// A dropped file is opened, never moved: copy wherever the source offers it.
void acceptAsCopy(QDropEvent* event) {
    event->setDropAction(event->possibleActions() & Qt::CopyAction ? Qt::CopyAction
                                                                   : event->proposedAction());
    event->accept();
}

} // namespace

// The answer given here holds while the drag stays over the view (Qt pre-accepts the moves
// that follow with it), so the file is looked at once per entry.
void KTFixedWaveformView::dragEnterEvent(QDragEnterEvent* event) {
    platform::log("entered");
    const QStringList paths = draggedFilePaths(event->mimeData());
    if (paths.isEmpty()) {
        // A drag without file names is shown and accepted; its drop does nothing.
        startAnimation();
        acceptAsCopy(event);
        return;
    }
    platform::log("paths: %s", qPrintable(paths.join(QStringLiteral(", "))));
    if (paths.size() >= 2) {
        platform::log("not accepting multiple");
        event->ignore();
        return;
    }
    platform::log("path: %s", qPrintable(paths.first()));
    if (!platform::desktop::isAudioOrVideoFile(paths.first())) {
        platform::log("does not conform");
        event->ignore();
        return;
    }
    startAnimation();
    acceptAsCopy(event);
}

void KTFixedWaveformView::dragLeaveEvent(QDragLeaveEvent* event) {
    stopAnimation();
    event->accept();
}

void KTFixedWaveformView::dropEvent(QDropEvent* event) {
    platform::log("prep");
    platform::log("perform");
    const QStringList paths = draggedFilePaths(event->mimeData());
    acceptAsCopy(event);
    stopAnimation();
    if (paths.isEmpty())
        return;
    // Handed over as soon as the drop has been answered: opening a file runs an event loop
    // of its own while the peaks are reduced, and the drag's source should not wait on it
    // for its answer.
    const QString path = paths.first();
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
