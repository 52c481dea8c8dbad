#include "pages/WelcomeFrame.h"

#include "ui_WelcomeFrame.h"

WelcomeFrame::WelcomeFrame(QWidget* parent)
    : QWidget(parent), ui(std::make_unique<Ui::WelcomeFrame>()) {
    ui->setupUi(this);
}

WelcomeFrame::~WelcomeFrame() = default;
