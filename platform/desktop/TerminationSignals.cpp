#include "platform/desktop/TerminationSignals.h"

#include <QCoreApplication>
#include <QSocketNotifier>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace platform::desktop {

namespace {

// The handler may only do what is async-signal-safe: it writes a byte to a pipe whose other
// end the event loop watches.
int signalPipe[2] = {-1, -1};

extern "C" void writeToSignalPipe(int) {
    const char byte = 1;
    [[maybe_unused]] const ssize_t written = ::write(signalPipe[1], &byte, 1);
}

} // namespace

void quitOnTerminationSignals(QCoreApplication& application) {
    if (signalPipe[0] >= 0 || ::pipe2(signalPipe, O_CLOEXEC | O_NONBLOCK) != 0)
        return;
    auto* notifier = new QSocketNotifier(signalPipe[0], QSocketNotifier::Read, &application);
    QObject::connect(notifier, &QSocketNotifier::activated, &application, [&application] {
        char bytes[16];
        while (::read(signalPipe[0], bytes, sizeof bytes) > 0) {
        }
        application.quit();
    });
    struct sigaction action {};
    action.sa_handler = writeToSignalPipe;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    for (int signal : {SIGTERM, SIGINT, SIGHUP})
        ::sigaction(signal, &action, nullptr);
}

} // namespace platform::desktop
