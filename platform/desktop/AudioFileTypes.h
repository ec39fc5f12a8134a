#pragma once

// Which files Study Loop opens: audio files, and video files for their sound (musicians
// often learn from a filmed performance, and FFmpeg reads the sound of either). One list
// feeds the open dialog's filter and the drop target's answer, which goes by the file's
// name alone: it is given while a drag hovers, on the GUI thread, and reading a file on a
// share that stopped answering would freeze the window. Whether the file really holds
// sound is found out when it is opened, off the GUI thread.
//
// Thread contract: any thread (QMimeDatabase may be used from several at once).

#include <QString>
#include <QStringList>

namespace platform::desktop {

// For QFileDialog::setNameFilters: "Audio and video files (*.wav *.mp3 ...)" first, then
// "All files (*)". Where the system's dialog matches names case-sensitively (Linux: the
// GTK dialog and the desktop portal), every extension is listed in upper case too.
QStringList openDialogNameFilters();

// True when the name of the file at `path` is that of an audio or video file: its extension
// is one the open dialog offers, or one the type database files under an audio/ or video/
// type or a container such as Ogg, Matroska or ASF. Never touches the file.
bool isAudioOrVideoFileName(const QString& path);

} // namespace platform::desktop
