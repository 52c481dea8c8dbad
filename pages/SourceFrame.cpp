#include "pages/SourceFrame.h"

#include "model/texts.h"
#include "platform/desktop/DriveSignals.h"

#include "ui_SourceFrame.h"

#include <QIcon>
#include <QLabel>
#include <QLocale>
#include <QMessageBox>
#include <QScrollBar>
#include <QShortcut>
#include <QTimer>
#include <QVBoxLayout>
#include <QVariant>

#include <utility>

namespace {

constexpr int kRefreshMilliseconds = 2000;
/// A drive that comes is told of by several signals.
constexpr int kSettleMilliseconds = 100;
constexpr int kRowHeight = 24;

/// What an item holds besides its text and icon.
constexpr int kLetterRole = Qt::UserRole;
constexpr int kRemovableRole = Qt::UserRole + 1;
constexpr int kDetailsRole = Qt::AccessibleDescriptionRole;

/// The list's own sheet reaches its scroll bar and leaves nothing of it to be seen.
constexpr const char* kScrollBarSheet = R"(
QScrollBar { margin: 0; width: 12px; background: #f0f0f0; }
QScrollBar::handle { margin: 2px; min-height: 20px; border-radius: 4px; background: #a0a0a0; }
QScrollBar::handle:hover { background: #707070; }
QScrollBar::add-line, QScrollBar::sub-line { height: 0; })";

QListWidgetItem* newItem(const DriveInfo& drive) {
    const QString icon = drive.removable != 0 ? QStringLiteral(":/icons/24/flashdisk")
                                              : QStringLiteral(":/icons/24/harddisk");
    auto* item = new QListWidgetItem(QIcon(icon), drive.label);
    item->setSizeHint(QSize(0, kRowHeight));
    item->setData(kLetterRole, int(drive.letter));
    item->setData(kRemovableRole, drive.removable);
    item->setData(kDetailsRole, drive.details);
    item->setToolTip(QStringLiteral("<qt>%1<br>%2</qt>")
                         .arg(drive.label.toHtmlEscaped(), drive.details.toHtmlEscaped()));
    return item;
}

QString detailsOf(const platform::Drive& drive) {
    QStringList details;
    if (!drive.model.empty())
        details += displayName(toQString(drive.model));
    if (drive.kind == platform::DriveKind::Removable)
        details += SourceFrame::tr("removable");
    if (!drive.fileSystem.empty())
        details += QString::fromStdString(drive.fileSystem);
    if (drive.sizeBytes != 0)
        details += QLocale::c().formattedDataSize(static_cast<qint64>(drive.sizeBytes), 1,
                                                  QLocale::DataSizeTraditionalFormat);
    if (!drive.device.empty())
        details += displayName(toQString(drive.device));
    return details.join(QStringLiteral(", "));
}

} // namespace

SourceFrame::SourceFrame(QWidget* parent, DriveSource drives)
    : QWidget(parent), ui(std::make_unique<Ui::SourceFrame>()), drives_(std::move(drives)) {
    ui->setupUi(this);
    ui->lstSource->verticalScrollBar()->setStyleSheet(QString::fromLatin1(kScrollBarSheet));
    addNoDrivesLabel();
    showSources();

    auto* refresh = new QTimer(this);
    connect(refresh, &QTimer::timeout, this, &SourceFrame::showSources);
    refresh->start(kRefreshMilliseconds);

    // The list's own `activated` would come together with a double click on some desktops and
    // with a single one on others.
    connect(ui->lstSource, &QListWidget::doubleClicked, this, &SourceFrame::sourceSelected);
    for (const Qt::Key key : {Qt::Key_Return, Qt::Key_Enter}) {
        auto* enter = new QShortcut(key, ui->lstSource);
        enter->setContext(Qt::WidgetShortcut);
        enter->setAutoRepeat(false);
        connect(enter, &QShortcut::activated, this, &SourceFrame::onEnterPressed);
    }

    auto* settle = new QTimer(this);
    settle->setSingleShot(true);
    settle->setInterval(kSettleMilliseconds);
    connect(settle, &QTimer::timeout, this, &SourceFrame::showSources);
    connectDriveSignals(settle, SLOT(start()));
}

SourceFrame::~SourceFrame() = default;

void SourceFrame::addNoDrivesLabel() {
    noDrives_ = new QLabel(tr("No drive was found that can be searched.\n\n"
                              "Connect the drive, or put in the memory card, that your files were "
                              "on: it is listed here as soon as it is ready. Its file system has "
                              "to be NTFS, exFAT or FAT."));
    noDrives_->setStyleSheet(QStringLiteral("font: 13px 'Open Sans';"));
    noDrives_->setWordWrap(true);
    noDrives_->setAlignment(Qt::AlignLeft | Qt::AlignTop);
    noDrives_->setAttribute(Qt::WA_TransparentForMouseEvents);
    auto* layout = new QVBoxLayout(ui->lstSource->viewport());
    layout->addWidget(noDrives_);
}

/// The arrow keys' drive is framed before it is selected, and Enter means the one framed.
void SourceFrame::onEnterPressed() {
    if (selectedLetter() == 0 && ui->lstSource->currentItem() != nullptr)
        ui->lstSource->currentItem()->setSelected(true);
    emit sourceSelected();
}

void SourceFrame::listDrives(QList<DriveInfo>& out) const {
    for (const platform::Drive& drive : drives_()) {
        if (drive.kind == platform::DriveKind::Other)
            continue;
        DriveInfo info;
        info.label =
            QStringLiteral("%1 (%2:)")
                .arg(displayName(toQString(drive.volumeName)), QString(QLatin1Char(drive.letter)));
        info.letter = drive.letter;
        info.removable = drive.kind == platform::DriveKind::Removable ? 1 : 0;
        info.details = detailsOf(drive);
        out.append(info);
    }
}

void SourceFrame::showSources() {
    QList<DriveInfo> drives;
    listDrives(drives);
    // Left alone while nothing has changed, so that a double click is not cut in two and a long
    // list stays where it was scrolled to.
    if (!shows(drives))
        fill(drives);
    noDrives_->setVisible(drives.isEmpty());
    ui->lstSource->setAccessibleDescription(drives.isEmpty() ? noDrives_->text() : QString());
}

bool SourceFrame::shows(const QList<DriveInfo>& drives) const {
    const QListWidget& list = *ui->lstSource;
    if (list.count() != drives.size())
        return false;
    for (int row = 0; row < list.count(); ++row) {
        const QListWidgetItem& item = *list.item(row);
        const DriveInfo& drive = drives[row];
        if (item.text() != drive.label || item.data(kLetterRole).toInt() != drive.letter ||
            item.data(kRemovableRole).toInt() != drive.removable ||
            item.data(kDetailsRole).toString() != drive.details)
            return false;
    }
    return true;
}

void SourceFrame::fill(const QList<DriveInfo>& drives) {
    QListWidget& list = *ui->lstSource;
    const QList<QListWidgetItem*> selected = list.selectedItems();
    const QString chosen = selected.isEmpty() ? QString() : selected.constFirst()->text();
    list.clear();
    for (const DriveInfo& drive : drives)
        list.addItem(newItem(drive));
    if (chosen.isEmpty())
        return;
    for (QListWidgetItem* item : list.findItems(chosen, Qt::MatchExactly))
        list.setCurrentItem(item); // Selects it, and the arrow keys go on from there.
}

char SourceFrame::selectedLetter() const {
    const QList<QListWidgetItem*> selected = ui->lstSource->selectedItems();
    return selected.isEmpty() ? char(0)
                              : static_cast<char>(selected.constFirst()->data(kLetterRole).toInt());
}

bool SourceFrame::validateSelection() {
    const char letter = selectedLetter();
    if (letter == 0) {
        QMessageBox::information(this, QStringLiteral(" "), tr("Please, select drive to scan"));
        return false;
    }
    setProperty("volumeLetter", int(letter));
    return true;
}
