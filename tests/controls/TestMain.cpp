// Widgets need an application object; listing the tests (done at build time) must not, since
// there may be no display then.

#include <QApplication>
#include <gtest/gtest.h>

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    if (GTEST_FLAG_GET(list_tests)) {
        return RUN_ALL_TESTS();
    }
    QApplication application(argc, argv);
    return RUN_ALL_TESTS();
}
