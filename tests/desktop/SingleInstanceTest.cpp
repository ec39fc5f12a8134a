// Two instances in one process on a socket name of their own. The listening one runs on
// this thread's event loop; hand-overs come from a second thread, as a second launch
// would block in its own process.

#include "platform/desktop/SingleInstance.h"

#include "tests/support/Fixtures.h"
#include "tests/support/QtSupport.h"

#include <QDir>
#include <QElapsedTimer>
#include <QLocalSocket>
#include <QSignalSpy>
#include <QThread>
#include <QtEndian>
#include <atomic>
#include <gtest/gtest.h>
#include <memory>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

using platform::desktop::SingleInstance;
using test_support::waitUntil;

namespace {

class SingleInstanceTest : public ::testing::Test {
protected:
    // Runs handOver on a thread of its own while this thread serves the listening side.
    bool handOverFromAnotherLaunch(const QStringList& paths, int timeoutMilliseconds = 3000) {
        std::atomic<bool> answered{false};
        std::unique_ptr<QThread> launch(QThread::create(
            [&] { answered = SingleInstance(name).handOver(paths, timeoutMilliseconds); }));
        launch->start();
        EXPECT_TRUE(waitUntil([&] { return launch->isFinished(); }, std::chrono::seconds(10)));
        launch->wait();
        return answered;
    }

    test_support::ScratchFolder folder_;
    const QString name = QString::fromStdString(folder_ / "instance");
};

TEST_F(SingleInstanceTest, HandOversArriveAbsoluteAndAreAcknowledged) {
    QElapsedTimer elapsed;
    elapsed.start();
    EXPECT_FALSE(SingleInstance(name).handOver({"/music/a.wav"}, 5000));
    EXPECT_LT(elapsed.elapsed(), 1000) << "with none running, a hand-over fails at once";

    SingleInstance running(name);
    ASSERT_TRUE(running.listen());
    QSignalSpy opened(&running, &SingleInstance::openRequested);
    QStringList many;
    for (int i = 0; i < 2000; ++i)
        many.append(QString("/music/a rather long folder name/take %1.wav").arg(i));
    for (const QStringList& paths :
         {QStringList{}, QStringList{"songs/b.mp3", "../c.flac"},
          QStringList{"/music/Fünf Stücke – Étude.flac", "/music/夜に駆ける.mp3"}, many}) {
        SCOPED_TRACE(paths.isEmpty() ? "none" : paths.front().toStdString());
        opened.clear();
        EXPECT_TRUE(handOverFromAnotherLaunch(paths));
        ASSERT_EQ(opened.count(), 1);
        QStringList expected;
        for (const QString& path : paths)
            expected.append(QDir::cleanPath(QDir::current().absoluteFilePath(path)));
        EXPECT_EQ(opened.front().front().toStringList(), expected);
    }
}

TEST_F(SingleInstanceTest, ASocketOfACrashedInstanceIsReplacedALiveOneNever) {
    // A socket file that nothing listens on any more, as a killed instance leaves it.
    const int stale = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const QByteArray path = QFile::encodeName(name);
    ASSERT_LT(size_t(path.size()), sizeof address.sun_path);
    std::copy(path.begin(), path.end(), address.sun_path);
    ASSERT_EQ(::bind(stale, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    ::close(stale);
    EXPECT_FALSE(handOverFromAnotherLaunch({"/a.wav"}, 500));

    SingleInstance running(name);
    ASSERT_TRUE(running.listen());
    QSignalSpy opened(&running, &SingleInstance::openRequested);
    EXPECT_FALSE(SingleInstance(name).listen());
    // and giving up must not take the running one's socket with it
    EXPECT_TRUE(handOverFromAnotherLaunch({"/a.wav"}));
    EXPECT_EQ(opened.count(), 1);
}

QByteArray header(char version, quint32 payloadBytes) {
    char length[4];
    qToBigEndian(payloadBytes, length);
    return QByteArray("SLHO") + version + QByteArray(length, 4);
}

// Each is dropped without an answer, closed by the instance unless it is unfinished (then
// the sender hangs up), and the next hand-over is served as usual.
TEST_F(SingleInstanceTest, MalformedRequestsAreDroppedWithoutAnswer) {
    SingleInstance running(name);
    ASSERT_TRUE(running.listen());
    QSignalSpy opened(&running, &SingleInstance::openRequested);
    const struct {
        QByteArray bytes;
        bool closedByTheInstance;
    } requests[] = {
        {"GET / HTTP/1.1\r\nHost: localhost\r\n\r\n", true},
        {header(2, 7) + QByteArray("/a.wav\0", 7), true}, // a newer version
        {header(1, 0xffffffff) + "/a.wav", true},         // a huge length
        {header(1, 5) + QByteArray("/\xff\xfe"
                                   "a\0",
                                   5),
         true},                                          // invalid UTF-8
        {header(1, 6) + QByteArray("a.wav\0", 6), true}, // a relative path
        {header(1, 6) + "/a.wav", true},                 // unterminated
        {header(1, 100) + "/a.", false},                 // cut off
    };
    for (const auto& request : requests) {
        SCOPED_TRACE(request.bytes.toStdString());
        opened.clear();
        QLocalSocket stranger;
        stranger.connectToServer(name);
        ASSERT_TRUE(stranger.waitForConnected(1000));
        stranger.write(request.bytes);
        ASSERT_TRUE(stranger.waitForBytesWritten(1000));
        EXPECT_EQ(waitUntil([&] { return stranger.state() == QLocalSocket::UnconnectedState; },
                            std::chrono::seconds(1)),
                  request.closedByTheInstance);
        EXPECT_TRUE(stranger.readAll().isEmpty());
        stranger.abort();

        EXPECT_TRUE(handOverFromAnotherLaunch({"/a.wav"}));
        ASSERT_EQ(opened.count(), 1);
        EXPECT_EQ(opened.front().front().toStringList(), QStringList{"/a.wav"});
    }
}

} // namespace
