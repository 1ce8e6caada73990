#include <QApplication>
#include <gtest/gtest.h>

int main(int argc, char **argv)
{
    const QApplication application(argc, argv);
    // A card that closes must not end the test program.
    QApplication::setQuitOnLastWindowClosed(false);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
