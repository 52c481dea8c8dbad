#pragma once

#include "platform/File.h"
#include "workers/OutputName.h"
#include "workers/OutputStream.h"
#include "workers/RecoveryWorker.h"

#include <set>
#include <string>
#include <unordered_map>
#include <vector>

/// The folders and files being written below the output directory: their names, and what to do
/// where something exists. Stands in one folder at a time, the output directory at first.
class OutputTree {
public:
    /// `directory` without a trailing separator. It is created if need be and if `policy` is not
    /// `Open`; when that fails, so will what is written there.
    OutputTree(const std::wstring& directory, RecoveryWorker::ExistingFile policy);

    /// Chooses the path of a node in the current folder.
    void choose(std::wstring_view name, OutputName::Kind kind);

    /// The path chosen; after `enter` and `create` the one that was used.
    [[nodiscard]] const std::wstring& path() const { return path_; }

    /// Makes the chosen path a folder, unless it is one, and enters it. False when that failed;
    /// see `error`.
    bool enter();

    /// Enters the current folder once more.
    void enterSame() { folderEnds_.push_back(folderEnds_.back()); }

    /// Goes back to the folder that the last `enter` was made from.
    void leave() { folderEnds_.pop_back(); }

    /// Opens the chosen path for writing. False when that failed; see `error`.
    bool create(OutputStream& stream);

    /// Removes the file that `create` has opened, if it was created then, also in the place of
    /// another one, whose content is gone anyway. The stream has been closed.
    void discard();

    /// Why the last `enter` or `create` failed.
    [[nodiscard]] platform::Error error() const { return error_; }

    [[nodiscard]] const std::wstring& errorText() const { return errorText_; }

private:
    void setName(std::wstring_view name);

    /// Goes on to the next number for the name chosen; false when there are too many.
    bool takeNextNumber();

    bool createNew(OutputStream& stream);
    bool createWithNumber(OutputStream& stream);
    bool replace(OutputStream& stream);

    RecoveryWorker::ExistingFile policy_;
    OutputName names_;
    std::wstring path_;
    std::vector<std::size_t> folderEnds_; ///< Lengths of `path_` that are the folders entered.

    std::wstring name_; ///< As chosen, without a number.
    OutputName::Kind kind_ = OutputName::Kind::File;
    /// The last number tried for a path as chosen, so that many equal names do not each try all.
    std::unordered_map<std::wstring, unsigned> lastNumbers_;

    bool created_ = false; ///< The chosen path was created as a file.
    /// The files written so far, for `Replace`. Not their paths: on some drives different paths
    /// name one file.
    std::set<platform::FileIdentity> written_;

    platform::Error error_ = platform::Error::None;
    std::wstring errorText_;
};
