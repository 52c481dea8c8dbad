#include "pages/FoundFiles.h"

#include <QScrollBar>

#include <unordered_map>
#include <utility>

using kova::int64;
using kova::ZTreeListing;

namespace {

/// So many rows are all laid open at once; of more, people look at the first level.
constexpr std::size_t kMostLaidOpen = 20'000;

/// Gathers rows of a model into as few selection ranges as there can be.
class RowRuns {
public:
    explicit RowRuns(const QAbstractItemModel& model) : model_(model) {}

    /// Rows of one folder come in ascending order.
    void add(std::size_t folder, const QModelIndex& index) {
        const auto [run, isNew] = runs_.try_emplace(folder, Run{index, index});
        if (isNew)
            return;
        if (index.row() != run->second.last.row() + 1) {
            end(run->second);
            run->second.first = index;
        }
        run->second.last = index;
    }

    [[nodiscard]] QItemSelection take() {
        for (const auto& [folder, run] : runs_)
            end(run);
        return std::move(selection_);
    }

private:
    struct Run {
        QModelIndex first;
        QModelIndex last;
    };

    void end(const Run& run) {
        selection_.append(
            QItemSelectionRange(run.first, run.last.siblingAtColumn(model_.columnCount() - 1)));
    }

    const QAbstractItemModel& model_;
    std::unordered_map<std::size_t, Run> runs_;
    QItemSelection selection_;
};

} // namespace

FoundFiles::FoundFiles(QTreeView& view) : view_(view) {}

FoundFiles::~FoundFiles() = default;

void FoundFiles::show(kova::ZFileTree& tree) {
    clear();
    tree_ = &tree;
    listing_ = kova::listCompleted(tree);
    // The view is painted while a recovery reads the tree in another thread.
    tree.settle();
    sums_ = FileSums(*listing_);
    all_ = std::make_unique<FileModel>(&tree);
    setModel(*all_);
}

void FoundFiles::clear() {
    view_.setModel(nullptr);
    narrowed_.reset();
    all_.reset();
    listing_.reset();
    tree_ = nullptr;
    shown_ = {};
    kept_ = {};
    open_ = {};
    pattern_.reset();
    sums_ = {};
    shownSums_ = {};
    emit selectionChanged();
}

void FoundFiles::setModel(FileModel& model) {
    const QItemSelectionModel* before = view_.selectionModel();
    view_.setModel(&model);
    delete before; // The view has let go of it, but would keep it as long as its model.
    connect(view_.selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &FoundFiles::selectionChanged);
}

const FileModel& FoundFiles::model() const {
    if (narrowed_ != nullptr)
        return *narrowed_;
    return *all_;
}

int64 FoundFiles::search(const QString& text) {
    const NamePattern pattern(text);
    if (listing_ == nullptr || (pattern.isEmpty() && !isSearching()))
        return 0;
    keepSelection();
    int64 matches = 0;
    if (pattern.isEmpty()) {
        endSearch();
    } else {
        if (!isSearching())
            startSearch();
        matches = mark(pattern);
        narrowed_->show(shown_);
        if (narrowed_->shownCount() <= kMostLaidOpen)
            view_.expandAll();
    }
    restoreSelection();
    return matches;
}

void FoundFiles::startSearch() {
    keepOpenFolders();
    current_ = entryOf(view_.currentIndex());
    scrolledTo_ = view_.verticalScrollBar()->value();
    narrowed_ = std::make_unique<NarrowedModel>(tree_, *listing_);
    setModel(*narrowed_);
}

/// Shows all again as it was, and what has become the current row meanwhile in its place.
void FoundFiles::endSearch() {
    const std::size_t found = entryOf(view_.currentIndex());
    setModel(*all_);
    narrowed_.reset();
    pattern_.reset();
    const auto rowOf = [this](std::size_t entry) {
        return all_->indexOf(*listing_->entries()[entry].node);
    };
    for (const std::size_t folder : std::exchange(open_, {}))
        view_.expand(rowOf(folder));
    view_.doItemsLayout();
    view_.verticalScrollBar()->setValue(scrolledTo_);
    const std::size_t current = found == ZTreeListing::kNone ? current_ : found;
    if (current != ZTreeListing::kNone)
        view_.selectionModel()->setCurrentIndex(rowOf(current), QItemSelectionModel::NoUpdate);
    if (found != ZTreeListing::kNone)
        view_.scrollTo(rowOf(found));
}

/// Marks what matches to be shown, and the folders above. Returns how many match.
int64 FoundFiles::mark(const NamePattern& pattern) {
    const auto& entries = listing_->entries();
    // Who types on narrows down: then only what is shown has to be looked at.
    std::vector<bool> before(entries.size());
    before.swap(shown_);
    const bool isNarrower = pattern_ && pattern.narrows(*pattern_);
    pattern_.emplace(pattern);
    shownSums_ = {};
    int64 matches = 0;
    for (std::size_t i = 0; i < entries.size(); ++i) {
        if ((isNarrower && !before[i]) || !pattern.matches(entries[i].node->name))
            continue;
        ++matches;
        for (std::size_t at = i; at != ZTreeListing::kNone && !shown_[at]; at = entries[at].parent)
            shown_[at] = true;
    }
    return matches;
}

void FoundFiles::keepOpenFolders() {
    const auto& entries = listing_->entries();
    for (std::size_t i = 0; i < entries.size();) {
        const bool isOpen =
            entries[i].node->isDirectory && view_.isExpanded(all_->indexOf(*entries[i].node));
        if (isOpen)
            open_.push_back(i);
        i = isOpen ? i + 1 : entries[i].end;
    }
}

/// Takes over what is selected among the rows shown; what is not shown stays as it is.
void FoundFiles::keepSelection() {
    if (!isSearching())
        kept_.clear();
    for (std::size_t i = 0; i < kept_.size(); ++i)
        kept_[i] = kept_[i] && !shown_[i];
    if (kept_.empty() && view_.selectionModel()->hasSelection())
        kept_.resize(listing_->entries().size());
    forEachSelectedRow([this](std::size_t entry) { kept_[entry] = true; });
}

void FoundFiles::restoreSelection() {
    RowRuns runs(model());
    for (std::size_t i = 0; i < kept_.size(); ++i) {
        const ZTreeListing::Entry& entry = listing_->entries()[i];
        if (kept_[i] && (!isSearching() || shown_[i]))
            runs.add(entry.parent, model().indexOf(*entry.node));
    }
    view_.selectionModel()->select(runs.take(), QItemSelectionModel::ClearAndSelect);
    emit selectionChanged();
}

std::size_t FoundFiles::entryOf(const QModelIndex& index) const {
    return index.isValid() ? listing_->indexOf(model().nodeFromIndex(index)->id)
                           : ZTreeListing::kNone;
}

/// Rows that are selected as a whole, in ranges: asking the selection for its rows looks at each
/// one again and again, for seconds when there are a million.
QItemSelection FoundFiles::selectedRows() const {
    const QItemSelectionModel& selection = *view_.selectionModel();
    const int columns = model().columnCount();
    QItemSelection rows;
    bool onlyWholeRows = true;
    for (const QItemSelectionRange& range : selection.selection()) {
        if (range.width() == columns)
            rows.append(range);
        else
            onlyWholeRows = false;
    }
    if (!onlyWholeRows) {
        for (const QModelIndex& row : selection.selectedRows(0))
            rows.append(QItemSelectionRange(row, row.siblingAtColumn(columns - 1)));
    }
    return rows;
}

template <typename Visit>
void FoundFiles::forEachSelectedRow(Visit visit) const {
    for (const QItemSelectionRange& range : selectedRows()) {
        const QModelIndex folder = range.parent();
        for (int row = range.top(); row <= range.bottom(); ++row)
            visit(entryOf(model().index(row, 0, folder)));
    }
}

std::vector<ZTreeListing::Range> FoundFiles::selected() const {
    std::vector<Range> ranges;
    if (listing_ == nullptr)
        return ranges;
    if (isSearching()) {
        for (std::size_t i = 0; i < kept_.size(); ++i) {
            if (kept_[i] && !shown_[i])
                ranges.push_back(listing_->rangeOf(i));
        }
        forEachSelectedRow([&](std::size_t entry) { ranges.push_back(listing_->rangeOf(entry)); });
    } else {
        // Siblings follow each other in the listing too, so that not each has to be looked at.
        for (const QItemSelectionRange& range : selectedRows())
            ranges.push_back(
                {entryOf(range.topLeft()), listing_->rangeOf(entryOf(range.bottomRight())).end});
    }
    return kova::united(std::move(ranges));
}

std::vector<bool> FoundFiles::hidden() const {
    std::vector<bool> hidden;
    if (isSearching()) {
        hidden = shown_;
        hidden.flip();
    }
    return hidden;
}

FileSum FoundFiles::sumOf(const std::vector<Range>& ranges) const {
    return sums_.in(ranges);
}

FileSum FoundFiles::shownSumOf(const std::vector<Range>& ranges) const {
    if (!isSearching())
        return sums_.in(ranges);
    if (shownSums_.isEmpty())
        shownSums_ = FileSums(*listing_, shown_);
    return shownSums_.in(ranges);
}
