#include "pages/AboutWidget.h"

#include "pages/homePage.h"
#include "platform/desktop/OpenUrl.h"

#include "ui_AboutWidget.h"

#include <QCoreApplication>

AboutWidget::AboutWidget(QWidget* parent)
    : QWidget(parent), ui(std::make_unique<Ui::AboutWidget>()) {
    ui->setupUi(this);
    ui->version->setText(tr("version: ") + QCoreApplication::applicationVersion());
    connect(ui->title, &QPushButton::clicked, this, &AboutWidget::onTitleClicked);
}

AboutWidget::~AboutWidget() = default;

void AboutWidget::onTitleClicked() {
    openUrl(QString::fromLatin1(kHomePage));
}
