#include "tests/support/QtSupport.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QThread>

namespace test_support {

bool waitUntil(const std::function<bool()>& done, std::chrono::milliseconds timeout) {
    const QDeadlineTimer deadline(timeout);
    for (;;) {
        QCoreApplication::processEvents(QEventLoop::AllEvents);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        if (done())
            return true;
        if (deadline.hasExpired())
            return false;
        QThread::msleep(5);
    }
}

void turnEventLoop(std::chrono::milliseconds duration) {
    waitUntil([] { return false; }, duration);
}

} // namespace test_support
