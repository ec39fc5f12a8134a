// Sockets and their signals need an application object with an event loop; nothing here
// draws, so a core application does and the tests need no display.

#include <QCoreApplication>
#include <gtest/gtest.h>

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    QCoreApplication application(argc, argv);
    return RUN_ALL_TESTS();
}
