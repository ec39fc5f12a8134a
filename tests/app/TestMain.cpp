// The controller's tests need an application object and a display; listing them (done at
// build time) needs neither. The desktop's recent-files list and the window's settings go to
// a folder of this run's own, never the user's.

#include <QApplication>
#include <QSettings>
#include <QTemporaryDir>
#include <gtest/gtest.h>

// Read by LeakSanitizer when it is linked in; unused otherwise. The system bus connection
// (asked for real-time priority through RealtimeKit) and libpulse's client context are
// kept by those libraries until the process ends.
extern "C" const char* __lsan_default_suppressions() {
    return "leak:libdbus-1.so.3\nleak:libpulse.so.0\n";
}

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    if (GTEST_FLAG_GET(list_tests))
        return RUN_ALL_TESTS();
    QTemporaryDir dataHome;
    qputenv("XDG_DATA_HOME", dataHome.path().toUtf8());
    qputenv("XDG_CONFIG_HOME", dataHome.path().toUtf8());
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM") && qEnvironmentVariableIsSet("DISPLAY"))
        qputenv("QT_QPA_PLATFORM", "xcb;xcb;xcb;xcb;xcb"); // a busy X server may refuse once
    QApplication application(argc, argv);
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, dataHome.path());
    return RUN_ALL_TESTS();
}
