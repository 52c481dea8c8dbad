#include <gtest/gtest.h>

#include <QCoreApplication>

int main(int argc, char** argv) {
    // The worker processes the events of its thread.
    const QCoreApplication application(argc, argv);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
