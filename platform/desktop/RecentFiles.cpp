#include "platform/desktop/RecentFiles.h"

#include "platform/log/Log.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMimeDatabase>
#include <QSet>
#include <algorithm>
#include <glib.h>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace platform::desktop {

namespace {

// The name other applications see in the file, and what the desktop runs to open an entry
// with us again (%u is the entry's URI).
constexpr const char* kApplicationName = "Study Loop";
constexpr const char* kApplicationExec = "studyloop %u";

struct BookmarkFileFree {
    void operator()(GBookmarkFile* bookmarks) const { g_bookmark_file_free(bookmarks); }
};
struct StringFree {
    void operator()(gchar* text) const { g_free(text); }
};
struct StringArrayFree {
    void operator()(gchar** strings) const { g_strfreev(strings); }
};
struct DateTimeUnref {
    void operator()(GDateTime* time) const { g_date_time_unref(time); }
};
using Bookmarks = std::unique_ptr<GBookmarkFile, BookmarkFileFree>;
using String = std::unique_ptr<gchar, StringFree>;
using StringArray = std::unique_ptr<gchar*, StringArrayFree>;
using DateTime = std::unique_ptr<GDateTime, DateTimeUnref>;

// Takes ownership of `error` and returns its message.
QString takeMessage(GError* error) {
    QString message = QString::fromUtf8(error ? error->message : "unknown error");
    g_clear_error(&error);
    return message;
}

// The file as it is on disk now. A missing or blank file is an empty list; anything else
// that cannot be read or parsed gives null, with the reason in `problem`.
Bookmarks load(const QString& file, QString* problem) {
    Bookmarks bookmarks(g_bookmark_file_new());
    const QByteArray name = QFile::encodeName(file);
    gchar* rawContents = nullptr;
    gsize length = 0;
    GError* error = nullptr;
    if (!g_file_get_contents(name.constData(), &rawContents, &length, &error)) {
        if (g_error_matches(error, G_FILE_ERROR, G_FILE_ERROR_NOENT)) {
            g_clear_error(&error);
            return bookmarks;
        }
        *problem = takeMessage(error);
        return nullptr;
    }
    const String contents(rawContents);
    // GLib calls an empty document an error, but there is nothing in it to lose.
    if (QByteArrayView(rawContents, qsizetype(length)).trimmed().isEmpty())
        return bookmarks;
    if (!g_bookmark_file_load_from_data(bookmarks.get(), rawContents, length, &error)) {
        *problem = takeMessage(error);
        return nullptr;
    }
    return bookmarks;
}

bool save(GBookmarkFile* bookmarks, const QString& file) {
    const QByteArray name = QFile::encodeName(file);
    const QByteArray folder = QFile::encodeName(QFileInfo(file).absolutePath());
    GError* error = nullptr;
    gsize length = 0;
    const String data(g_bookmark_file_to_data(bookmarks, &length, &error));
    if (!data) {
        platform::log("Recent files: cannot write %s: %s", name.constData(),
                      qPrintable(takeMessage(error)));
        return false;
    }
    g_mkdir_with_parents(folder.constData(), 0700);
    // A temporary file in the same folder renamed over the old one: a reader never sees half
    // a list, and a crash leaves the previous one. Readable by the user alone, since it says
    // what they worked on.
    if (!g_file_set_contents_full(name.constData(), data.get(), gssize(length),
                                  G_FILE_SET_CONTENTS_CONSISTENT, 0600, &error)) {
        platform::log("Recent files: cannot write %s: %s", name.constData(),
                      qPrintable(takeMessage(error)));
        return false;
    }
    return true;
}

void logUnreadable(const QString& file, const QString& problem) {
    platform::log("Recent files: %s is left as it is, as it cannot be read: %s", qPrintable(file),
                  qPrintable(problem));
}

// GLib's own escaping, so that the URI is byte for byte the one a GTK application writes
// for the same file and both land on one entry.
std::string fileUri(const QString& absolutePath) {
    const String uri(
        g_filename_to_uri(QFile::encodeName(absolutePath).constData(), nullptr, nullptr));
    return uri ? std::string(uri.get()) : std::string();
}

QString pathFromUri(const gchar* uri) {
    const String filename(g_filename_from_uri(uri, nullptr, nullptr));
    return filename ? QFile::decodeName(filename.get()) : QString();
}

qint64 microsecondsSinceEpoch(GDateTime* time) {
    return qint64(g_date_time_to_unix(time)) * 1000000 + g_date_time_get_microsecond(time);
}

} // namespace

RecentFiles::RecentFiles(QString bookmarkFile) : bookmarkFile_(std::move(bookmarkFile)) {}

QString RecentFiles::defaultLocation() {
    QString dataHome = qEnvironmentVariable("XDG_DATA_HOME");
    // The base directory rules say a relative value is to be ignored.
    if (dataHome.isEmpty() || QDir::isRelativePath(dataHome))
        dataHome = QDir::homePath() + QStringLiteral("/.local/share");
    return dataHome + QStringLiteral("/recently-used.xbel");
}

void RecentFiles::add(const QString& path) {
    const QString absolute = QDir::cleanPath(QFileInfo(path).absoluteFilePath());
    const std::string uri = fileUri(absolute);
    if (uri.empty())
        return;
    QString problem;
    const Bookmarks bookmarks = load(bookmarkFile_, &problem);
    if (!bookmarks) {
        logUnreadable(bookmarkFile_, problem);
        return;
    }
    const QByteArray mimeType = QMimeDatabase().mimeTypeForFile(absolute).name().toUtf8();
    const DateTime now(g_date_time_new_now_utc());
    g_bookmark_file_set_mime_type(bookmarks.get(), uri.c_str(), mimeType.constData());
    // A count of -1 adds one to ours, or registers us with a count of 1; the stamp is what
    // list() sorts by.
    g_bookmark_file_set_application_info(bookmarks.get(), uri.c_str(), kApplicationName,
                                         kApplicationExec, -1, now.get(), nullptr);
    g_bookmark_file_set_visited_date_time(bookmarks.get(), uri.c_str(), now.get());
    g_bookmark_file_set_modified_date_time(bookmarks.get(), uri.c_str(), now.get());
    save(bookmarks.get(), bookmarkFile_);
}

QStringList RecentFiles::list(int limit, Existence existence) const {
    if (limit <= 0)
        return {};
    QString problem;
    const Bookmarks bookmarks = load(bookmarkFile_, &problem);
    if (!bookmarks)
        return {};

    struct Entry {
        QString path;
        qint64 registeredMicroseconds;
    };
    std::vector<Entry> entries;
    gsize count = 0;
    const StringArray uris(g_bookmark_file_get_uris(bookmarks.get(), &count));
    for (gsize i = 0; i < count; ++i) {
        const gchar* uri = uris.get()[i];
        GDateTime* stamp = nullptr; // owned by the bookmark file
        if (!g_bookmark_file_get_application_info(bookmarks.get(), uri, kApplicationName, nullptr,
                                                  nullptr, &stamp, nullptr) ||
            !stamp)
            continue;
        QString path = pathFromUri(uri);
        if (!path.isEmpty())
            entries.push_back({std::move(path), microsecondsSinceEpoch(stamp)});
    }
    std::stable_sort(entries.begin(), entries.end(), [](const Entry& a, const Entry& b) {
        return a.registeredMicroseconds > b.registeredMicroseconds;
    });

    // Another application may have written the same file with different escaping, which
    // GLib keeps as a second entry: the newer one stands for both.
    QStringList paths;
    QSet<QString> seen;
    for (const Entry& entry : entries) {
        if (paths.size() == limit)
            break;
        if (seen.contains(entry.path) ||
            (existence == Existence::Checked && !QFileInfo(entry.path).isFile()))
            continue;
        seen.insert(entry.path);
        paths.append(entry.path);
    }
    return paths;
}

void RecentFiles::clear() {
    QString problem;
    const Bookmarks bookmarks = load(bookmarkFile_, &problem);
    if (!bookmarks) {
        logUnreadable(bookmarkFile_, problem);
        return;
    }
    bool changed = false;
    gsize count = 0;
    const StringArray uris(g_bookmark_file_get_uris(bookmarks.get(), &count));
    for (gsize i = 0; i < count; ++i) {
        const gchar* uri = uris.get()[i];
        if (!g_bookmark_file_has_application(bookmarks.get(), uri, kApplicationName, nullptr))
            continue;
        g_bookmark_file_remove_application(bookmarks.get(), uri, kApplicationName, nullptr);
        changed = true;
        gsize applications = 0;
        const StringArray remaining(
            g_bookmark_file_get_applications(bookmarks.get(), uri, &applications, nullptr));
        if (applications == 0)
            g_bookmark_file_remove_item(bookmarks.get(), uri, nullptr);
    }
    // Untouched when there was nothing of ours: no reason to rewrite other people's list.
    if (changed)
        save(bookmarks.get(), bookmarkFile_);
}

} // namespace platform::desktop
