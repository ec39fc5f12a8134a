#pragma once

// The desktop's list of recently used files, shared by every application of the user: the
// XBEL file that file dialogs, docks and launchers read ("recently-used.xbel"). Study Loop
// registers each file it opens there under its own name, so the file shows up in the
// desktop's recent lists, and reads back its own registrations for the File menu.
//
// The file belongs to the desktop, not to us. Every write re-reads it just before, changes
// only Study Loop's registrations and replaces it atomically, so other applications'
// entries survive. A file that exists but cannot be read or parsed is left untouched (one
// line on standard error) and reads as empty: losing the user's history of every other
// application to repair it is not ours to decide.
//
// Thread contract: any one thread at a time. Nothing is cached between calls; each call reads the
// file again, so several RecentFiles objects (or processes) on the same file see each other's
// writes. Two writers racing may still lose one registration, as with any application
// sharing this file.
//
// Ownership: a RecentFiles holds only the file's path.

#include <QString>
#include <QStringList>

namespace platform::desktop {

class RecentFiles {
public:
    explicit RecentFiles(QString bookmarkFile = defaultLocation());

    // $XDG_DATA_HOME/recently-used.xbel, or ~/.local/share/recently-used.xbel when
    // XDG_DATA_HOME is unset or not absolute.
    static QString defaultLocation();

    // The file the object reads and writes.
    const QString& bookmarkFile() const { return bookmarkFile_; }

    // Registers `path` (made absolute) as opened by Study Loop now. A file that is already
    // listed keeps its other applications and moves to the front of list(). Creates the
    // bookmark file (and its folder) when missing or empty; does nothing when it cannot be
    // read or parsed.
    void add(const QString& path);

    // Whether list() asks the file system about each file. Asking waits for the file's
    // storage, which a share that stopped answering makes wait for ever.
    enum class Existence { Checked, Unchecked };

    // Study Loop's files, most recently registered first, at most `limit` of them; with
    // Existence::Checked only those that still exist as files.
    QStringList list(int limit = 10, Existence existence = Existence::Checked) const;

    // Withdraws Study Loop's registration from every entry. Entries that no other
    // application registered disappear; the others stay as they are.
    void clear();

private:
    QString bookmarkFile_;
};

} // namespace platform::desktop
