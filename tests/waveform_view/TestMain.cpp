// gtest's main inside a QApplication: the views need one.

#include <QApplication>
#include <gtest/gtest.h>

int main(int argc, char** argv) {
    // A busy X server now and then turns a new client away when its queue of connections
    // is full, which says nothing about the view. Qt tries each platform of a list in turn,
    // so naming the X one several times retries the connection.
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM") && qEnvironmentVariableIsSet("DISPLAY"))
        qputenv("QT_QPA_PLATFORM", "xcb;xcb;xcb;xcb;xcb");
    QApplication application(argc, argv);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
