#include "platform/desktop/SingleInstance.h"

#include "platform/log/Log.h"

#include <QByteArray>
#include <QDeadlineTimer>
#include <QDir>
#include <QFileInfo>
#include <QLocalServer>
#include <QLocalSocket>
#include <QStringDecoder>
#include <QTimer>
#include <QtEndian>
#include <optional>
#include <utility>

#ifndef Q_OS_WIN
#include <unistd.h>
#endif

namespace platform::desktop {

namespace {

// A request: the magic, a version byte, the payload's length (32 bits, big-endian), then
// the payload: each path in UTF-8 followed by a zero byte (no path can hold one). The
// answer is the single byte kAcknowledgement.
constexpr char kMagic[4] = {'S', 'L', 'H', 'O'};
constexpr char kVersion = 1;
constexpr qsizetype kHeaderBytes = 9;
// Thousands of paths; a sender that announces more is not one of us.
constexpr quint32 kMaxPayloadBytes = 1 << 20;
constexpr char kAcknowledgement = 0x06;

// A sender that connects and then stalls would otherwise hold its connection forever.
constexpr int kStalledConnectionMilliseconds = 5000;
// How long listen() waits to learn whether a socket left in its place is alive. A live
// instance accepts at once, even when busy: the system queues the connection for it.
constexpr int kProbeMilliseconds = 500;

QByteArray encodeRequest(const QStringList& absolutePaths) {
    QByteArray payload;
    for (const QString& path : absolutePaths) {
        payload += path.toUtf8();
        payload += '\0';
    }
    QByteArray request(kMagic, sizeof kMagic);
    request += kVersion;
    char length[4];
    qToBigEndian(quint32(payload.size()), length);
    request.append(length, sizeof length);
    return request + payload;
}

// The paths of a payload, or nothing when it is not valid UTF-8 or holds anything but
// absolute paths (a relative one would be resolved against the wrong folder).
std::optional<QStringList> decodePaths(const QByteArray& payload) {
    if (payload.isEmpty())
        return QStringList();
    if (!payload.endsWith('\0'))
        return std::nullopt;
    QStringDecoder utf8(QStringDecoder::Utf8);
    const QString text = utf8(payload.first(payload.size() - 1));
    if (utf8.hasError())
        return std::nullopt;
    QStringList paths = text.split(QChar(0));
    for (const QString& path : paths)
        if (!QDir::isAbsolutePath(path))
            return std::nullopt;
    return paths;
}

int remainingMilliseconds(const QDeadlineTimer& deadline) {
    return int(qMax<qint64>(0, deadline.remainingTime()));
}

void drop(QLocalSocket* connection) {
    connection->abort();
    connection->deleteLater();
}

} // namespace

SingleInstance::SingleInstance(QString serverName, QObject* parent)
    : QObject(parent), serverName_(std::move(serverName)), server_(new QLocalServer(this)) {
    connect(server_, &QLocalServer::newConnection, this, [this] {
        while (QLocalSocket* connection = server_->nextPendingConnection()) {
            connect(connection, &QLocalSocket::readyRead, this,
                    [this, connection] { readRequest(connection); });
            connect(connection, &QLocalSocket::disconnected, connection, &QObject::deleteLater);
            QTimer::singleShot(kStalledConnectionMilliseconds, connection,
                               [connection] { drop(connection); });
            readRequest(connection);
        }
    });
}

SingleInstance::~SingleInstance() = default;

QString SingleInstance::defaultServerName() {
#ifdef Q_OS_WIN
    return QStringLiteral("studyloop-") + qEnvironmentVariable("USERNAME");
#else
    const QString name = QStringLiteral("studyloop-") + QString::number(::getuid());
    // Only the user can enter this folder; elsewhere the name goes to the shared temporary
    // folder, where the socket's own permissions keep other users out.
    const QString runtimeFolder = qEnvironmentVariable("XDG_RUNTIME_DIR");
    if (!runtimeFolder.isEmpty() && QDir::isAbsolutePath(runtimeFolder) &&
        QFileInfo(runtimeFolder).isDir())
        return runtimeFolder + QLatin1Char('/') + name;
    return name;
#endif
}

bool SingleInstance::handOver(const QStringList& paths, int timeoutMilliseconds) {
    const QDeadlineTimer deadline(qMax(0, timeoutMilliseconds));
    // The running instance has a working folder of its own.
    QStringList absolutePaths;
    for (const QString& path : paths)
        if (!path.isEmpty() && !path.contains(QChar(0)))
            absolutePaths.append(QFileInfo(path).absoluteFilePath());

    QLocalSocket socket;
    socket.connectToServer(serverName_);
    if (!socket.waitForConnected(remainingMilliseconds(deadline)))
        return false;
    socket.write(encodeRequest(absolutePaths));
    while (socket.bytesToWrite() > 0)
        if (!socket.waitForBytesWritten(remainingMilliseconds(deadline)))
            return false;
    while (socket.bytesAvailable() < 1)
        if (!socket.waitForReadyRead(remainingMilliseconds(deadline)))
            return false;
    char answer = 0;
    return socket.getChar(&answer) && answer == kAcknowledgement;
}

bool SingleInstance::listen() {
    if (server_->isListening())
        return true;
    if (server_->listen(serverName_))
        return true;
    if (server_->serverError() != QAbstractSocket::AddressInUseError) {
        platform::log("Single instance: cannot listen on %s: %s", qPrintable(serverName_),
                      qPrintable(server_->errorString()));
        return false;
    }
    // The name is taken, by a running instance or by the socket of one that crashed. Only
    // a socket that refuses connections is dead; anything else is left alone.
    QLocalSocket probe;
    probe.connectToServer(serverName_);
    if (probe.waitForConnected(kProbeMilliseconds)) {
        probe.abort();
        return false;
    }
    if (probe.error() != QLocalSocket::ConnectionRefusedError &&
        probe.error() != QLocalSocket::ServerNotFoundError)
        return false;
    QLocalServer::removeServer(serverName_);
    if (server_->listen(serverName_))
        return true;
    // Another launch may have taken the name in between; it is the running one now.
    return false;
}

void SingleInstance::readRequest(QLocalSocket* connection) {
    if (connection->bytesAvailable() < kHeaderBytes)
        return;
    const QByteArray header = connection->peek(kHeaderBytes);
    if (!header.startsWith(QByteArrayView(kMagic, sizeof kMagic)) || header[4] != kVersion) {
        drop(connection);
        return;
    }
    const quint32 payloadBytes = qFromBigEndian<quint32>(header.constData() + 5);
    if (payloadBytes > kMaxPayloadBytes) {
        drop(connection);
        return;
    }
    if (connection->bytesAvailable() < kHeaderBytes + qsizetype(payloadBytes))
        return;
    connection->skip(kHeaderBytes);
    const std::optional<QStringList> paths = decodePaths(connection->read(payloadBytes));
    if (!paths) {
        drop(connection);
        return;
    }
    // Answered before anyone acts on the paths: a slot that opens a dialog must not make
    // the sender give up waiting and start a second window.
    disconnect(connection, &QLocalSocket::readyRead, this, nullptr);
    connection->putChar(kAcknowledgement);
    connection->flush();
    connection->disconnectFromServer();
    emit openRequested(*paths);
}

} // namespace platform::desktop
