#include "waveform_view/FileDrop.h"

#include "platform/desktop/AudioFileTypes.h"
#include "platform/log/Log.h"

#include <QDragEnterEvent>
#include <QDropEvent>
#include <QMimeData>
#include <QStringList>
#include <QUrl>

namespace waveform_view {

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

bool answerDragEnter(QDragEnterEvent* event) {
    platform::log("entered");
    const QStringList paths = draggedFilePaths(event->mimeData());
    if (paths.isEmpty()) {
        acceptAsCopy(event);
        return true;
    }
    platform::log("paths: %s", qPrintable(paths.join(QStringLiteral(", "))));
    if (paths.size() >= 2) {
        platform::log("not accepting multiple");
        event->ignore();
        return false;
    }
    platform::log("path: %s", qPrintable(paths.first()));
    if (!platform::desktop::isAudioOrVideoFileName(paths.first())) {
        platform::log("does not conform");
        event->ignore();
        return false;
    }
    acceptAsCopy(event);
    return true;
}

QString answerDrop(QDropEvent* event) {
    platform::log("prep");
    platform::log("perform");
    const QStringList paths = draggedFilePaths(event->mimeData());
    acceptAsCopy(event);
    return paths.isEmpty() ? QString() : paths.first();
}

} // namespace waveform_view
