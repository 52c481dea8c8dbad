#include <gtest/gtest.h>

#include <QCoreApplication>

int main(int argc, char** argv) {
    const QCoreApplication application(argc, argv); // Processes need it.
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
