#pragma once

#include <QWidget>

#include <memory>

namespace Ui {
class WelcomeFrame;
}

/// The page that greets.
class WelcomeFrame : public QWidget {
    Q_OBJECT

public:
    explicit WelcomeFrame(QWidget* parent = nullptr);
    WelcomeFrame(const WelcomeFrame&) = delete;
    WelcomeFrame& operator=(const WelcomeFrame&) = delete;
    ~WelcomeFrame() override;

private:
    std::unique_ptr<Ui::WelcomeFrame> ui;
};
