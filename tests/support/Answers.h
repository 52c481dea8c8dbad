#pragma once

#include <QApplication>
#include <QMessageBox>
#include <QPushButton>
#include <QStringList>
#include <QTest>
#include <QTimer>

#include <gtest/gtest.h>

/// While it lives, presses one button in every message box that comes up.
class Answers {
public:
    explicit Answers(QMessageBox::StandardButton button) : button_(button) {
        QObject::connect(&timer_, &QTimer::timeout, [this] {
            auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
            if (box == nullptr)
                return;
            EXPECT_EQ(box->windowTitle(), QStringLiteral(" "));
            texts_.append(box->text());
            QTest::mouseClick(box->button(button_), Qt::LeftButton);
        });
        timer_.start(1);
    }

    void press(QMessageBox::StandardButton button) { button_ = button; }

    /// What the boxes said since the last call.
    QStringList takeTexts() { return std::exchange(texts_, {}); }

private:
    QMessageBox::StandardButton button_;
    QTimer timer_;
    QStringList texts_;
};
