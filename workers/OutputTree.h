#pragma once

#include "platform/File.h"
#include "platform/Folder.h"
#include "workers/OutputName.h"
#include "workers/OutputStream.h"
#include "workers/RecoveryWorker.h"

#include <memory>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

/// The folders and files being written below the output directory: their names, and what to do
/// where something exists. Stands in one folder at a time, the output directory at first.
///
/// Folders are held open and written to as such, so that nothing leads out of them: not a folder
/// that is moved or replaced by a link in the middle of a run either.
class OutputTree {
public:
    /// Where folders go whose paths would be longer than the system takes.
    static constexpr std::wstring_view kDeepFolders = L"Deep folders";

    /// `directory` without a trailing separator, and the same opened already, or null. It is
    /// created if need be, if it is not open and if `policy` is not `Open`; when that fails, so
    /// will what is written there.
    OutputTree(const std::wstring& directory, std::shared_ptr<platform::Folder> opened,
               RecoveryWorker::ExistingFile policy);

    /// Chooses the path of a node in the current folder.
    void choose(std::wstring_view name, OutputName::Kind kind);

    /// The path chosen; after `enter` and `create` the one that was used.
    [[nodiscard]] const std::wstring& path() const { return path_; }

    /// Makes the chosen path a folder, unless it is one, and enters it. False when that failed;
    /// see `failure`.
    bool enter();

    /// Goes back to the folder that the last `enter` was made from.
    void leave() { levels_.pop_back(); }

    /// Opens the chosen path for writing. False when that failed; see `failure`.
    bool create(OutputStream& stream);

    /// Whether the file created last has another name than chosen because a file that is not of
    /// this run had that one, each such file counted once.
    [[nodiscard]] bool gaveWay() const { return gaveWay_; }

    /// Removes the file that `create` has opened, if it was created then, also in the place of
    /// another one, whose content is gone anyway. The stream has been closed.
    void discard();

    /// Why the last `enter` or `create` failed.
    [[nodiscard]] const platform::Failure& failure() const { return failure_; }

    /// The output directory itself; not open when it could not be opened.
    [[nodiscard]] platform::Folder& top() const { return *levels_.front().folder; }

private:
    struct Level {
        std::shared_ptr<platform::Folder> folder;
        std::wstring path;
    };

    /// How far the numbers of a name have been given.
    struct Numbers {
        unsigned last = 1;    ///< The last number tried.
        unsigned foreign = 0; ///< Names met that files had which this run did not write.
    };

    void setName(const std::wstring& name);

    /// Goes on to the next number for the name chosen; false when there are too many.
    bool takeNextNumber();

    [[nodiscard]] Numbers& numbers();
    [[nodiscard]] bool isForeign() const;

    bool goToDeepFolders();
    bool enterFrom(const platform::Folder& parent, const std::wstring& parentPath, bool mayExist);
    bool openTop();

    bool open(OutputStream& stream, platform::Disposition disposition, platform::Links links);
    bool createNew(OutputStream& stream);
    bool createWithNumber(OutputStream& stream);
    bool replace(OutputStream& stream);

    RecoveryWorker::ExistingFile policy_;
    std::vector<Level> levels_; ///< The folders entered.
    OutputName names_;

    std::wstring chosen_; ///< The name, without a number.
    std::wstring name_;   ///< The same, with the number it has now.
    std::wstring folder_; ///< The path of what it is in.
    std::wstring path_;
    OutputName::Kind kind_ = OutputName::Kind::File;
    /// By path as chosen, so that many equal names do not each try all numbers.
    std::unordered_map<std::wstring, Numbers> numbers_;

    bool created_ = false; ///< The chosen path was created as a file.
    bool gaveWay_ = false;
    /// The files written so far. Not their paths: on some drives different paths name one file.
    std::set<platform::FileIdentity> written_;

    platform::Failure failure_;
};
