// main() for test programs that need a QApplication (offscreen unless a display is chosen).

#include <cstdlib>

#include <QApplication>

#include <gtest/gtest.h>

int main(int argc, char** argv) {
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    QApplication application(argc, argv);
    // Tests open and close documents one after another without ending the program.
    QApplication::setQuitOnLastWindowClosed(false);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
