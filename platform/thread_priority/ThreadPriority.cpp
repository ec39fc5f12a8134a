#include "platform/thread_priority/ThreadPriority.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <sched.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace platform {

namespace {

const char* const kService = "org.freedesktop.RealtimeKit1";
const char* const kPath = "/org/freedesktop/RealtimeKit1";
constexpr int kDbusTimeoutMs = 1000;

bool skipped() {
    const char* setting = std::getenv("STUDYLOOP_THREAD_PRIORITY");
    return setting && std::strcmp(setting, "normal") == 0;
}

// A property of RealtimeKit, or `fallback` when it cannot be read.
qlonglong rtkitProperty(const char* name, qlonglong fallback) {
    QDBusMessage get = QDBusMessage::createMethodCall(
        kService, kPath, QStringLiteral("org.freedesktop.DBus.Properties"), QStringLiteral("Get"));
    get << QString::fromLatin1(kService) << QString::fromLatin1(name);
    const QDBusMessage reply = QDBusConnection::systemBus().call(get, QDBus::Block, kDbusTimeoutMs);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty())
        return fallback;
    bool ok = false;
    const qlonglong value =
        reply.arguments().first().value<QDBusVariant>().variant().toLongLong(&ok);
    return ok ? value : fallback;
}

// Calls a RealtimeKit method; empty on success, else the reason.
std::string callRtkit(const char* method, pid_t thread, const QVariant& level) {
    const QDBusConnection bus = QDBusConnection::systemBus();
    if (!bus.isConnected())
        return "no system D-Bus";
    QDBusMessage call = QDBusMessage::createMethodCall(
        kService, kPath, QString::fromLatin1(kService), QString::fromLatin1(method));
    call << QVariant::fromValue(qulonglong(thread)) << level;
    const QDBusMessage reply = bus.call(call, QDBus::Block, kDbusTimeoutMs);
    if (reply.type() == QDBusMessage::ReplyMessage)
        return {};
    return "RealtimeKit: " + reply.errorMessage().toStdString();
}

} // namespace

pid_t currentThreadId() {
    return pid_t(syscall(SYS_gettid));
}

PriorityOutcome makeThreadRealtime(pid_t thread, int priority) {
    if (skipped())
        return {false, "not asked (STUDYLOOP_THREAD_PRIORITY=normal)"};
    // A real-time thread that never blocks would freeze the machine; with a limit on its
    // uninterrupted CPU time the kernel ends the process instead. RealtimeKit insists on it.
    const qlonglong maxRtTime = 200000; // microseconds
    rlimit limit{};
    if (getrlimit(RLIMIT_RTTIME, &limit) == 0 &&
        (limit.rlim_max == RLIM_INFINITY || limit.rlim_max > rlim_t(maxRtTime))) {
        limit.rlim_cur = limit.rlim_max = rlim_t(maxRtTime);
        setrlimit(RLIMIT_RTTIME, &limit);
    }
    sched_param parameters{};
    parameters.sched_priority = priority;
    if (sched_setscheduler(thread, SCHED_FIFO | SCHED_RESET_ON_FORK, &parameters) == 0)
        return {true, "SCHED_FIFO " + std::to_string(priority)};
    const std::string kernelRefusal = std::strerror(errno);
    const int allowed = int(rtkitProperty("MaxRealtimePriority", priority));
    const int asked = std::min(priority, allowed);
    const std::string refusal = callRtkit("MakeThreadRealtime", thread, quint32(asked));
    if (refusal.empty())
        return {true, "SCHED_FIFO " + std::to_string(asked) + " from RealtimeKit"};
    return {false, "kernel: " + kernelRefusal + "; " + refusal};
}

PriorityOutcome raiseThreadPriority(pid_t thread, int niceLevel) {
    if (skipped())
        return {false, "not asked (STUDYLOOP_THREAD_PRIORITY=normal)"};
    if (setpriority(PRIO_PROCESS, id_t(thread), niceLevel) == 0)
        return {true, "nice " + std::to_string(niceLevel)};
    const std::string kernelRefusal = std::strerror(errno);
    const int allowed = int(rtkitProperty("MinNiceLevel", niceLevel));
    const int asked = std::max(niceLevel, allowed);
    const std::string refusal = callRtkit("MakeThreadHighPriority", thread, qint32(asked));
    if (refusal.empty())
        return {true, "nice " + std::to_string(asked) + " from RealtimeKit"};
    return {false, "kernel: " + kernelRefusal + "; " + refusal};
}

} // namespace platform
