#include "waveform_view/HandCursor.h"

#include <QCursor>
#include <QGuiApplication>

namespace waveform_view {

void HandCursor::show(bool show) {
    if (show == shown_)
        return;
    if (show)
        QGuiApplication::setOverrideCursor(Qt::OpenHandCursor);
    else
        QGuiApplication::restoreOverrideCursor();
    shown_ = show;
}

} // namespace waveform_view
