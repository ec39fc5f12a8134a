// The drop target: which drags the view accepts at entry, the drop zone's animation while
// one hovers, and the path that reaches the delegate after the drop.

#include "tests/waveform_view/ViewFixture.h"
#include "waveform_view/KTFixedWaveformViewDelegate.h"

#include <QApplication>
#include <QDragEnterEvent>
#include <QDragLeaveEvent>
#include <QDropEvent>
#include <QFile>
#include <QMimeData>
#include <QTemporaryDir>
#include <QTest>
#include <QUrl>
#include <gtest/gtest.h>
#include <memory>
#include <ostream>
#include <string>

using waveform_view_test::ViewWindow;

namespace {

class PathDelegate : public KTFixedWaveformViewDelegate {
public:
    void waveformViewDidReceiveDraggedFileWithPath(KTFixedWaveformView*,
                                                   const QString& path) override {
        paths.append(path);
    }
    QStringList paths;
};

// What a drag carries: local files made in a temporary folder, or other data.
enum class Payload { OneWav, OneVideo, TwoWavs, TextFile, NoFileNames };

struct DropCase {
    const char* name;
    Payload payload;
    bool accepted;
    bool delivered; // the first file's path reaches the delegate at the drop
};

void PrintTo(const DropCase& c, std::ostream* out) {
    *out << c.name;
}

class DropTest : public testing::Test {
protected:
    void SetUp() override { window.view().setDelegate(&delegate); }
    KTFixedWaveformView& view() { return window.view(); }

    QString makeFile(const char* name, const QByteArray& content) {
        const QString path = folder.filePath(QString::fromLatin1(name));
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(content);
        return path;
    }
    // The start of a WAV file: enough for its content to say what it is.
    QString makeWav(const char* name) {
        return makeFile(name, QByteArray("RIFF\0\0\0\0WAVEfmt ", 16));
    }
    std::unique_ptr<QMimeData> mimeData(Payload payload) {
        auto data = std::make_unique<QMimeData>();
        const auto files = [&](const QStringList& paths) {
            QList<QUrl> urls;
            for (const QString& path : paths)
                urls.append(QUrl::fromLocalFile(path));
            data->setUrls(urls);
        };
        switch (payload) {
        case Payload::OneWav:
            files({makeWav("take.wav")});
            break;
        case Payload::OneVideo:
            // An MP4 (ISO base media) header: musicians learn from filmed performances too.
            files({makeFile("concert.mp4", QByteArray::fromHex("0000001866747970"
                                                               "69736f6d0000020069736f6d"
                                                               "69736f32"))});
            break;
        case Payload::TwoWavs:
            files({makeWav("a.wav"), makeWav("b.wav")});
            break;
        case Payload::TextFile:
            files({makeFile("notes.txt", "bars 9 to 12: watch the left hand\n")});
            break;
        case Payload::NoFileNames:
            data->setText(QStringLiteral("some dragged text"));
            break;
        }
        return data;
    }
    bool enter(const QMimeData* data) {
        QDragEnterEvent event(QPoint(300, 100), Qt::CopyAction | Qt::MoveAction | Qt::LinkAction,
                              data, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(&view(), &event);
        return event.isAccepted() && event.dropAction() == Qt::CopyAction;
    }
    void leave() {
        QDragLeaveEvent event;
        QApplication::sendEvent(&view(), &event);
    }
    bool drop(const QMimeData* data) {
        QDropEvent event(QPointF(300, 100), Qt::CopyAction | Qt::MoveAction, data, Qt::LeftButton,
                         Qt::NoModifier);
        QApplication::sendEvent(&view(), &event);
        return event.isAccepted();
    }
    // Whether the drop zone's arrow moves, over a few of its ticks.
    bool animates() {
        const float before = view().dropzoneDelta();
        QTest::qWait(4 * KTFixedWaveformView::kDropzoneIntervalMs);
        return view().dropzoneDelta() > before;
    }

    QTemporaryDir folder;
    PathDelegate delegate;
    ViewWindow window{650, 200};
};

class DropCases : public DropTest, public testing::WithParamInterface<DropCase> {};

TEST_P(DropCases, AcceptAtEntryAnimateAndHandOverOneFile) {
    const DropCase& c = GetParam();
    const std::unique_ptr<QMimeData> data = mimeData(c.payload);
    EXPECT_EQ(enter(data.get()), c.accepted);
    EXPECT_EQ(animates(), c.accepted);
    if (!c.accepted) {
        EXPECT_EQ(view().dropzoneDelta(), 0.0f);
        return; // a refused drag is never dropped
    }
    EXPECT_TRUE(drop(data.get()));
    EXPECT_EQ(view().dropzoneDelta(), 0.0f);
    if (c.delivered) {
        ASSERT_TRUE(QTest::qWaitFor([&] { return !delegate.paths.isEmpty(); }, 2000));
        EXPECT_EQ(delegate.paths, QStringList{data->urls().first().toLocalFile()});
    } else {
        QTest::qWait(50);
        EXPECT_TRUE(delegate.paths.isEmpty());
    }
    EXPECT_FALSE(animates());
}

INSTANTIATE_TEST_SUITE_P(
    , DropCases,
    testing::Values(DropCase{"OneAudioFile", Payload::OneWav, true, true},
                    DropCase{"OneVideoFile", Payload::OneVideo, true, true},
                    DropCase{"TwoAudioFiles", Payload::TwoWavs, false, false},
                    DropCase{"TextFile", Payload::TextFile, false, false},
                    // Shown and accepted, and dropped without a word to the delegate.
                    DropCase{"NoFileNames", Payload::NoFileNames, true, false}),
    [](const testing::TestParamInfo<DropCase>& info) { return std::string(info.param.name); });

TEST_F(DropTest, LeavingStopsTheAnimationAndResetsTheArrow) {
    const std::unique_ptr<QMimeData> data = mimeData(Payload::OneWav);
    ASSERT_TRUE(enter(data.get()));
    ASSERT_TRUE(animates());
    leave();
    EXPECT_EQ(view().dropzoneDelta(), 0.0f);
    EXPECT_FALSE(animates());
    EXPECT_TRUE(delegate.paths.isEmpty());
}

TEST_F(DropTest, EnteringTwiceLeavesNoAnimationRunningAfterTheExit) {
    const std::unique_ptr<QMimeData> data = mimeData(Payload::OneWav);
    ASSERT_TRUE(enter(data.get()));
    ASSERT_TRUE(enter(data.get()));
    leave();
    EXPECT_FALSE(animates());
}

} // namespace
