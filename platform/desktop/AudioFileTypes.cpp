#include "platform/desktop/AudioFileTypes.h"

#include <QMimeDatabase>
#include <QMimeType>
#include <algorithm>

namespace platform::desktop {

namespace {

constexpr const char* kExtensions[] = {
    "wav", "wave", "aif",  "aiff", "aifc", "flac", "alac", "m4a", "m4b", "mp4", "m4v", "mov", "mkv",
    "mka", "webm", "ogg",  "oga",  "ogv",  "opus", "mp3",  "mp2", "aac", "ac3", "wma", "wmv", "asf",
    "avi", "mpg",  "mpeg", "3gp",  "flv",  "caf",  "au",   "snd", "w64", "ape", "wv",  "mpc", "tta",
};

// Containers that hold sound but whose type is not filed under audio/ or video/: an Ogg
// stream of unknown codecs, Matroska, ASF (what content sniffing calls WMA and WMV),
// RealMedia, MXF.
constexpr const char* kOtherMediaTypes[] = {
    "application/ogg",        "application/x-ogg", "application/x-matroska",
    "application/vnd.ms-asf", "application/mxf",   "application/vnd.rn-realmedia",
};

bool isMediaTypeName(const QString& name) {
    if (name.startsWith(QLatin1String("audio/")) || name.startsWith(QLatin1String("video/")))
        return true;
    for (const char* other : kOtherMediaTypes)
        if (name == QLatin1String(other))
            return true;
    return false;
}

bool isMediaType(const QMimeType& type) {
    if (!type.isValid())
        return false;
    if (isMediaTypeName(type.name()))
        return true;
    const QStringList ancestors = type.allAncestors();
    for (const QString& ancestor : ancestors)
        if (isMediaTypeName(ancestor))
            return true;
    return false;
}

bool hasMediaExtension(const QString& fileName) {
    const QString suffix = fileName.section(QLatin1Char('.'), -1).toLower();
    for (const char* extension : kExtensions)
        if (suffix == QLatin1String(extension))
            return true;
    return false;
}

} // namespace

QStringList openDialogNameFilters() {
    QStringList patterns;
    for (const char* extension : kExtensions)
        patterns.append(QStringLiteral("*.") + QLatin1String(extension));
#if !defined(Q_OS_WIN) && !defined(Q_OS_MACOS)
    // Qt hands the patterns as they are to the GTK dialog and the portal, which compare
    // case-sensitively; files from cameras and Windows machines are often named "TAKE.WAV".
    for (const char* extension : kExtensions)
        patterns.append(QStringLiteral("*.") + QString::fromLatin1(extension).toUpper());
#endif
    return {QStringLiteral("Audio and video files (") + patterns.join(QLatin1Char(' ')) +
                QLatin1Char(')'),
            QStringLiteral("All files (*)")};
}

bool isAudioOrVideoFileName(const QString& path) {
    // Taken apart as text: nothing here may ask the file system.
    const QString fileName = path.section(QLatin1Char('/'), -1);
    if (!fileName.contains(QLatin1Char('.')))
        return false;
    const QList<QMimeType> byName = QMimeDatabase().mimeTypesForFileName(fileName);
    return std::any_of(byName.begin(), byName.end(), isMediaType) || hasMediaExtension(fileName);
}

} // namespace platform::desktop
