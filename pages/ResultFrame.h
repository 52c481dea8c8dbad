#pragma once

#include "pages/FoundFiles.h"
#include "pages/PreviewType.h"
#include "pages/TreePlace.h"
#include "workers/RecoveryList.h"
#include "workers/RecoveryRun.h"
#include "workers/ScannedVolume.h"

#include <QAction>
#include <QMessageBox>
#include <QModelIndex>
#include <QPointer>
#include <QWidget>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Ui {
class ResultFrame;
} // namespace Ui

class NameColumnHeader;
class RecoveryWidget;

/// Shows what a scan found, previews the file that is clicked and recovers what is selected.
///
/// A preview is made while the click is handled: the file is read into memory and shown by the
/// `PreviewPane`. The slots that say how only lead there.
///
/// A recovery runs in a thread of its own and reads the volume and the tree, which the page owns;
/// they are not freed before that thread has ended. Meanwhile the page only reads what a settled
/// tree holds.
class ResultFrame : public QWidget {
    Q_OBJECT

public:
    /// Asks the user for a directory, starting from the given one; empty when there is no answer.
    using DirectoryChooser = std::function<QString(const QString& start)>;

    explicit ResultFrame(QWidget* parent = nullptr);
    ResultFrame(const ResultFrame&) = delete;
    ResultFrame& operator=(const ResultFrame&) = delete;
    ~ResultFrame() override;

    /// True from `init` with a volume until `cleanup`: there is something to recover from.
    [[nodiscard]] bool hasVolume() const { return found_.volume() != nullptr; }

    /// Whether there is a tree to choose from; otherwise the page says why there is none.
    [[nodiscard]] bool showsTree() const;

    /// True while a recovery reads the volume.
    [[nodiscard]] bool isRecovering() const {
        return recovery_ != nullptr && recovery_->isRunning();
    }

    /// Ends a running recovery in the middle of a file, if need be, and waits for its thread.
    /// Its page is still told how far it came.
    void stopRecovery();

    /// Gives away what it shows, so that more can be added to it. Given that back with `init`, it
    /// shows it as it does now: the same rows open and selected.
    [[nodiscard]] ScannedVolume takeResults();

    /// Offers to search the whole drive, which takes as long as `duration` says; empty: nobody
    /// knows. Nothing: does not offer it. Holds until the next `init` or `cleanup`.
    void offerSearch(const std::optional<QString>& duration);

    /// A dialog of the desktop unless set.
    void setDirectoryChooser(DirectoryChooser chooser);

    /// The program that decodes pictures; the one beside this program unless set.
    void setDecoderProgram(std::wstring path);

public slots:
    /// Takes both over, with the volume's media, and shows the tree. Without a volume, as when a
    /// scan could not start, there is nothing to recover from; see `showFailure`.
    void init(kova::ZVolume* volume, kova::ZFileTree* tree);

    /// Shows why there are no results in the place of the tree, until the next `cleanup` or `init`
    /// with a volume.
    void showFailure(const QString& reason);

    /// Ends what runs and frees what `init` was given. At any time, any number of times.
    void cleanup();

    void recoverSelectedFiles();

signals:
    void showOverlay(QWidget* w);

    /// The whole drive is to be searched.
    void searchRequested();

private slots:
    void customContextMenuRequested(QPoint pos);
    void onItemClicked(QModelIndex index);
    /// Reads the file behind `index`; true when there is something new to show. Otherwise it has
    /// said why, unless nothing was to be done.
    bool prepareForPreview(QModelIndex index);
    /// By the suffix alone.
    PreviewType::T getPreviewType(const QString& fileName);
    void previewFile(PreviewType::T type);
    // These show the file that was read last, whatever its suffix.
    void previewText();
    void previewImage();
    void previewSound();
    void previewError(const QString& message);
    void previewStop();
    /// False while the splitter leaves no room for previews.
    bool isPreviewEnabled();
    /// Fits the picture to its place.
    void onHorSplitterMoved();
    void playerPlay();
    void playerStop();
    void playerSetState(bool playing);
    void playerOnTimer();
    void playerSetPos();

private:
    /// The content of the file behind `index`; throws the message that says why there is none.
    [[nodiscard]] std::vector<kova::uint8> readForPreview(const QModelIndex& index);

    void search();
    void showSum();
    void showState(const QModelIndex& index);
    /// What is selected, less what the user does not mean; without ranges when there is nothing.
    [[nodiscard]] RecoveryList askForSelection();
    [[nodiscard]] bool askAboutPromise(const RecoveryList& list);
    [[nodiscard]] bool askForRoom(const QString& directory, const RecoveryList& list);
    QMessageBox::StandardButton ask(const QString& question, const QString& yes,
                                    const QString& no = {});
    [[nodiscard]] QString drivePrefix() const;
    [[nodiscard]] bool liesOnScannedDrive(const QString& directory) const;
    void notify(const QString& text);

    void showGaps();
    void showThatNothingWasFound();
    void startRecovery(const QString& directory, RecoveryList list);
    void onRecoveryFinished(const RecoveryOutcome& outcome);

    std::unique_ptr<Ui::ResultFrame> ui;
    NameColumnHeader* header_; ///< The tree's, which owns it.
    QAction* recoverAction_;
    QAction* asTextAction_;
    QAction* asSoundAction_;
    QAction* asImageAction_;

    ScannedVolume found_;
    FoundFiles files_;                           ///< In its tree.
    const kova::ZFileTree* takenTree_ = nullptr; ///< What `place_` was taken from; not owned.
    TreePlace place_;

    QString previewName; ///< Of the file that was asked for last.
    QModelIndex lastPreviewedIndex;
    /// Null when the model of that index is gone: another one may have come to its address.
    QPointer<const QAbstractItemModel> lastPreviewedModel_;

    QString lastOutputDir; ///< The last one accepted.
    DirectoryChooser chooseDirectory_;

    std::unique_ptr<RecoveryRun> recovery_; ///< The last one, until another or `cleanup`.
    QPointer<RecoveryWidget> recoveryWidget_;
};
