// gtest's main for every test program. Built twice from this file: with a core application
// (sockets, timers, queued signals; no display needed) and, with STUDYLOOP_TEST_WIDGETS, with
// a widget application for the tests that show or render widgets.
//
// - Listing the tests (done at build time) makes no application, so it needs no display.
// - What the desktop remembers (recent files, saved loops, the window's settings) goes to a
//   folder of this run's own, never the user's. The configuration folder itself stays: with
//   no XDG_RUNTIME_DIR, libpulse finds the sound server through it.
// - A busy X server now and then turns a new client away when its queue of connections is
//   full, which says nothing about the code under test. Qt tries each platform of a list in
//   turn, so naming the X one several times retries the connection.

#include <QSettings>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#ifdef STUDYLOOP_TEST_WIDGETS
#include <QApplication>
using TestApplication = QApplication;
#else
#include <QCoreApplication>
using TestApplication = QCoreApplication;
#endif

// Read by the sanitizers when they are linked in; unused otherwise.
// - Qt is not built with ThreadSanitizer: its queued and blocking cross-thread calls
//   synchronise through atomics and semaphores TSan cannot see, so every hand-over to the
//   main thread shows up as a false race.
// - The system bus connection (asked for real-time priority through RealtimeKit) and
//   libpulse's client context are kept by those libraries until the process ends.
extern "C" const char* __tsan_default_suppressions() {
    return "race:libQt6Core.so.6\n";
}
extern "C" const char* __lsan_default_suppressions() {
    return "leak:libdbus-1.so.3\nleak:libpulse.so.0\n";
}

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    if (GTEST_FLAG_GET(list_tests))
        return RUN_ALL_TESTS();
    QTemporaryDir dataHome;
    qputenv("XDG_DATA_HOME", dataHome.path().toUtf8());
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM") && qEnvironmentVariableIsSet("DISPLAY"))
        qputenv("QT_QPA_PLATFORM", "xcb;xcb;xcb;xcb;xcb");
    TestApplication application(argc, argv);
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, dataHome.path());
    return RUN_ALL_TESTS();
}
