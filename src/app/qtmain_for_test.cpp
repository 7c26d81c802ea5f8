#include <gtest/gtest.h>

#include <QApplication>

int main(int argc, char** argv) {
    // A real screen, such as "xcb", only where it is asked for: figures are taken there.
    const QByteArray platform = qgetenv("TARNVALE_TEST_PLATFORM");
    qputenv("QT_QPA_PLATFORM", platform.isEmpty() ? QByteArray("offscreen") : platform);
    const QApplication application(argc, argv);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
