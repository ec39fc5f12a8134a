// The recent-files list against a bookmark file of its own in a temporary folder, read back
// both through RecentFiles and through GLib, as the other applications of the desktop read
// it.

#include "platform/desktop/RecentFiles.h"

#include "tests/desktop/Printing.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QUrl>
#include <glib.h>
#include <gtest/gtest.h>
#include <memory>
#include <ostream>
#include <string>

using platform::desktop::RecentFiles;

namespace {

// What a GTK text editor leaves in the file: one entry of its own, written before ours.
const char* const kOtherApplicationsFile = R"(<?xml version="1.0" encoding="UTF-8"?>
<xbel version="1.0"
      xmlns:bookmark="http://www.freedesktop.org/standards/desktop-bookmarks"
      xmlns:mime="http://www.freedesktop.org/standards/shared-mime-info"
>
  <bookmark href="file:///home/someone/notes.txt" added="2024-01-02T10:00:00Z" modified="2024-01-02T10:00:00Z" visited="2024-01-02T10:00:00Z">
    <info>
      <metadata owner="http://freedesktop.org">
        <mime:mime-type type="text/plain"/>
        <bookmark:applications>
          <bookmark:application name="gedit" exec="&apos;gedit %u&apos;" modified="2024-01-02T10:00:00Z" count="3"/>
        </bookmark:applications>
      </metadata>
    </info>
  </bookmark>
</xbel>
)";

QByteArray readAll(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void writeAll(const QString& path, const QByteArray& bytes) {
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(bytes);
}

std::string uriOf(const QString& path) {
    std::unique_ptr<gchar, decltype(&g_free)> uri(
        g_filename_to_uri(QFile::encodeName(path).constData(), nullptr, nullptr), g_free);
    return uri ? uri.get() : "";
}

// The entry at `uri` as GLib reads it, as the desktop's other applications do: "name count"
// for each application that registered it, sorted.
QStringList applications(const QString& file, const std::string& uri) {
    GBookmarkFile* bookmarks = g_bookmark_file_new();
    g_bookmark_file_load_from_file(bookmarks, QFile::encodeName(file).constData(), nullptr);
    gsize count = 0;
    gchar** names = g_bookmark_file_get_applications(bookmarks, uri.c_str(), &count, nullptr);
    QStringList result;
    for (gsize i = 0; i < count; ++i) {
        guint registrations = 0;
        g_bookmark_file_get_application_info(bookmarks, uri.c_str(), names[i], nullptr,
                                             &registrations, nullptr, nullptr);
        result.append(QString::fromUtf8(names[i]) + " " + QString::number(registrations));
    }
    g_strfreev(names);
    g_bookmark_file_free(bookmarks);
    result.sort();
    return result;
}

class RecentFilesTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(folder_.isValid()); }

    // The folder the list lives in does not exist yet, as on a new account.
    QString bookmarkFile() const { return folder_.filePath("share/recently-used.xbel"); }

    QString makeFile(const QString& name) {
        const QString path = folder_.filePath("music/" + name);
        writeAll(path, "RIFF\0\0\0\0WAVEfmt ");
        return path;
    }

    QTemporaryDir folder_;
};

TEST_F(RecentFilesTest, NewestFirstAndAddingAgainMovesToTheFront) {
    RecentFiles recent(bookmarkFile());
    const QString a = makeFile("a.wav"), b = makeFile("b.wav"), c = makeFile("c.wav");
    recent.add(a);
    recent.add(b);
    recent.add(c);
    EXPECT_EQ(recent.list(), (QStringList{c, b, a}));

    recent.add(a);
    EXPECT_EQ(recent.list(), (QStringList{a, c, b}));
    // Registered twice, still one entry.
    EXPECT_EQ(applications(bookmarkFile(), uriOf(a)), QStringList{"Study Loop 2"});
}

TEST_F(RecentFilesTest, LimitCountsOnlyFilesThatStillExist) {
    RecentFiles recent(bookmarkFile());
    QStringList added;
    for (const char* name : {"1.wav", "2.wav", "3.wav", "4.wav", "5.wav"}) {
        added.prepend(makeFile(name));
        recent.add(added.front());
    }
    EXPECT_EQ(recent.list(2), (QStringList{added[0], added[1]}));
    EXPECT_TRUE(recent.list(0).isEmpty());

    ASSERT_TRUE(QFile::remove(added[0]));
    // A folder where the file was is nothing to open either.
    ASSERT_TRUE(QFile::remove(added[2]));
    ASSERT_TRUE(QDir().mkdir(added[2]));
    EXPECT_EQ(recent.list(2), (QStringList{added[1], added[3]}));
    EXPECT_EQ(recent.list(), (QStringList{added[1], added[3], added[4]}));
}

TEST_F(RecentFilesTest, RecordsTypeAndCommandForOtherApplications) {
    const QString take = makeFile("take.wav");
    RecentFiles(bookmarkFile()).add(take);

    GBookmarkFile* bookmarks = g_bookmark_file_new();
    ASSERT_TRUE(g_bookmark_file_load_from_file(
        bookmarks, QFile::encodeName(bookmarkFile()).constData(), nullptr));
    const std::string uri = uriOf(take);
    gchar* type = g_bookmark_file_get_mime_type(bookmarks, uri.c_str(), nullptr);
    EXPECT_TRUE(QString(type).startsWith("audio/")) << type;
    // GLib hands out the command with the entry's URI in place of %u.
    gchar* exec = nullptr;
    g_bookmark_file_get_application_info(bookmarks, uri.c_str(), "Study Loop", &exec, nullptr,
                                         nullptr, nullptr);
    EXPECT_EQ(QString(exec), "studyloop " + QString::fromStdString(uri));
    g_free(type);
    g_free(exec);
    g_bookmark_file_free(bookmarks);
    // It tells what the user worked on.
    EXPECT_FALSE(QFileInfo(bookmarkFile()).permissions() &
                 (QFileDevice::ReadGroup | QFileDevice::ReadOther));
}

TEST_F(RecentFilesTest, OtherApplicationsEntriesSurviveAddAndClear) {
    writeAll(bookmarkFile(), kOtherApplicationsFile);
    const QString shared = makeFile("shared.wav");
    const QString ours = makeFile("ours.wav");
    // Another player registered `shared` before us.
    {
        GBookmarkFile* other = g_bookmark_file_new();
        g_bookmark_file_load_from_file(other, QFile::encodeName(bookmarkFile()).constData(),
                                       nullptr);
        g_bookmark_file_add_application(other, uriOf(shared).c_str(), "Other Player",
                                        "otherplayer %f");
        g_bookmark_file_to_file(other, QFile::encodeName(bookmarkFile()).constData(), nullptr);
        g_bookmark_file_free(other);
    }

    const std::string notes = "file:///home/someone/notes.txt";
    RecentFiles recent(bookmarkFile());
    recent.add(shared);
    recent.add(ours);
    EXPECT_EQ(applications(bookmarkFile(), notes), QStringList{"gedit 3"});
    EXPECT_EQ(applications(bookmarkFile(), uriOf(shared)),
              (QStringList{"Other Player 1", "Study Loop 1"}));
    // Only ours, though the other applications' files exist too.
    EXPECT_EQ(recent.list(), (QStringList{ours, shared}));

    recent.clear();
    EXPECT_TRUE(recent.list().isEmpty());
    EXPECT_EQ(applications(bookmarkFile(), notes), QStringList{"gedit 3"});
    EXPECT_EQ(applications(bookmarkFile(), uriOf(shared)), QStringList{"Other Player 1"});
    EXPECT_TRUE(applications(bookmarkFile(), uriOf(ours)).isEmpty());
    EXPECT_FALSE(readAll(bookmarkFile()).contains("ours.wav"));
}

TEST_F(RecentFilesTest, WritesNothingButItsOwnFileAndOnlyWithReason) {
    writeAll(bookmarkFile(), kOtherApplicationsFile);
    RecentFiles(bookmarkFile()).clear();
    EXPECT_EQ(readAll(bookmarkFile()), QByteArray(kOtherApplicationsFile));

    const QString elsewhere = folder_.filePath("elsewhere/recently-used.xbel");
    RecentFiles recent(elsewhere);
    recent.clear();
    EXPECT_TRUE(recent.list().isEmpty());
    EXPECT_FALSE(QFileInfo::exists(QFileInfo(elsewhere).path()));
    recent.add(makeFile("a.wav"));
    EXPECT_EQ(QDir(QFileInfo(elsewhere).path())
                  .entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
              QStringList{"recently-used.xbel"});

    // An empty file holds nothing to lose, and is what some tools leave behind.
    writeAll(elsewhere, "");
    recent.add(makeFile("b.wav"));
    EXPECT_EQ(recent.list().size(), 1);
}

struct FileName {
    const char* label;
    const char* name;
};
void PrintTo(const FileName& name, std::ostream* out) {
    *out << name.label;
}

class RecentFileNames : public RecentFilesTest, public ::testing::WithParamInterface<FileName> {};

TEST_P(RecentFileNames, RoundTripAsEscapedUris) {
    const QString path = makeFile(QString::fromUtf8(GetParam().name));
    RecentFiles recent(bookmarkFile());
    recent.add(path);
    EXPECT_EQ(recent.list(), QStringList{path});

    // The href is plain ASCII without spaces, and any URL parser gets the path back.
    const QByteArray xml = readAll(bookmarkFile());
    const QRegularExpressionMatch href =
        QRegularExpression(R"re(href="([^"]*)")re").match(QString::fromUtf8(xml));
    ASSERT_TRUE(href.hasMatch());
    const QString uri = href.captured(1).replace("&amp;", "&").replace("&apos;", "'");
    for (const QChar c : uri)
        EXPECT_TRUE(c.unicode() > 0x20 && c.unicode() < 0x7f) << uri.toStdString();
    EXPECT_EQ(QUrl(uri, QUrl::StrictMode).toLocalFile(), path);
}

INSTANTIATE_TEST_SUITE_P(
    Names, RecentFileNames,
    ::testing::Values(FileName{"Spaces", "My Song - take 2.wav"},
                      FileName{"Accents", "Fünf Stücke für Klavier – Étude.flac"},
                      FileName{"Japanese", "夜に駆ける.mp3"},
                      FileName{"UriCharacters", "100% #1 & more? [live]; a=b.ogg"},
                      FileName{"Quotes", "Don't \"stop\".m4a"}),
    [](const ::testing::TestParamInfo<FileName>& info) { return std::string(info.param.label); });

struct Damage {
    const char* label;
    QByteArray contents;
};
void PrintTo(const Damage& damage, std::ostream* out) {
    *out << damage.label;
}

class DamagedBookmarkFile : public RecentFilesTest, public ::testing::WithParamInterface<Damage> {};

TEST_P(DamagedBookmarkFile, ReadsAsEmptyAndIsNeverWritten) {
    writeAll(bookmarkFile(), GetParam().contents);
    RecentFiles recent(bookmarkFile());
    EXPECT_TRUE(recent.list().isEmpty());
    recent.add(makeFile("a.wav"));
    recent.clear();
    EXPECT_TRUE(recent.list().isEmpty());
    EXPECT_EQ(readAll(bookmarkFile()), GetParam().contents);
    EXPECT_EQ(QDir(QFileInfo(bookmarkFile()).path())
                  .entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
              QStringList{"recently-used.xbel"});
}

INSTANTIATE_TEST_SUITE_P(
    Contents, DamagedBookmarkFile,
    ::testing::Values(Damage{"Text", "these are not bookmarks\n"},
                      Damage{"CutOffHalfway", QByteArray(kOtherApplicationsFile).left(400)},
                      Damage{"OtherXml", "<?xml version=\"1.0\"?><html><body/></html>"},
                      Damage{"Binary", QByteArray("\x89PNG\r\n\x1a\n\0\0\0\rIHDR\xff\xfe", 18)}),
    [](const ::testing::TestParamInfo<Damage>& info) { return std::string(info.param.label); });

} // namespace
