#pragma once

// One running Study Loop per user. A launch first offers its files to a running instance
// with handOver(); when that instance acknowledges them, the launch has nothing more to do
// and exits. Otherwise it becomes the running instance with listen() and from then on
// receives every later launch's files through openRequested.
//
//     second launch                         running instance
//     handOver(paths) ── request ──────────> openRequested(paths) (after the reply)
//                     <── one-byte reply ───
//
// The channel is a local socket (a named pipe on Windows). Its name holds the user id and,
// on Unix, lives in $XDG_RUNTIME_DIR when there is one (a folder only the user can
// enter), so another user can neither receive nor inject a hand-over; without it the
// socket goes to the shared temporary folder, guarded only by its own permissions. A
// request carries a magic, a version and the paths; anything else is dropped unanswered.
//
// Thread contract: construct, listen() and receive openRequested on the thread the object
// lives in (the main thread), which must run an event loop for hand-overs to arrive.
// handOver() blocks its caller for at most the timeout and touches no state of the object,
// so it may also run on another thread started with QThread (its socket needs Qt's event
// dispatcher, though not a running loop).
//
// Ownership: the object owns its server and the connections being read; destroying it
// stops listening and removes its socket, never one it did not create.

#include <QObject>
#include <QString>
#include <QStringList>

class QLocalServer;
class QLocalSocket;

namespace platform::desktop {

class SingleInstance : public QObject {
    Q_OBJECT

public:
    explicit SingleInstance(QString serverName = defaultServerName(), QObject* parent = nullptr);
    ~SingleInstance() override;

    // "studyloop-" and the user id, inside $XDG_RUNTIME_DIR on Unix when that is set.
    static QString defaultServerName();

    const QString& serverName() const { return serverName_; }

    // Sends `paths` (made absolute against this process's working folder) to the running
    // instance. True once it has acknowledged them; false when none runs or it did not
    // answer within `timeoutMilliseconds`. An empty list is a valid hand-over: it asks the
    // running instance to come forward.
    bool handOver(const QStringList& paths, int timeoutMilliseconds = 1000);

    // Starts accepting hand-overs. A socket left behind by an instance that crashed is
    // replaced; a live one never is, and then this returns false. True when listening
    // (also when it already was).
    bool listen();

signals:
    // One hand-over, already acknowledged to its sender. Absolute paths, in the order the
    // sender gave them; possibly none.
    void openRequested(const QStringList& paths);

private:
    void readRequest(QLocalSocket* connection);

    QString serverName_;
    QLocalServer* server_ = nullptr; // child of this object
};

} // namespace platform::desktop
