#pragma once

#include "workers/ScannedVolume.h"

#include <QSet>
#include <QString>
#include <QWidget>

#include <memory>
#include <optional>

namespace Ui {
class ScanFrame;
}

class ScanSession;
class SearchRun;

namespace kova {
class ZFileTree;
class ZVolume;
} // namespace kova

/// The page that scans a drive, or searches all of it, and shows how far it is.
///
/// The scan runs inside `startScan`, on the GUI thread; events are processed all along, so `stop`
/// can be called and the window answers. So can they while `search` waits for the search, which has
/// a thread of its own.
class ScanFrame : public QWidget {
    Q_OBJECT

public:
    explicit ScanFrame(QWidget* parent = nullptr);
    ScanFrame(const ScanFrame&) = delete;
    ScanFrame& operator=(const ScanFrame&) = delete;
    ~ScanFrame() override;

    /// Why the last scan could not start, in words for people; empty when it could. Holds when
    /// `finished` is emitted; a damaged drive has a reason and a volume.
    [[nodiscard]] QString failureReason() const { return reason_; }

    /// What a search of the drive that was scanned last would take: "about 40 minutes". Holds when
    /// `finished` is emitted. Nothing when there is nothing to search, or it has been searched;
    /// empty when it cannot be told.
    [[nodiscard]] const std::optional<QString>& searchDuration() const { return searchDuration_; }

    /// Whether a scan or a search runs.
    [[nodiscard]] bool isRunning() const { return isRunning_; }

    [[nodiscard]] bool isSearching() const { return search_ != nullptr; }

    /// Whether it waits to be told to search a drive that could not be scanned.
    [[nodiscard]] bool offersSearch() const { return session_ != nullptr && !isRunning_; }

    /// Searches the whole drive that was scanned, and adds to what was found; returns after
    /// `finished`. Only while nothing runs, with a volume.
    void search(ScannedVolume found);

    /// Lets a drive go whose search was offered.
    void dropOffer();

public slots:
    /// Scans the drive with this letter; returns after `finished`, or after `searchOffered`.
    /// Ignored while a scan runs.
    void startScan(char volumeLetter);

    /// Ends what runs at once. It still emits `finished`.
    void stop();

    /// What the next scans keep: see `ExtensionFilter`. Both sets empty: everything.
    void installFilter(QSet<QString> allowedSuffixes, QSet<QString> deniedSuffixes);

    /// Shows a progress of 0 to 1.
    void progressChanged(double value);

    void statusChanged(const QString& newStatus);

signals:
    /// Once at the end of every scan, whatever came of it. Whoever receives it owns the tree, the
    /// volume and the volume's media. The volume is null when there is none to read from.
    void finished(kova::ZVolume* volume, kova::ZFileTree* tree);

    /// Instead, when the drive holds no file system that can be used: the page says why, and has a
    /// button that searches it as it is.
    void searchOffered();

    /// A search has begun.
    void searchBegun();

private slots:
    void incrementProgress();

private:
    void handOver();
    void offerSearch();
    void runSearch();
    void showSearch(const SearchRun& run);

    std::unique_ptr<Ui::ScanFrame> ui;
    bool stopRequested = false;
    QSet<QString> allowed;
    QSet<QString> denied;
    bool isRunning_ = false;
    QString reason_;
    std::optional<QString> searchDuration_;
    std::unique_ptr<ScanSession> session_; ///< While it scans or searches, or a search is offered.
    SearchRun* search_ = nullptr;          ///< While it runs.
};
