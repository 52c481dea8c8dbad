#include "workers/OutputTree.h"

namespace {

using platform::Disposition;
using ExistingFile = RecoveryWorker::ExistingFile;

constexpr unsigned kFirstNumber = 2;
/// No drive has so many equal names; one that says that everything exists ends here.
constexpr unsigned kLastNumber = 10'000'000;

bool open(OutputStream& stream, const std::wstring& path, Disposition disposition) {
    return stream.open(path.c_str(), static_cast<kova::uint32>(disposition),
                       platform::kGenericRead | platform::kGenericWrite);
}

std::wstring prepared(const std::wstring& directory, ExistingFile policy) {
    if (policy != ExistingFile::Open)
        platform::makePath(directory);
    return directory;
}

} // namespace

OutputTree::OutputTree(const std::wstring& directory, ExistingFile policy)
    : policy_(policy), names_(platform::nameRules(prepared(directory, policy))),
      path_(directory), folderEnds_{directory.size()} {}

void OutputTree::choose(std::wstring_view name, OutputName::Kind kind) {
    name_ = names_.safe(name, kind);
    kind_ = kind;
    created_ = false;
    setName(name_);
}

void OutputTree::setName(std::wstring_view name) {
    path_.resize(folderEnds_.back());
    path_ += L'/';
    path_ += name;
}

bool OutputTree::takeNextNumber() {
    setName(name_);
    unsigned& last = lastNumbers_.try_emplace(path_, kFirstNumber - 1).first->second;
    if (last >= kLastNumber)
        return false;
    setName(names_.numbered(name_, kind_, ++last));
    return true;
}

bool OutputTree::enter() {
    // A folder in the place of a deleted one is used; a link is not, as it leads elsewhere.
    auto result = platform::makeDirectory(path_, &errorText_, &error_);
    while (policy_ != ExistingFile::Open && result == platform::DirectoryResult::Occupied &&
           takeNextNumber())
        result = platform::makeDirectory(path_, &errorText_, &error_);
    bool made = result == platform::DirectoryResult::Created ||
                result == platform::DirectoryResult::Existed;
    // Folders above that are missing, and links, are in order if what exists is to be opened.
    if (!made && policy_ == ExistingFile::Open)
        made = platform::makePath(path_, &errorText_, &error_);
    if (made)
        folderEnds_.push_back(path_.size());
    return made;
}

bool OutputTree::create(OutputStream& stream) {
    bool opened = false;
    switch (policy_) {
    case ExistingFile::Open:
        // Opens what exists and creates what does not. Both in one call would not tell which, and
        // only what was created may be discarded.
        opened = createNew(stream);
        if (!opened)
            opened = open(stream, path_, Disposition::OpenAlways);
        break;
    case ExistingFile::KeepBoth:
    case ExistingFile::Replace:
        opened = createWithNumber(stream);
        break;
    }
    if (!opened) {
        error_ = stream.file().error();
        errorText_ = stream.file().errorText();
    }
    return opened;
}

bool OutputTree::createNew(OutputStream& stream) {
    created_ = open(stream, path_, Disposition::CreateNew);
    return created_;
}

bool OutputTree::createWithNumber(OutputStream& stream) {
    if (!lastNumbers_.empty() && lastNumbers_.contains(path_))
        takeNextNumber();
    while (!createNew(stream)) {
        if (stream.file().error() != platform::Error::Exists)
            return false;
        if (policy_ == ExistingFile::Replace && replace(stream))
            break;
        if (!takeNextNumber())
            return false;
    }
    platform::FileIdentity identity;
    if (policy_ == ExistingFile::Replace && stream.file().identity(identity))
        written_.insert(identity);
    return true;
}

/// Takes the place of a file that exists. It is removed rather than emptied: its other names, if
/// it has several, and the target of a link keep their content. False when it is no file, must
/// not be written, or was written by this run.
bool OutputTree::replace(OutputStream& stream) {
    platform::FileIdentity identity;
    if (!open(stream, path_, Disposition::OpenExisting) || !stream.file().identity(identity) ||
        written_.contains(identity))
        return false;
    stream.file().close();
    return platform::removeFile(path_) && createNew(stream);
}

void OutputTree::discard() {
    if (created_)
        platform::removeFile(path_);
}
