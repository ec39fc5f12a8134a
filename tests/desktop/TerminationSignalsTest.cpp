// A logout's SIGTERM, Ctrl+C's SIGINT and a closed terminal's SIGHUP end the event loop as
// Quit does (so what runs is wound down), rather than killing the process where it stands.

#include "platform/desktop/TerminationSignals.h"

#include <QCoreApplication>
#include <QTimer>
#include <csignal>
#include <gtest/gtest.h>

TEST(TerminationSignals, EachEndsTheEventLoopAsQuitDoes) {
    platform::desktop::quitOnTerminationSignals(*QCoreApplication::instance());
    for (int signal : {SIGTERM, SIGINT, SIGHUP}) {
        QTimer::singleShot(0, [signal] { std::raise(signal); });
        QTimer::singleShot(5000, [] { QCoreApplication::exit(1); });
        EXPECT_EQ(QCoreApplication::exec(), 0) << "signal " << signal;
    }
}
