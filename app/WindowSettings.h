#pragma once

// The window's own settings (what it shows, such as the beat grid and the note strip), in
// the user's configuration folder as studyloop.conf. Main thread only.

#include <QSettings>
#include <QString>

inline QSettings windowSettings() {
    return QSettings(QSettings::UserScope, QStringLiteral("studyloop"));
}
