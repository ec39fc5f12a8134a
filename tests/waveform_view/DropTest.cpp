// The drop target: which drags the view accepts at entry, the drop zone's animation while
// one hovers, and the path that reaches the delegate after the drop.

#include "tests/support/Labelled.h"
#include "tests/waveform_view/ViewFixture.h"
#include "waveform_view/KTFixedWaveformViewDelegate.h"

#include <QApplication>
#include <QDir>
#include <QDragEnterEvent>
#include <QDragLeaveEvent>
#include <QDropEvent>
#include <QElapsedTimer>
#include <QFile>
#include <QMimeData>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>
#include <QUrl>
#include <chrono>
#include <gtest/gtest.h>
#include <memory>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

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

struct DropCase : test_support::Labelled {
    std::vector<const char*> files; // none: the drag carries text
    bool accepted;
    bool delivered; // the first file's path reaches the delegate at the drop
};

class DropTest : public testing::Test {
protected:
    void SetUp() override { window.view().setDelegate(&delegate); }
    KTFixedWaveformView& view() { return window.view(); }

    // The files need not exist: the answer goes by their names, and the open after the drop
    // finds out what they hold.
    std::unique_ptr<QMimeData> mimeData(const std::vector<const char*>& files) {
        auto data = std::make_unique<QMimeData>();
        QList<QUrl> urls;
        for (const char* name : files)
            urls.append(QUrl::fromLocalFile(folder.filePath(QString::fromLatin1(name))));
        if (urls.isEmpty())
            data->setText(QStringLiteral("some dragged text"));
        else
            data->setUrls(urls);
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
    const std::unique_ptr<QMimeData> data = mimeData(c.files);
    ASSERT_EQ(enter(data.get()), c.accepted); // a drop without an accepted entry crashes Qt
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
    testing::Values(DropCase{"OneAudioFile", {"take.wav"}, true, true},
                    DropCase{"OneVideoFile", {"concert.mp4"}, true, true},
                    DropCase{"TwoAudioFiles", {"a.wav", "b.wav"}, false, false},
                    DropCase{"TextFile", {"notes.txt"}, false, false},
                    // Shown and accepted, and dropped without a word to the delegate.
                    DropCase{"NoFileNames", {}, true, false}),
    test_support::byLabel);

TEST_F(DropTest, EnteringTwiceLeavesNoAnimationRunningAfterTheExit) {
    const std::unique_ptr<QMimeData> data = mimeData({"take.wav"});
    ASSERT_TRUE(enter(data.get()));
    ASSERT_TRUE(enter(data.get()));
    leave();
    EXPECT_FALSE(animates());
}

// A file on a share whose server stopped answering: reading it waits until the share answers
// again, here after 2 s (slow_mount.py). The answer to the drag must not wait for it.
TEST_F(DropTest, EnteringWithAFileOnAStalledShareDoesNotWaitForTheShare) {
    const QString source = folder.filePath("source");
    const QString mount = folder.filePath("mount");
    ASSERT_TRUE(QDir().mkpath(source) && QDir().mkpath(mount));
    QFile file(source + "/take.wav");
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(QByteArray("RIFF\0\0\0\0WAVEfmt ", 16));
    file.close();
    QProcess share;
    share.start("/usr/bin/python3", {STUDYLOOP_SLOW_MOUNT, source, mount, "0"});
    const QString shared = mount + "/take.wav";
    const bool mounted =
        QTest::qWaitFor([&] { return QFile::exists(shared) || !share.processId(); }, 5000) &&
        QFile::exists(shared);
    if (!mounted)
        GTEST_SKIP() << "FUSE could not be mounted here";
    ASSERT_TRUE(QFile(source + "/.stalled").open(QIODevice::WriteOnly));
    std::thread answersAgain([&] {
        std::this_thread::sleep_for(std::chrono::seconds(2));
        QFile::remove(source + "/.stalled");
    });
    QMimeData data;
    data.setUrls({QUrl::fromLocalFile(shared)});
    QElapsedTimer took;
    took.start();
    EXPECT_TRUE(enter(&data));
    EXPECT_LT(took.elapsed(), 1000);
    answersAgain.join();
    QProcess::execute("umount", {"-l", mount});
    share.waitForFinished();
}

} // namespace
