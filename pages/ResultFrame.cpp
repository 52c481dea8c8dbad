#include "pages/ResultFrame.h"

#include "engine/ZMemoryStream.h"
#include "model/FileModel.h"
#include "model/NameDelegate.h"
#include "model/counted.h"
#include "model/texts.h"
#include "pages/BusyCursor.h"
#include "pages/NameColumnHeader.h"
#include "pages/RecoveryWidget.h"
#include "platform/Drives.h"
#include "platform/Folder.h"
#include "ui_ResultFrame.h"
#include "workers/promiseTexts.h"
#include "workers/scanTexts.h"
#include "workers/stateTexts.h"
#include "workers/writeTrial.h"

#include <QCursor>
#include <QDebug>
#include <QDir>
#include <QFileDialog>
#include <QMenu>
#include <QMessageBox>
#include <QPushButton>
#include <QShortcut>

#include <algorithm>
#include <chrono>
#include <utility>
#include <vector>

namespace {

/// The largest file that is previewed, in bytes.
constexpr kova::uint64 kMostPreviewedBytes = 20971520;

/// Of a level of the tree, in logical pixels: names of files found lie deep.
constexpr int kIndentation = 14;

/// A drive that fails may take forever over a file; the window waits no longer.
constexpr auto kMostReadingTime = std::chrono::seconds(10);

/// "C:" at the end of "\\.\C:".
constexpr int kDrivePrefixLength = 2;

/// Lets nobody wait for a drive for long: reading from `media` throws from some time on.
class ReadingTime {
public:
    explicit ReadingTime(kova::ZCustomMedia& media) : media_(media) {
        media_.setReadHook([end = std::chrono::steady_clock::now() + kMostReadingTime] {
            if (std::chrono::steady_clock::now() > end)
                throw 0;
        });
    }

    ReadingTime(const ReadingTime&) = delete;
    ReadingTime& operator=(const ReadingTime&) = delete;

    ~ReadingTime() { media_.setReadHook({}); }

private:
    kova::ZCustomMedia& media_;
};

std::unique_ptr<Ui::ResultFrame> makeForm(ResultFrame& page) {
    auto form = std::make_unique<Ui::ResultFrame>();
    form->setupUi(&page);
    return form;
}

} // namespace

ResultFrame::ResultFrame(QWidget* parent)
    : QWidget(parent), ui(makeForm(*this)), header_(new NameColumnHeader), files_(*ui->tree) {
    setFocusProxy(ui->tree);
    // The tree comes first, also for who looks for the first that takes the focus.
    ui->horSplitter->lower();
    ui->tree->lower();
    ui->tree->setHeader(header_);
    ui->tree->setItemDelegate(new NameDelegate(ui->tree));
    ui->tree->setTextElideMode(Qt::ElideMiddle); // Numbers and suffixes tell files apart.
    ui->tree->setIndentation(kIndentation);
    ui->cmbView->hide();
    ui->edtSearch->setEnabled(false);
    chooseDirectory_ = [this](const QString& start) {
        return QFileDialog::getExistingDirectory(this, tr("Select output directory"), start,
                                                 QFileDialog::ShowDirsOnly |
                                                     QFileDialog::DontResolveSymlinks);
    };
    connect(ui->tree, &QTreeView::clicked, this, &ResultFrame::onItemClicked);
    connect(&files_, &FoundFiles::selectionChanged, this, &ResultFrame::showSum);
    connect(ui->edtSearch, &SearchLine::textChanged, this, &ResultFrame::search);
    connect(ui->edtSearch, &SearchLine::left, ui->tree, qOverload<>(&QWidget::setFocus));
    const auto* find = new QShortcut(QKeySequence::Find, this);
    connect(find, &QShortcut::activated, ui->edtSearch, [this] {
        ui->edtSearch->setFocus();
        ui->edtSearch->selectAll();
    });
    connect(ui->horSplitter, &QSplitter::splitterMoved, this, &ResultFrame::onHorSplitterMoved);
    connect(ui->btnSearch, &QPushButton::clicked, this, &ResultFrame::searchRequested);

    recoverAction_ = new QAction(tr("Recover the file(s)..."), this);
    asTextAction_ = new QAction(tr("as text"), this);
    asSoundAction_ = new QAction(tr("as sound"), this);
    asImageAction_ = new QAction(tr("as image"), this);
    connect(ui->tree, &QTreeView::customContextMenuRequested, this,
            &ResultFrame::customContextMenuRequested);
    connect(recoverAction_, &QAction::triggered, this, &ResultFrame::recoverSelectedFiles);
    connect(asTextAction_, &QAction::triggered, this, &ResultFrame::previewText);
    connect(asSoundAction_, &QAction::triggered, this, &ResultFrame::previewSound);
    connect(asImageAction_, &QAction::triggered, this, &ResultFrame::previewImage);
}

ResultFrame::~ResultFrame() {
    cleanup();
}

void ResultFrame::setDecoderProgram(std::wstring path) {
    ui->previewStack->setDecoderProgram(std::move(path));
}

void ResultFrame::setDirectoryChooser(DirectoryChooser chooser) {
    chooseDirectory_ = std::move(chooser);
}

void ResultFrame::init(kova::ZVolume* volume, kova::ZFileTree* tree) {
    if (hasVolume() || found_.tree() != nullptr)
        cleanup();
    found_ = ScannedVolume(volume, tree);
    ui->wgtSearch->hide();
    if (hasVolume()) {
        ui->lblFailure->hide();
        ui->horSplitter->show();
    }
    ui->lblSubtitle->setText(volume == nullptr ? tr("Results")
                                               : tr("Results for drive ") + drivePrefix());
    showGaps();
    if (tree == nullptr)
        return;
    if (hasVolume())
        showThatNothingWasFound();

    files_.show(*tree);
    ui->edtSearch->setEnabled(showsTree());
    header_->fitColumns();
    if (takenTree_ == tree)
        place_.applyTo(*ui->tree);
    takenTree_ = nullptr;
}

ScannedVolume ResultFrame::takeResults() {
    ui->edtSearch->clear(); // Shows all again, as it was before.
    place_ = TreePlace(*ui->tree);
    takenTree_ = found_.tree();
    ScannedVolume results = std::move(found_);
    cleanup();
    return results;
}

void ResultFrame::offerSearch(const std::optional<QString>& duration) {
    const QString words = duration.value_or(QString());
    ui->lblSearchTime->setText(words.isEmpty() ? words : tr("Takes %1").arg(words));
    ui->wgtSearch->setVisible(duration.has_value());
}

/// A list with gaps looks like any other.
void ResultFrame::showGaps() {
    QStringList gaps;
    const kova::ZCustomMedia* media = found_.media();
    if (media != nullptr && media->wasRemoved())
        gaps += tr("The drive was removed during the scan: this is not all there is.");
    else if (media != nullptr && media->unreadableSectors() > 0)
        gaps += tr("%1 of the drive's sectors could not be read: files may be missing.")
                    .arg(media->unreadableSectors());
    if (hasVolume()) {
        for (const kova::VolumeNote note : found_.volume()->notes())
            gaps += sentence(textOf(note));
    }
    ui->lblGaps->setText(gaps.join(QLatin1Char('\n')));
    ui->lblGaps->setVisible(!gaps.isEmpty());
}

/// An empty tree looks as if it were still to come.
void ResultFrame::showThatNothingWasFound() {
    const auto& nodes = found_.tree()->allNodes();
    const auto isFile = [](const auto& entry) { return !entry.second.isDirectory; };
    if (std::any_of(nodes.begin(), nodes.end(), isFile))
        return;
    const QString hint = tr("If only some types of files were searched for, others may be there: "
                            "scan again for any deleted file.");
    const bool onlyRoot = std::all_of(nodes.begin(), nodes.end(), [this](const auto& entry) {
        return entry.first == found_.tree()->rootId;
    });
    if (!onlyRoot) {
        const QString gaps = ui->lblGaps->isHidden() ? QString() : ui->lblGaps->text();
        ui->lblGaps->setText(QStringList{gaps, tr("Only folders were found. ") + hint}.join(
            gaps.isEmpty() ? QString() : QStringLiteral("\n")));
        ui->lblGaps->show();
        return;
    }
    ui->lblFailure->setText(tr("No deleted files were found.") + QStringLiteral("\n\n") + hint);
    ui->horSplitter->hide();
    ui->lblFailure->show();
}

void ResultFrame::showFailure(const QString& reason) {
    ui->lblFailure->setText(reason);
    ui->lblGaps->hide();
    ui->horSplitter->hide();
    ui->edtSearch->setEnabled(false);
    ui->lblFailure->show();
}

bool ResultFrame::showsTree() const {
    return !ui->horSplitter->isHidden();
}

void ResultFrame::cleanup() {
    stopRecovery();
    previewStop();
    ui->edtSearch->clear();
    ui->edtSearch->setEnabled(false);
    files_.clear();
    ui->lblFailure->hide();
    ui->lblGaps->hide();
    ui->lblState->hide();
    ui->wgtSearch->hide();
    ui->horSplitter->show();
    found_.reset();
}

void ResultFrame::customContextMenuRequested(QPoint /*pos*/) {
    auto* menu = new QMenu(this);
    auto* preview = new QMenu(tr("Force preview"), menu);
    preview->addAction(asTextAction_);
    preview->addAction(asSoundAction_);
    preview->addAction(asImageAction_);
    menu->addAction(recoverAction_);
    menu->addSeparator();
    menu->addMenu(preview);
    menu->exec(QCursor::pos());
    menu->deleteLater();
}

void ResultFrame::recoverSelectedFiles() {
    if (files_.listing() == nullptr || !hasVolume() || isRecovering())
        return;
    RecoveryList list = askForSelection();
    if (list.ranges.empty())
        return;
    const QString directory = chooseDirectory_(lastOutputDir);
    // Events have been processed meanwhile.
    if (directory.isEmpty() || !hasVolume() || isRecovering())
        return;
    if (liesOnScannedDrive(directory)) {
        notify(tr("Please, select another logical drive to avoid overwriting of your deleted "
                  "files"));
        return;
    }
    if (const platform::Failure refusal = tryWriting(toWide(directory))) {
        notify(
            tr("Nothing can be written to \"%1\" (%2). Please, select another directory")
                .arg(displayName(QDir::toNativeSeparators(directory)), toQString(refusal.words)));
        return;
    }
    lastOutputDir = directory;
    if (!askAboutPromise(list) || !askForRoom(directory, list))
        return;
    startRecovery(directory, std::move(list));
}

RecoveryList ResultFrame::askForSelection() {
    RecoveryList list{files_.listing(), files_.selected(), {}, nullptr};
    if (list.ranges.empty()) {
        notify(tr("Please, select files you want to recover"));
        return list;
    }
    const kova::int64 all = files_.sumOf(list.ranges).files;
    const kova::int64 shown = files_.shownSumOf(list.ranges).files;
    if (all == shown)
        return list;
    const QString question =
        tr("The search hides %1 of the %2 that are selected or lie in a selected folder.")
            .arg(all - shown)
            .arg(counted(all, "file"));
    const auto answer = shown == 0 ? ask(question, tr("Recover all"))
                                   : ask(question, tr("Recover all"), tr("Only what is shown"));
    if (answer == QMessageBox::No)
        list.leftOut = files_.hidden();
    else if (answer != QMessageBox::Yes)
        list.ranges.clear();
    return list;
}

/// Files that come to more than the drive cannot all be what they were.
bool ResultFrame::askAboutPromise(const RecoveryList& list) {
    const QString warning = warningOfPromise(promisedBytes(list), found_.media()->sizeBytes());
    return warning.isEmpty() || ask(tr("%1 Recover them all the same?").arg(sentence(warning)),
                                    tr("Recover")) == QMessageBox::Yes;
}

/// Sizes are what the volume says, and what is left on a drive changes: the user may know better.
bool ResultFrame::askForRoom(const QString& directory, const RecoveryList& list) {
    platform::Folder folder;
    folder.open(toWide(directory));
    const kova::uint64 needed = promisedBytes(list);
    const kova::uint64 room = folder.freeSpace().value_or(needed);
    if (needed <= room)
        return true;
    return ask(tr("The selected files come to %1, but \"%2\" has room for %3 only. Recover what "
                  "fits?")
                   .arg(formatSize(static_cast<kova::int64>(needed)),
                        displayName(QDir::toNativeSeparators(directory)),
                        formatSize(static_cast<kova::int64>(room))),
               tr("Recover")) == QMessageBox::Yes;
}

/// Asks a question that is answered by Yes and, unless its text is empty, No, or by Cancel. So it
/// is when what it is about is gone meanwhile.
QMessageBox::StandardButton ResultFrame::ask(const QString& question, const QString& yes,
                                             const QString& no) {
    QMessageBox box(QMessageBox::Question, QStringLiteral(" "), question,
                    QMessageBox::Yes | QMessageBox::Cancel, this);
    box.button(QMessageBox::Yes)->setText(yes);
    if (!no.isEmpty())
        box.addButton(QMessageBox::No)->setText(no);
    box.setDefaultButton(QMessageBox::Cancel);
    const auto answer = static_cast<QMessageBox::StandardButton>(box.exec());
    return hasVolume() && !isRecovering() ? answer : QMessageBox::Cancel;
}

void ResultFrame::search() {
    const kova::int64 found = files_.search(ui->edtSearch->text());
    ui->lblFound->setText(files_.isSearching() ? tr("%1 found").arg(found) : QString());
}

/// Says what a recovery would write.
void ResultFrame::showSum() {
    const std::vector<kova::ZTreeListing::Range> ranges = files_.selected();
    if (ranges.empty()) {
        ui->lblSelected->setText({});
        return;
    }
    const FileSum sum = files_.sumOf(ranges);
    const kova::int64 hidden = sum.files - files_.shownSumOf(ranges).files;
    ui->lblSelected->setText(
        tr("Selected: %1, %2")
            .arg(counted(sum.files, "file"), formatSize(static_cast<kova::int64>(sum.bytes))) +
        (hidden == 0 ? QString() : tr(" (%1 hidden by the search)").arg(hidden)));
}

QString ResultFrame::drivePrefix() const {
    return toQString(found_.media()->path()).right(kDrivePrefixLength);
}

/// By its spelling, and by the device it really lies on: a drive may be mounted anywhere. Where
/// nothing tells the device, it may be that one.
bool ResultFrame::liesOnScannedDrive(const QString& directory) const {
    const QString prefix = drivePrefix();
    if (prefix.size() < kDrivePrefixLength)
        return false;
    return directory.startsWith(prefix) ||
           platform::liesOnDrive(toWide(directory), prefix.front().toLatin1()) ||
           !platform::unknownPlace(toWide(directory)).empty();
}

void ResultFrame::notify(const QString& text) {
    QMessageBox::information(this, QStringLiteral(" "), text, QMessageBox::Ok,
                             QMessageBox::NoButton);
}

void ResultFrame::startRecovery(const QString& directory, RecoveryList list) {
    QString outputDir = directory;
    while (outputDir.size() > 1 && outputDir.endsWith(QLatin1Char('/')))
        outputDir.chop(1);

    recovery_.reset(); // The last worker has finished, its thread perhaps not yet.
    recovery_ = std::make_unique<RecoveryRun>(found_, outputDir, std::move(list));
    auto* widget = new RecoveryWidget;
    widget->setOutputDirectory(outputDir);
    recoveryWidget_ = widget;

    const RecoveryWorker* worker = &recovery_->worker();
    connect(worker, &RecoveryWorker::progressChanged, widget, &RecoveryWidget::progressChanged);
    connect(worker, &RecoveryWorker::statusChanged, widget, &RecoveryWidget::statusChanged);
    connect(worker, &RecoveryWorker::fileStarted, widget, &RecoveryWidget::fileStarted);
    connect(worker, &RecoveryWorker::fileReported, widget, &RecoveryWidget::fileReported);
    connect(worker, &RecoveryWorker::ended, widget, &RecoveryWidget::setOutcome);
    connect(worker, &RecoveryWorker::finished, widget, &RecoveryWidget::finished);
    connect(widget, &RecoveryWidget::cancel, recovery_.get(), &RecoveryRun::stop);
    connect(widget, &RecoveryWidget::cancelAtOnce, recovery_.get(), &RecoveryRun::interrupt);
    // Its frame may be closed until the worker first reports.
    connect(widget, &QObject::destroyed, recovery_.get(), &RecoveryRun::interrupt);
    connect(recovery_.get(), &RecoveryRun::finished, this, &ResultFrame::onRecoveryFinished);

    emit showOverlay(widget);
    recovery_->start();
}

void ResultFrame::onRecoveryFinished(const RecoveryOutcome& outcome) {
    if (recoveryWidget_ == nullptr)
        notify(tr("The recovery was stopped. %1 recovered, %2 not.")
                   .arg(counted(outcome.complete, "complete file"))
                   .arg(outcome.files - outcome.complete));
}

void ResultFrame::stopRecovery() {
    recovery_.reset();
}

void ResultFrame::onItemClicked(QModelIndex index) {
    if (!isRecovering())
        showState(index);
    if (prepareForPreview(index))
        previewFile(getPreviewType(previewName));
}

/// Says how much of what is clicked is still its own.
void ResultFrame::showState(const QModelIndex& index) {
    const auto* model = qobject_cast<const FileModel*>(ui->tree->model());
    const kova::ZFileTreeNode* node = model == nullptr ? nullptr : model->nodeFromIndex(index);
    QString words;
    if (node != nullptr && !node->isDirectory && hasVolume()) {
        const BusyCursor busy;
        const ReadingTime limited(*found_.media());
        try {
            words = stateInWords(found_.volume()->assessContent(*node));
        } catch (...) {
            words.clear(); // It took too long, or could not be told.
        }
    }
    ui->lblState->setText(words);
    ui->lblState->setVisible(!words.isEmpty());
}

bool ResultFrame::prepareForPreview(QModelIndex index) {
    // A recovery reads the volume in another thread.
    if (isRecovering() || (index == lastPreviewedIndex && lastPreviewedModel_ != nullptr) ||
        !isPreviewEnabled())
        return false;
    lastPreviewedIndex = index;
    lastPreviewedModel_ = index.model();
    try {
        previewStop();
        ui->previewStack->setFile(readForPreview(index));
        return true;
    } catch (const QString& reason) {
        previewError(reason);
    } catch (...) {
        previewError(tr("An error has occurred while trying to preview the file"));
    }
    return false;
}

std::vector<kova::uint8> ResultFrame::readForPreview(const QModelIndex& index) {
    const auto* model = qobject_cast<const FileModel*>(ui->tree->model());
    const kova::ZFileTreeNode* node = model == nullptr ? nullptr : model->nodeFromIndex(index);
    if (node == nullptr || node->isDirectory || !hasVolume())
        throw tr("Please, select a file");
    previewName = toQString(node->name);
    qDebug() << "Previewing:" << previewName;
    if (static_cast<kova::uint64>(node->size) > kMostPreviewedBytes)
        throw tr("Preview system doesn't support files larger than ") +
            formatSize(kMostPreviewedBytes);
    const BusyCursor busy;
    const ReadingTime limited(*found_.media());
    kova::ZMemoryStream stream;
    // What a drive that was removed no longer gave is zeros, and no content of the file.
    if (!found_.volume()->extract(*node, &stream) || found_.media()->wasRemoved())
        throw tr("Can't recover file for preview");
    if (stream.bytes().empty())
        throw tr("The file is empty");
    return std::move(stream.bytes());
}

PreviewType::T ResultFrame::getPreviewType(const QString& fileName) {
    return previewTypeOf(fileName);
}

void ResultFrame::previewFile(PreviewType::T type) {
    ui->previewStack->showAs(type);
}

void ResultFrame::previewText() {
    ui->previewStack->showText();
}

void ResultFrame::previewImage() {
    ui->previewStack->showPicture();
}

void ResultFrame::previewSound() {
    ui->previewStack->showSound();
}

void ResultFrame::previewError(const QString& message) {
    ui->previewStack->showMessage(message);
}

void ResultFrame::previewStop() {
    ui->previewStack->clear();
}

bool ResultFrame::isPreviewEnabled() {
    return ui->previewStack->hasRoom();
}

void ResultFrame::onHorSplitterMoved() {
    ui->previewStack->fitPicture();
}

void ResultFrame::playerPlay() {
    ui->previewStack->player().play();
}

void ResultFrame::playerStop() {
    ui->previewStack->player().stop();
}

void ResultFrame::playerSetState(bool playing) {
    ui->previewStack->player().setPlaying(playing);
}

void ResultFrame::playerOnTimer() {
    ui->previewStack->player().follow();
}

void ResultFrame::playerSetPos() {
    ui->previewStack->player().seek();
}
