#pragma once

#include <QWidget>

#include <memory>

namespace Ui {
class AboutWidget;
}

/// What this program is: its logo, name, version and copyright.
class AboutWidget : public QWidget {
    Q_OBJECT

public:
    explicit AboutWidget(QWidget* parent = nullptr);
    AboutWidget(const AboutWidget&) = delete;
    AboutWidget& operator=(const AboutWidget&) = delete;
    ~AboutWidget() override;

public slots:
    /// Opens the product's home page in the browser.
    void onTitleClicked();

private:
    std::unique_ptr<Ui::AboutWidget> ui;
};
