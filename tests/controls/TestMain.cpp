// Widgets need an application object; listing the tests (done at build time) must not, since
// there may be no display then.

#include <QApplication>
#include <gtest/gtest.h>

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    if (GTEST_FLAG_GET(list_tests)) {
        return RUN_ALL_TESTS();
    }
    // A busy X server turns away a connection now and then when its queue of new clients is
    // full; that says nothing about the code under test. Qt tries each platform of a list in
    // turn, so naming the X one several times retries the connection.
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM") && qEnvironmentVariableIsSet("DISPLAY")) {
        qputenv("QT_QPA_PLATFORM", "xcb;xcb;xcb;xcb;xcb");
    }
    QApplication application(argc, argv);
    return RUN_ALL_TESTS();
}
