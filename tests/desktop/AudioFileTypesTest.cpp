// Which files the open dialog offers and which names a drop accepts. The names are only
// names: no file is made, and none need exist.

#include "platform/desktop/AudioFileTypes.h"

#include "tests/support/Labelled.h"

#include <QRegularExpression>
#include <gtest/gtest.h>

using platform::desktop::isAudioOrVideoFileName;
using platform::desktop::openDialogNameFilters;

namespace {

// The patterns of the dialog's first filter, and whether one of them matches `fileName` as
// the GTK dialog and the portal match: case-sensitively.
QStringList offeredPatterns() {
    return openDialogNameFilters().front().section('(', 1).section(')', 0, 0).split(' ');
}
bool offeredByTheDialog(const QString& fileName) {
    for (const QString& pattern : offeredPatterns())
        if (QRegularExpression(QRegularExpression::wildcardToRegularExpression(pattern))
                .match(fileName)
                .hasMatch())
            return true;
    return false;
}

struct NameCase : test_support::Labelled {
    const char* path;
    bool accepted;
    bool offered;
};

class Names : public ::testing::TestWithParam<NameCase> {};

TEST_P(Names, AreAcceptedAndOfferedByTheirExtension) {
    const NameCase& c = GetParam();
    EXPECT_EQ(isAudioOrVideoFileName(c.path), c.accepted);
    EXPECT_EQ(offeredByTheDialog(QString(c.path).section('/', -1)), c.offered);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(, Names, ::testing::Values(
    NameCase{"Wav", "/music/take.wav", true, true},
    // Names from cameras and other systems.
    NameCase{"UpperCase", "/music/TAKE.WAV", true, true},
    NameCase{"Opus", "/music/take.opus", true, true},
    NameCase{"Wma", "/music/take.wma", true, true},
    NameCase{"Matroska", "/lessons/lesson.mkv", true, true},
    NameCase{"Webm", "/lessons/lesson.webm", true, true},
    // A sound type of the type database that the dialog does not list.
    NameCase{"Speex", "/music/take.spx", true, false},
    NameCase{"Text", "/music/notes.txt", false, false},
    NameCase{"Picture", "/music/cover.png", false, false},
    NameCase{"NoExtension", "/music/take", false, false},
    NameCase{"ExtensionAloneAsTheName", "/music/wav", false, false},
    NameCase{"SoundNamedFolder", "/music/album.wav/notes.txt", false, false}),
    test_support::byLabel);
// clang-format on

// What the dialog offers, a drop accepts.
TEST(OfferedNames, AreAllAccepted) {
    const QStringList patterns = offeredPatterns();
    ASSERT_GT(patterns.size(), 30);
    for (const QString& pattern : patterns) {
        ASSERT_TRUE(pattern.startsWith("*.")) << pattern.toStdString();
        EXPECT_TRUE(isAudioOrVideoFileName("/music/x" + pattern.mid(1))) << pattern.toStdString();
    }
}

} // namespace
