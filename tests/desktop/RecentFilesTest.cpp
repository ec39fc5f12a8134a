// The recent-files list against a bookmark file of its own in a scratch folder, read back
// both through RecentFiles and through GLib, as the other applications of the desktop read
// and write it.

#include "platform/desktop/RecentFiles.h"

#include "tests/support/Fixtures.h"
#include "tests/support/QtSupport.h"

#include <QDir>
#include <QFile>
#include <glib.h>
#include <gtest/gtest.h>
#include <string>

using platform::desktop::RecentFiles;

namespace {

std::string uriOf(const QString& path) {
    gchar* uri = g_filename_to_uri(QFile::encodeName(path).constData(), nullptr, nullptr);
    const std::string result = uri ? uri : "";
    g_free(uri);
    return result;
}

class RecentFilesTest : public ::testing::Test {
protected:
    test_support::ScratchFolder folder_;
    // The folder the list lives in does not exist yet, as on a new account.
    const QString list = QString::fromStdString(folder_ / "share/recently-used.xbel");

    QByteArray contents() const {
        return QByteArray::fromStdString(test_support::readFile(list.toStdString()));
    }
    void setContents(const QByteArray& bytes) const {
        QDir().mkpath(QFileInfo(list).path());
        test_support::writeFile(list.toStdString(), bytes.toStdString());
    }
    QStringList filesBesideTheList() const {
        return QDir(QFileInfo(list).path())
            .entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
    }
    QString makeFile(const QString& name) {
        test_support::writeFile(folder_ / name.toStdString(), "RIFF\0\0\0\0WAVEfmt ");
        return QString::fromStdString(folder_ / name.toStdString());
    }

    // Through GLib, as another application of the desktop: registers `application` for
    // `uri` `times` times, or reads "name count" for each application that registered it
    // (sorted), and our command line.
    void registerAs(const std::string& uri, const char* application, int times = 1) const {
        GBookmarkFile* bookmarks = g_bookmark_file_new();
        g_bookmark_file_load_from_file(bookmarks, QFile::encodeName(list), nullptr);
        for (int i = 0; i < times; ++i)
            g_bookmark_file_add_application(bookmarks, uri.c_str(), application, "other %u");
        QDir().mkpath(QFileInfo(list).path());
        g_bookmark_file_to_file(bookmarks, QFile::encodeName(list), nullptr);
        g_bookmark_file_free(bookmarks);
    }
    QStringList applications(const std::string& uri, QString* ourCommand = nullptr) const {
        GBookmarkFile* bookmarks = g_bookmark_file_new();
        g_bookmark_file_load_from_file(bookmarks, QFile::encodeName(list), nullptr);
        gsize count = 0;
        gchar** names = g_bookmark_file_get_applications(bookmarks, uri.c_str(), &count, nullptr);
        QStringList result;
        for (gsize i = 0; i < count; ++i) {
            guint registrations = 0;
            gchar* command = nullptr;
            g_bookmark_file_get_application_info(bookmarks, uri.c_str(), names[i], &command,
                                                 &registrations, nullptr, nullptr);
            result.append(QString::fromUtf8(names[i]) + " " + QString::number(registrations));
            if (ourCommand && result.back().startsWith("Study Loop "))
                *ourCommand = QString::fromUtf8(command);
            g_free(command);
        }
        g_strfreev(names);
        g_bookmark_file_free(bookmarks);
        result.sort();
        return result;
    }
};

TEST_F(RecentFilesTest, NewestFirstAddingAgainMovesToTheFrontAndOnlyFilesThatExistCount) {
    RecentFiles recent(list);
    QStringList added;
    for (const char* name : {"1.wav", "2.wav", "3.wav", "4.wav", "5.wav"}) {
        added.prepend(makeFile(name));
        recent.add(added.front());
    }
    recent.add(added[4]);
    added.move(4, 0);
    EXPECT_EQ(recent.list(), added);
    EXPECT_EQ(applications(uriOf(added[0])), QStringList{"Study Loop 2"}) << "one entry";
    EXPECT_EQ(recent.list(2), (QStringList{added[0], added[1]}));

    ASSERT_TRUE(QFile::remove(added[0]));
    // A folder where the file was is nothing to open either.
    ASSERT_TRUE(QFile::remove(added[2]));
    ASSERT_TRUE(QDir().mkdir(added[2]));
    EXPECT_EQ(recent.list(2), (QStringList{added[1], added[3]}));
    EXPECT_EQ(recent.list(), (QStringList{added[1], added[3], added[4]}));
}

TEST_F(RecentFilesTest, OtherApplicationsReadOurEntriesAndKeepTheirOwn) {
    const std::string notes = "file:///home/someone/notes.txt";
    const QString shared = makeFile("shared.wav"), ours = makeFile("ours.wav");
    registerAs(notes, "gedit", 3);
    registerAs(uriOf(shared), "Other Player");

    RecentFiles recent(list);
    recent.add(shared);
    recent.add(ours);
    QString command;
    EXPECT_EQ(applications(uriOf(ours), &command), QStringList{"Study Loop 1"});
    // GLib hands out the command with the entry's URI in place of %u.
    EXPECT_EQ(command, "studyloop " + QString::fromStdString(uriOf(ours)));
    EXPECT_EQ(applications(notes), QStringList{"gedit 3"});
    EXPECT_EQ(applications(uriOf(shared)), (QStringList{"Other Player 1", "Study Loop 1"}));
    EXPECT_EQ(recent.list(), (QStringList{ours, shared})) << "only ours";
    // It tells what the user worked on.
    EXPECT_FALSE(QFileInfo(list).permissions() & (QFileDevice::ReadGroup | QFileDevice::ReadOther));

    recent.clear();
    EXPECT_TRUE(recent.list().isEmpty());
    EXPECT_EQ(applications(notes), QStringList{"gedit 3"});
    EXPECT_EQ(applications(uriOf(shared)), QStringList{"Other Player 1"});
    EXPECT_FALSE(contents().contains("ours.wav"));
    const QByteArray others = contents();
    RecentFiles(list).clear();
    EXPECT_EQ(contents(), others) << "nothing of ours to clear: nothing written";
}

// No folder is made without reason; an empty list file is what some tools leave behind and
// holds nothing to lose; anything else that is not a bookmark file reads as empty and is
// never written.
TEST_F(RecentFilesTest, WritesOnlyItsOwnFileAndNeverOneItCannotRead) {
    RecentFiles(list).clear();
    EXPECT_FALSE(QFileInfo::exists(QFileInfo(list).path()));
    setContents("");
    RecentFiles(list).add(makeFile("a.wav"));
    EXPECT_EQ(RecentFiles(list).list().size(), 1);
    EXPECT_EQ(filesBesideTheList(), QStringList{"recently-used.xbel"});

    for (const QByteArray& damaged : {QByteArray("these are not bookmarks\n"), contents().left(200),
                                      QByteArray("<?xml version=\"1.0\"?><html><body/></html>"),
                                      QByteArray("\x89PNG\r\n\x1a\n\0\0\0\rIHDR\xff\xfe", 18)}) {
        SCOPED_TRACE(damaged.left(20).toStdString());
        setContents(damaged);
        RecentFiles recent(list);
        EXPECT_TRUE(recent.list().isEmpty());
        recent.add(makeFile("b.wav"));
        recent.clear();
        EXPECT_EQ(contents(), damaged);
        EXPECT_EQ(filesBesideTheList(), QStringList{"recently-used.xbel"});
    }
}

// Whatever the name, the list gives the path back and GLib finds the entry under the
// file's own URI.
TEST_F(RecentFilesTest, AnyNameRoundTrips) {
    RecentFiles recent(list);
    for (const char* name :
         {"My Song - take 2.wav", "Fünf Stücke für Klavier – Étude.flac", "夜に駆ける.mp3",
          "100% #1 & more? [live]; a=b.ogg", "Don't \"stop\".m4a"}) {
        const QString path = makeFile(QString::fromUtf8(name));
        recent.add(path);
        EXPECT_EQ(recent.list().front(), path);
        EXPECT_EQ(applications(uriOf(path)), QStringList{"Study Loop 1"}) << name;
    }
}

} // namespace
