#include <QApplication>

#include <gtest/gtest.h>

int main(int count, char** arguments) {
    // Set here and not by whoever runs the program: it is also asked for its list of tests.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    testing::InitGoogleTest(&count, arguments);
    const QApplication application(count, arguments);
    return RUN_ALL_TESTS();
}
