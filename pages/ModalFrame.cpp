#include "pages/ModalFrame.h"

#include "pages/firstFocus.h"

#include "ui_ModalFrame.h"

#include <QEvent>
#include <QMetaMethod>
#include <QPointer>
#include <QShortcut>

namespace {

/// To what had it, unless the window has gone on to another page meanwhile.
void giveFocusBack(const QWidget& blocked, QWidget* before) {
    const bool inSight = before != nullptr && before->isVisible() && before->isEnabled();
    QWidget* const target = inSight ? before : firstFocus(blocked);
    if (target != nullptr)
        target->setFocus();
}

} // namespace

ModalFrame::ModalFrame(QWidget* content, QWidget* blocked, QWidget* parent)
    : QFrame(parent), ui(std::make_unique<Ui::ModalFrame>()), blockedWidget(blocked) {
    ui->setupUi(this);
    setAttribute(Qt::WA_NoMousePropagation);

    const QPointer<QWidget> focusBefore = parent->window()->focusWidget();
    blockedWidget->setEnabled(false);

    overlay = new QWidget(parent);
    overlay->setObjectName(QStringLiteral("_overlay"));
    overlay->setStyleSheet(QStringLiteral("#_overlay { background-color: rgba(0, 0, 0, 70%); }"));
    overlay->installEventFilter(this);
    overlay->setWindowModality(Qt::ApplicationModal);
    overlay->raise();
    overlay->show();

    content->setParent(this);
    ui->layout->addWidget(content);
    content->show();
    content->raise();

    adjustSize();
    updatePosition(parent->size());
    raise();

    connect(this, &QObject::destroyed, parent, qOverload<>(&QWidget::update));
    connect(this, &QObject::destroyed, overlay, &QObject::deleteLater);
    connect(this, &ModalFrame::unblock, blockedWidget, &QWidget::setEnabled);
    connect(content, &QObject::destroyed, this, &QObject::deleteLater);
    connect(ui->closeModal, &QPushButton::clicked, this, &QObject::deleteLater);
    followContent(*content);

    auto* escape = new QShortcut(Qt::Key_Escape, this);
    connect(escape, &QShortcut::activated, this, [this] {
        if (allowsClose())
            deleteLater();
    });
    takeFocus(*content);
    connect(this, &QObject::destroyed, blockedWidget,
            [blocked, focusBefore] { giveFocusBack(*blocked, focusBefore); });
}

ModalFrame::~ModalFrame() {
    emit unblock(true);
}

void ModalFrame::updatePosition(QSize parentSize) {
    overlay->setFixedSize(parentSize);
    QRect place = geometry();
    place.moveCenter(overlay->geometry().center());
    setGeometry(place);
}

void ModalFrame::setAllowClose(bool allow) {
    ui->closeModal->setVisible(allow);
}

bool ModalFrame::eventFilter(QObject* watched, QEvent* event) {
    if (watched == overlay && event->type() == QEvent::MouseButtonRelease && allowsClose()) {
        deleteLater();
        return true;
    }
    return QObject::eventFilter(watched, event);
}

bool ModalFrame::allowsClose() const {
    return ui->closeModal->isVisible();
}

/// By name, as content is any widget.
void ModalFrame::followContent(const QWidget& content) {
    const QMetaObject& meta = *content.metaObject();
    const int signal = meta.indexOfSignal("modalAllowClose(bool)");
    if (signal < 0)
        return;
    const int slot = staticMetaObject.indexOfSlot("setAllowClose(bool)");
    connect(&content, meta.method(signal), this, staticMetaObject.method(slot));
}

void ModalFrame::takeFocus(const QWidget& content) {
    QWidget* const first = firstFocus(content);
    (first != nullptr ? first : ui->closeModal)->setFocus();
}
