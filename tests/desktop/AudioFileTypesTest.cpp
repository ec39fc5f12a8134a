// Which files are offered and accepted, against real files the ffmpeg tool makes at test
// time (a fifth of a second of sine, and a few frames of test picture for the videos).

#include "platform/desktop/AudioFileTypes.h"

#include "tests/desktop/Printing.h"

#include <QDir>
#include <QFile>
#include <QMimeDatabase>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <cstdlib>
#include <gtest/gtest.h>
#include <ostream>
#include <string>
#include <sys/stat.h>

using platform::desktop::isAudioOrVideoFile;
using platform::desktop::openDialogNameFilters;

namespace {

QString quoted(const QString& text) {
    QString result = text;
    result.replace("'", R"('\'')");
    return "'" + result + "'";
}

constexpr const char* kSound = "-f lavfi -i sine=frequency=440:duration=0.2";
constexpr const char* kPictureAndSound =
    "-f lavfi -i testsrc=size=64x48:rate=10:duration=0.2 -f lavfi -i sine=duration=0.2";

bool encode(const QString& inputs, const QString& arguments, const QString& output) {
    const QString command = QString(STUDYLOOP_FFMPEG) +
                            " -nostdin -hide_banner -loglevel error -y " + inputs + " " +
                            arguments + " " + quoted(output);
    return std::system(command.toLocal8Bit().constData()) == 0;
}

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

struct MediaFile {
    const char* label;
    const char* fileName;
    const char* inputs;
    const char* arguments;
    bool namedAsMedia; // false: the name says nothing or the wrong thing
};
void PrintTo(const MediaFile& file, std::ostream* out) {
    *out << file.label;
}

class MediaFiles : public ::testing::TestWithParam<MediaFile> {
protected:
    QTemporaryDir folder_;
};

TEST_P(MediaFiles, AreAcceptedAndOffered) {
    const MediaFile& file = GetParam();
    ASSERT_TRUE(folder_.isValid());
    const QString path = folder_.filePath(file.fileName);
    ASSERT_TRUE(encode(file.inputs, file.arguments, path)) << file.label;

    EXPECT_TRUE(isAudioOrVideoFile(path))
        << QMimeDatabase().mimeTypeForFile(path, QMimeDatabase::MatchContent).name().toStdString();
    if (file.namedAsMedia) {
        EXPECT_TRUE(offeredByTheDialog(file.fileName));
        // Names from cameras and other systems.
        EXPECT_TRUE(offeredByTheDialog(QString(file.fileName).toUpper()));
    }
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Audio, MediaFiles, ::testing::Values(
    MediaFile{"Wav", "take.wav", kSound, "-c:a pcm_s16le", true},
    MediaFile{"Flac", "take.flac", kSound, "-c:a flac", true},
    MediaFile{"Mp3WithoutTag", "take.mp3", kSound, "-c:a libmp3lame -write_xing 0 -id3v2_version 0", true},
    MediaFile{"OggVorbis", "take.ogg", kSound, "-c:a libvorbis", true},
    MediaFile{"Opus", "take.opus", kSound, "-c:a libopus", true},
    MediaFile{"AudioOnlyMp4", "take.mp4", kSound, "-c:a aac", true},
    MediaFile{"Wma", "take.wma", kSound, "-c:a wmav2", true},
    MediaFile{"WavNamedTxt", "take.txt", kSound, "-c:a pcm_s16le -f wav", false},
    MediaFile{"WavWithoutExtension", "take", kSound, "-c:a pcm_s16le -f wav", false}),
    [](const auto& info) { return std::string(info.param.label); });

INSTANTIATE_TEST_SUITE_P(Video, MediaFiles, ::testing::Values(
    MediaFile{"Mp4", "lesson.mp4", kPictureAndSound, "-c:v mpeg4 -c:a aac -shortest", true},
    MediaFile{"Mkv", "lesson.mkv", kPictureAndSound, "-c:v mpeg4 -c:a flac -shortest", true},
    MediaFile{"Webm", "lesson.webm", kPictureAndSound, "-c:v libvpx -c:a libopus -shortest", true}),
    [](const auto& info) { return std::string(info.param.label); });
// clang-format on

class OtherFiles : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(folder_.isValid()); }
    QString write(const QString& name, const QByteArray& bytes) {
        const QString path = folder_.filePath(name);
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(bytes);
        return path;
    }
    QTemporaryDir folder_;
};

TEST_F(OtherFiles, ContentThatIsNotSoundIsRejectedWhateverTheName) {
    EXPECT_FALSE(isAudioOrVideoFile(write("song.mp3", "Verse 1\nI walked along the river\n")));
    EXPECT_FALSE(isAudioOrVideoFile(write("empty.wav", "")));
    const QString picture = folder_.filePath("cover.flac");
    ASSERT_TRUE(
        encode("-f lavfi -i color=c=red:size=8x8", "-frames:v 1 -f image2 -c:v png", picture));
    EXPECT_FALSE(isAudioOrVideoFile(picture));
}

TEST_F(OtherFiles, WhatIsNotARegularFileIsRejected) {
    const QString album = folder_.filePath("album.mp3");
    ASSERT_TRUE(QDir().mkdir(album));
    EXPECT_FALSE(isAudioOrVideoFile(album));
    EXPECT_FALSE(isAudioOrVideoFile(folder_.filePath("missing.wav")));
    // Reading a pipe to sniff it would wait for a writer forever.
    const QString pipe = folder_.filePath("stream.wav");
    ASSERT_EQ(::mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
    EXPECT_FALSE(isAudioOrVideoFile(pipe));
}

// Many formats have no signature the type database knows. For those the name decides, so
// everything the dialog offers is accepted when the content is unrecognisable binary, and
// nothing is when the content is text.
TEST_F(OtherFiles, EveryOfferedExtensionIsAcceptedForUnrecognisedContent) {
    QByteArray noise;
    quint32 state = 12345;
    for (int i = 0; i < 4096; ++i) {
        state = state * 1664525u + 1013904223u;
        noise.append(char(state >> 24));
    }
    const QStringList patterns = offeredPatterns();
    ASSERT_GT(patterns.size(), 30);
    for (const QString& pattern : patterns) {
        ASSERT_TRUE(pattern.startsWith("*.")) << pattern.toStdString();
        const QString name = "x" + pattern.mid(1);
        const QString binary = write(name, noise);
        ASSERT_EQ(QMimeDatabase().mimeTypeForFile(binary, QMimeDatabase::MatchContent).name(),
                  "application/octet-stream");
        EXPECT_TRUE(isAudioOrVideoFile(binary)) << name.toStdString();
        EXPECT_FALSE(isAudioOrVideoFile(write(name, "plain text, not sound\n")))
            << name.toStdString();
    }
    EXPECT_FALSE(isAudioOrVideoFile(write("x.bin", noise)));
}

} // namespace
