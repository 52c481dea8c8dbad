#pragma once

#include "format/FileIdentity.h"
#include "platform/Failure.h"
#include "platform/SystemHandle.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace platform {

/// What a name in a folder may lead through.
enum class Links {
    Refuse, ///< What is a link is no folder and no file, and a mount point is no folder.
    Follow,
};

/// One open folder. What is made, opened and removed in it goes by the folder itself, whatever
/// becomes of its path meanwhile. Closed when destroyed. Used by one thread at a time.
///
/// A `name` is one component: empty, "." and "..", and what holds a separator or a zero character,
/// is refused.
class Folder {
public:
    /// What `enter` found or did.
    enum class Entered {
        Created,
        Existed,
        Occupied, ///< Something else is there: a file, a link, a device, a mount point.
        Failed,
    };

    /// Opens an existing folder by its path, through links. False on failure.
    bool open(const std::wstring& path);

    /// Opens the folder `name` in `parent`, which is created if nothing is there. A folder that is
    /// created belongs to the user who has asked for it, if this process has administrator
    /// rights.
    Entered enter(const Folder& parent, const std::wstring& name, Links links = Links::Refuse);

    [[nodiscard]] bool isOpen() const { return handle_.isOpen(); }

    /// Removes the file, or the link, with this name. True when it is gone.
    bool remove(const std::wstring& name);

    /// What `rename` does with what has the new name already.
    enum class Taken {
        Keep, ///< `rename` fails, with `Error::Exists`.
        Replace,
    };

    /// Gives the file `from`, which is not open, the name `to`. False on failure.
    bool rename(const std::wstring& from, const std::wstring& to, Taken taken);

    /// What a name stands for; a link for itself.
    struct Entry {
        format::FileIdentity identity;
        bool isFolder = false;
        bool isPlainFile = false; ///< A regular file that no other name leads to.
    };

    /// Nothing when nothing is there, or it cannot be looked at.
    [[nodiscard]] std::optional<Entry> find(const std::wstring& name) const;

    /// Bytes that this process may still write to the file system of the folder; nothing when that
    /// is not told.
    [[nodiscard]] std::optional<std::uint64_t> freeSpace() const;

    /// Waits until all that was written to the file system of the folder has arrived on its drive.
    /// False when some of what was written since the folder was opened has not, and will not. A
    /// file system that cannot be asked counts as one that has written all. So it is with what it
    /// passes on to others, in a folder that was opened by its path.
    bool sync();

    /// Why the last `open`, `enter`, `remove`, `rename` or `sync` failed.
    [[nodiscard]] const Failure& failure() const { return failure_; }

    [[nodiscard]] const SystemHandle& handle() const { return handle_; }

private:
    /// Keeps the system's last error; false for the caller to pass on.
    bool failed();

    SystemHandle handle_;
    /// Folders on the file systems that this one's is a view of, and passes on to what is written.
    std::vector<SystemHandle> behind_;
    Failure failure_;
};

} // namespace platform
