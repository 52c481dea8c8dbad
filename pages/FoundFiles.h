#pragma once

#include "engine/ZTreeListing.h"
#include "model/FileSums.h"
#include "model/NamePattern.h"
#include "model/NarrowedModel.h"

#include <QItemSelection>
#include <QObject>
#include <QTreeView>

#include <memory>
#include <optional>
#include <vector>

/// What a view shows of a scanned tree: all of it, or what a search has found in it. Keeps what is
/// selected, and which folders are open, from one search to the next and to the end of searching.
///
/// A row that a search hides stays selected, and is told apart.
class FoundFiles : public QObject {
    Q_OBJECT

public:
    /// `view` is given models and outlives this.
    explicit FoundFiles(QTreeView& view);
    FoundFiles(const FoundFiles&) = delete;
    FoundFiles& operator=(const FoundFiles&) = delete;
    ~FoundFiles() override;

    /// Completes a tree and shows all of it. It does not change until `clear`.
    void show(kova::ZFileTree& tree);

    /// Leaves the view without a model.
    void clear();

    /// Shows the rows whose names match, with the folders above them; all for an empty text.
    /// Returns how many names match.
    kova::int64 search(const QString& text);

    [[nodiscard]] bool isSearching() const { return narrowed_ != nullptr; }

    /// Of the tree; null without one.
    [[nodiscard]] const kova::ZTreeListing* listing() const { return listing_.get(); }

    /// The rows that are selected, shown or not, with all below them. Empty without a tree.
    [[nodiscard]] std::vector<kova::ZTreeListing::Range> selected() const;

    /// Which entries a search hides, by index; empty when it hides none.
    [[nodiscard]] std::vector<bool> hidden() const;

    /// What ranges come to, and what of it is shown, be its folder open or not.
    [[nodiscard]] FileSum sumOf(const std::vector<kova::ZTreeListing::Range>& ranges) const;
    [[nodiscard]] FileSum shownSumOf(const std::vector<kova::ZTreeListing::Range>& ranges) const;

signals:
    void selectionChanged();

private:
    using Range = kova::ZTreeListing::Range;

    void setModel(FileModel& model);
    [[nodiscard]] const FileModel& model() const;

    void startSearch();
    void endSearch();
    kova::int64 mark(const NamePattern& pattern);
    void keepOpenFolders();
    void keepSelection();
    void restoreSelection();

    [[nodiscard]] std::size_t entryOf(const QModelIndex& index) const;
    [[nodiscard]] QItemSelection selectedRows() const;
    template <typename Visit>
    void forEachSelectedRow(Visit visit) const;

    QTreeView& view_;
    kova::ZFileTree* tree_ = nullptr;
    std::unique_ptr<kova::ZTreeListing> listing_;
    FileSums sums_;
    std::unique_ptr<FileModel> all_;

    // During a search:
    std::unique_ptr<NarrowedModel> narrowed_; ///< Null outside of one.
    std::vector<bool> shown_;                 ///< By entry.
    std::optional<NamePattern> pattern_;      ///< What they match.
    std::vector<bool> kept_;     ///< Rows that were selected, by entry; empty when none was.
    mutable FileSums shownSums_; ///< Of what is shown; made when it is first asked for.

    // To go back to at its end:
    std::vector<std::size_t> open_; ///< Entries of folders.
    std::size_t current_ = kova::ZTreeListing::kNone;
    int scrolledTo_ = 0;
};
