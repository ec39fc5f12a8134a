#pragma once

// Which files Study Loop opens: audio files, and video files for their sound (musicians
// often learn from a filmed performance, and FFmpeg reads the sound of either). One list
// feeds the open dialog's filter; the check on a given file, used for drops and the
// command line, trusts the file's content over its name.
//
// Thread contract: any thread (QMimeDatabase may be used from several at once).

#include <QString>
#include <QStringList>

namespace platform::desktop {

// For QFileDialog::setNameFilters: "Audio and video files (*.wav *.mp3 ...)" first, then
// "All files (*)". Where the system's dialog matches names case-sensitively (Linux: the
// GTK dialog and the desktop portal), every extension is listed in upper case too.
QStringList openDialogNameFilters();

// True for a readable regular file whose content is audio or video (an audio/ or video/
// type or a container such as Ogg, Matroska or ASF). A file whose content is known to be
// something else (text, an image) is rejected whatever its name says; one whose content
// no type recognises is accepted when its name is that of an audio or video file.
bool isAudioOrVideoFile(const QString& path);

} // namespace platform::desktop
