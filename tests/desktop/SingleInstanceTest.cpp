// Two instances in one process on a socket name of their own. The listening one runs on
// this thread's event loop; hand-overs come from a second thread, as a second launch
// would block in its own process.

#include "platform/desktop/SingleInstance.h"

#include "tests/desktop/Printing.h"

#include <QDir>
#include <QElapsedTimer>
#include <QLocalSocket>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>
#include <QtEndian>
#include <atomic>
#include <gtest/gtest.h>
#include <memory>
#include <ostream>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

using platform::desktop::SingleInstance;

namespace {

class SingleInstanceTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(folder_.isValid()); }

    QString serverName() const { return folder_.filePath("instance"); }

    // Runs handOver on a thread of its own while this thread serves the listening side.
    bool handOverFromAnotherLaunch(const QStringList& paths, int timeoutMilliseconds = 3000) {
        std::atomic<bool> answered{false};
        const QString name = serverName();
        std::unique_ptr<QThread> launch(QThread::create([&] {
            SingleInstance second(name);
            answered = second.handOver(paths, timeoutMilliseconds);
        }));
        launch->start();
        EXPECT_TRUE(QTest::qWaitFor([&] { return launch->isFinished(); }, 10000));
        launch->wait();
        return answered;
    }

    QTemporaryDir folder_;
};

TEST_F(SingleInstanceTest, HandOverWithNoneRunningFailsAtOnce) {
    QElapsedTimer elapsed;
    elapsed.start();
    EXPECT_FALSE(SingleInstance(serverName()).handOver({"/music/a.wav"}, 5000));
    EXPECT_LT(elapsed.elapsed(), 1000);
}

struct HandOver {
    const char* label;
    QStringList paths;
};
void PrintTo(const HandOver& handOver, std::ostream* out) {
    *out << handOver.label;
}

class HandOvers : public SingleInstanceTest, public ::testing::WithParamInterface<HandOver> {};

TEST_P(HandOvers, ArriveAbsoluteAndAreAcknowledged) {
    SingleInstance running(serverName());
    ASSERT_TRUE(running.listen());
    QSignalSpy opened(&running, &SingleInstance::openRequested);

    EXPECT_TRUE(handOverFromAnotherLaunch(GetParam().paths));
    ASSERT_EQ(opened.count(), 1);
    QStringList expected;
    for (const QString& path : GetParam().paths)
        expected.append(QDir::cleanPath(QDir::current().absoluteFilePath(path)));
    EXPECT_EQ(opened.front().front().toStringList(), expected);
}

INSTANTIATE_TEST_SUITE_P(
    Paths, HandOvers,
    ::testing::Values(
        HandOver{"None", {}}, HandOver{"Relative", {"songs/b.mp3", "../c.flac"}},
        HandOver{"NonAscii", {"/music/Fünf Stücke – Étude.flac", "/music/夜に駆ける.mp3"}},
        HandOver{"Many",
                 [] {
                     QStringList many;
                     for (int i = 0; i < 2000; ++i)
                         many.append(
                             QString("/music/a rather long folder name/take %1.wav").arg(i));
                     return many;
                 }()}),
    [](const ::testing::TestParamInfo<HandOver>& info) { return std::string(info.param.label); });

TEST_F(SingleInstanceTest, SocketOfACrashedInstanceIsReplaced) {
    // A socket file that nothing listens on any more, as a killed instance leaves it.
    const int stale = ::socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_GE(stale, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const QByteArray name = QFile::encodeName(serverName());
    ASSERT_LT(size_t(name.size()), sizeof address.sun_path);
    std::copy(name.begin(), name.end(), address.sun_path);
    ASSERT_EQ(::bind(stale, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    ::close(stale);
    ASSERT_TRUE(QFileInfo::exists(serverName()));

    EXPECT_FALSE(handOverFromAnotherLaunch({"/a.wav"}, 500));
    SingleInstance running(serverName());
    ASSERT_TRUE(running.listen());
    QSignalSpy opened(&running, &SingleInstance::openRequested);
    EXPECT_TRUE(handOverFromAnotherLaunch({"/a.wav"}));
    EXPECT_EQ(opened.count(), 1);
}

TEST_F(SingleInstanceTest, ARunningInstanceIsNeverReplaced) {
    SingleInstance running(serverName());
    ASSERT_TRUE(running.listen());
    QSignalSpy opened(&running, &SingleInstance::openRequested);
    {
        SingleInstance late(serverName());
        EXPECT_FALSE(late.listen());
    } // and giving up must not take the running one's socket with it
    EXPECT_TRUE(handOverFromAnotherLaunch({"/a.wav"}));
    EXPECT_EQ(opened.count(), 1);
}

QByteArray header(char version, quint32 payloadBytes) {
    char length[4];
    qToBigEndian(payloadBytes, length);
    return QByteArray("SLHO") + version + QByteArray(length, 4);
}

struct Garbage {
    const char* label;
    QByteArray bytes;
    bool closedByTheInstance; // false: the request is unfinished and the sender hangs up
};
void PrintTo(const Garbage& garbage, std::ostream* out) {
    *out << garbage.label;
}

class MalformedRequests : public SingleInstanceTest,
                          public ::testing::WithParamInterface<Garbage> {};

TEST_P(MalformedRequests, AreDroppedWithoutAnswer) {
    SingleInstance running(serverName());
    ASSERT_TRUE(running.listen());
    QSignalSpy opened(&running, &SingleInstance::openRequested);

    QLocalSocket stranger;
    stranger.connectToServer(serverName());
    ASSERT_TRUE(stranger.waitForConnected(1000));
    stranger.write(GetParam().bytes);
    ASSERT_TRUE(stranger.waitForBytesWritten(1000));
    const bool closed =
        QTest::qWaitFor([&] { return stranger.state() == QLocalSocket::UnconnectedState; }, 1000);
    EXPECT_EQ(closed, GetParam().closedByTheInstance);
    EXPECT_TRUE(stranger.readAll().isEmpty());
    stranger.abort();

    EXPECT_TRUE(handOverFromAnotherLaunch({"/a.wav"}));
    ASSERT_EQ(opened.count(), 1);
    EXPECT_EQ(opened.front().front().toStringList(), QStringList{"/a.wav"});
}

INSTANTIATE_TEST_SUITE_P(
    Requests, MalformedRequests,
    ::testing::Values(Garbage{"NotOurs", "GET / HTTP/1.1\r\nHost: localhost\r\n\r\n", true},
                      Garbage{"NewerVersion", header(2, 7) + QByteArray("/a.wav\0", 7), true},
                      Garbage{"HugeLength", header(1, 0xffffffff) + "/a.wav", true},
                      Garbage{"InvalidUtf8",
                              header(1, 5) + QByteArray("/\xff\xfe"
                                                        "a\0",
                                                        5),
                              true},
                      Garbage{"RelativePath", header(1, 6) + QByteArray("a.wav\0", 6), true},
                      Garbage{"Unterminated", header(1, 6) + "/a.wav", true},
                      Garbage{"CutOff", header(1, 100) + "/a.", false}),
    [](const ::testing::TestParamInfo<Garbage>& info) { return std::string(info.param.label); });

} // namespace
