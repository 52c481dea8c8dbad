#include "pages/FormatsFrame.h"

#include "model/ExtensionFilter.h"

#include "ui_FormatsFrame.h"

#include <utility>

FormatsFrame::FormatsFrame(QWidget* parent)
    : QWidget(parent), ui(std::make_unique<Ui::FormatsFrame>()) {
    ui->setupUi(this);
    connect(ui->rbAll, &QRadioButton::clicked, this, &FormatsFrame::setCheckboxes);
    connect(ui->rbSome, &QRadioButton::clicked, this, &FormatsFrame::setCheckboxes);
    setCheckboxes(false);
    ui->rbAll->setChecked(true);
}

FormatsFrame::~FormatsFrame() = default;

void FormatsFrame::setCheckboxes(bool state) {
    const bool enabled = sender() != nullptr ? sender() == ui->rbSome : state;
    for (QCheckBox* box : findChildren<QCheckBox*>())
        box->setEnabled(enabled);
}

void FormatsFrame::getFilter(QSet<QString>& allowed, QSet<QString>& denied) const {
    using Family = ExtensionFilter::Family;
    ExtensionFilter filter = ExtensionFilter::everything();
    if (!ui->rbAll->isChecked()) {
        QList<Family> wanted;
        for (const auto& [box, family] : {
                 std::pair(ui->cbDocuments, Family::Documents),
                 std::pair(ui->cbPictures, Family::Pictures),
                 std::pair(ui->cbVideos, Family::Videos),
                 std::pair(ui->cbSounds, Family::Sounds),
                 std::pair(ui->cbPrograms, Family::Programs),
                 std::pair(ui->cbOther, Family::Other),
             }) {
            if (box->checkState() != Qt::Unchecked)
                wanted.append(family);
        }
        filter = ExtensionFilter::of(wanted);
    }
    allowed.unite(filter.allowed());
    denied.unite(filter.denied());
}

bool FormatsFrame::hasSelection() const {
    QSet<QString> allowed;
    QSet<QString> denied;
    getFilter(allowed, denied);
    return !allowed.isEmpty();
}
