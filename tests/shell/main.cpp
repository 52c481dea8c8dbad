#include "app/identity.h"

#include <QApplication>

#include <gtest/gtest.h>

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    testing::InitGoogleTest(&argc, argv);
    const QApplication application(argc, argv);
    setIdentity();
    // One test's last window must not end the event loop of the next.
    QApplication::setQuitOnLastWindowClosed(false);
    return RUN_ALL_TESTS();
}
