#include "workers/OutputTree.h"

#include <utility>

namespace {

using platform::Disposition;
using platform::Folder;
using platform::Links;
using ExistingFile = RecoveryWorker::ExistingFile;

/// No drive has so many equal names; one that says that everything exists ends here.
constexpr unsigned kLastNumber = 10'000'000;

/// The folder `directory`, open if that can be.
std::shared_ptr<Folder> opened(const std::wstring& directory, ExistingFile policy) {
    if (policy != ExistingFile::Open)
        static_cast<void>(platform::makePath(directory));
    auto folder = std::make_shared<Folder>();
    folder->open(directory);
    return folder;
}

} // namespace

OutputTree::OutputTree(const std::wstring& directory, std::shared_ptr<Folder> folder,
                       ExistingFile policy)
    : policy_(policy), levels_{{folder ? std::move(folder) : opened(directory, policy), directory}},
      names_(platform::nameRules(directory)) {}

void OutputTree::choose(std::wstring_view name, OutputName::Kind kind) {
    chosen_ = names_.safe(name, kind);
    kind_ = kind;
    created_ = false;
    gaveWay_ = false;
    folder_ = levels_.back().path;
    setName(chosen_);
}

void OutputTree::setName(const std::wstring& name) {
    name_ = name;
    path_ = folder_ + L'/' + name;
}

OutputTree::Numbers& OutputTree::numbers() {
    return numbers_[folder_ + L'/' + chosen_];
}

bool OutputTree::takeNextNumber() {
    Numbers& given = numbers();
    if (given.last >= kLastNumber)
        return false;
    setName(names_.numbered(chosen_, kind_, ++given.last));
    return true;
}

/// Whether a file stands at the chosen path that this run has not written.
bool OutputTree::isForeign() const {
    const auto entry = levels_.back().folder->find(name_);
    return entry && !entry->isFolder && !written_.contains(entry->identity);
}

bool OutputTree::openTop() {
    if (top().isOpen() || top().open(levels_.front().path))
        return true;
    failure_ = top().failure();
    return false;
}

bool OutputTree::enter() {
    if (policy_ == ExistingFile::Open) {
        const Level& level = levels_.back();
        if (level.folder->isOpen() && enterFrom(*level.folder, level.path, true))
            return true;
        // Folders above that are missing are made, too.
        failure_ = platform::makePath(path_);
        auto folder = std::make_shared<Folder>();
        if (failure_ || !folder->open(path_))
            return false;
        levels_.push_back({std::move(folder), path_});
        return true;
    }
    if (!openTop())
        return false;
    if (!platform::leavesRoomForNames(path_))
        return goToDeepFolders();
    const Level level = levels_.back();
    return enterFrom(*level.folder, level.path, true);
}

/// Enters the chosen folder in a place where its path is short. It does not join one that is there:
/// others of its name come from elsewhere.
bool OutputTree::goToDeepFolders() {
    Folder deep;
    const std::wstring name(kDeepFolders);
    const Folder::Entered entered = deep.enter(top(), name);
    if (entered != Folder::Entered::Created && entered != Folder::Entered::Existed) {
        failure_ = deep.failure();
        return false;
    }
    folder_ = levels_.front().path + L'/' + name;
    setName(chosen_);
    return enterFrom(deep, folder_, false);
}

bool OutputTree::enterFrom(const Folder& parent, const std::wstring& parentPath, bool mayExist) {
    // A folder in the place of a deleted one is used; a link is not, as it leads elsewhere.
    const Links links = policy_ == ExistingFile::Open ? Links::Follow : Links::Refuse;
    folder_ = parentPath;
    auto folder = std::make_shared<Folder>();
    Folder::Entered entered = folder->enter(parent, name_, links);
    const auto isTaken = [&] {
        return entered == Folder::Entered::Occupied ||
               (entered == Folder::Entered::Existed && !mayExist);
    };
    while (policy_ != ExistingFile::Open && isTaken() && takeNextNumber())
        entered = folder->enter(parent, name_, links);
    if (isTaken() || entered == Folder::Entered::Failed) {
        failure_ = folder->failure();
        return false;
    }
    levels_.push_back({std::move(folder), path_});
    return true;
}

bool OutputTree::create(OutputStream& stream) {
    if (!openTop())
        return false;
    bool opened = false;
    switch (policy_) {
    case ExistingFile::Open:
        // Opens what exists and creates what does not. Both in one call would not tell which, and
        // only what was created may be discarded.
        opened = createNew(stream) || open(stream, Disposition::OpenAlways, Links::Follow);
        break;
    case ExistingFile::KeepBoth:
    case ExistingFile::Replace:
        opened = createWithNumber(stream);
        break;
    }
    if (!opened)
        failure_ = stream.file().failure();
    return opened;
}

bool OutputTree::open(OutputStream& stream, Disposition disposition, Links links) {
    return stream.open(*levels_.back().folder, name_, static_cast<kova::uint32>(disposition),
                       platform::kGenericRead | platform::kGenericWrite, links);
}

bool OutputTree::createNew(OutputStream& stream) {
    created_ = open(stream, Disposition::CreateNew, Links::Refuse);
    return created_;
}

bool OutputTree::createWithNumber(OutputStream& stream) {
    if (!numbers_.empty() && numbers_.contains(path_))
        takeNextNumber();
    while (!createNew(stream)) {
        if (stream.file().failure().kind != platform::Error::Exists)
            return false;
        if (policy_ == ExistingFile::Replace && replace(stream))
            break;
        numbers().foreign += isForeign() ? 1U : 0U;
        if (!takeNextNumber())
            return false;
    }
    if (name_ != chosen_ && numbers().foreign > 0) {
        gaveWay_ = true;
        --numbers().foreign;
    }
    platform::FileIdentity identity;
    if (stream.file().identity(identity))
        written_.insert(identity);
    return true;
}

/// Takes the place of a file that exists. It is removed rather than emptied, so that who reads it
/// keeps what there was. False when it is anything but a file with this one name, must not be
/// written, or was written by this run.
bool OutputTree::replace(OutputStream& stream) {
    const auto entry = levels_.back().folder->find(name_);
    // Opening a pipe or a device may do something to it.
    if (!entry || !entry->isPlainFile || written_.contains(entry->identity) ||
        !open(stream, Disposition::OpenExisting, Links::Refuse))
        return false;
    stream.file().close();
    return levels_.back().folder->remove(name_) && createNew(stream);
}

void OutputTree::discard() {
    if (!created_)
        return;
    if (const auto entry = levels_.back().folder->find(name_))
        written_.erase(entry->identity);
    levels_.back().folder->remove(name_);
    created_ = false;
}
