#pragma once

#include "engine/ZFileTree.h"

#include <functional>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kova {

/// Gives what was deleted from Windows' recycle bin its name and folder back. There every file and
/// folder is called "$R" and six characters, and a small file beside it, "$I" and the same, says
/// what it was.
class RecycleBin {
public:
    /// Bytes of a found file, empty when they cannot be read; no more than `kMostBytes` are of use.
    using Read = std::function<std::vector<uint8>(const ZFileTreeNode& file)>;

    /// As much as a "$I" file can be long.
    static constexpr std::size_t kMostBytes = 28 + 2 * std::size_t{32768};

    /// `firstFolder` is the id of the first folder that it makes; those after it are free, too.
    RecycleBin(ZFileTree& tree, int64 firstFolder) : tree_(tree), nextId_(firstFolder) {}

    /// Takes note of a live "$I", which is not in the tree. The live "$R" that are there count,
    /// too, from then on.
    void addLiveDescription(const ZFileTreeNode& file);

    /// Moves every deleted "$R" that has a "$I" beside it below "Recycle bin" in the root, into the
    /// folders that it lay in, under the name it had.
    void restore(const Read& read);

    /// The full path, such as "C:\\Users\\me\\photo.jpg", that the bytes of a "$I" file tell.
    [[nodiscard]] static std::optional<std::wstring> originalPath(std::span<const uint8> bytes);

    [[nodiscard]] static bool isContent(std::wstring_view name);     ///< "$R" and more.
    [[nodiscard]] static bool isDescription(std::wstring_view name); ///< "$I" and more.

    /// Whether a file of this name, or a stream of it, may be a description.
    [[nodiscard]] static bool mayDescribe(std::wstring_view name);

    /// What the names of a pair have in common.
    [[nodiscard]] static std::wstring restOf(std::wstring_view name);

private:
    void move(int64 id, const std::wstring& path);
    int64 folderIn(int64 parentId, const std::wstring& name);

    ZFileTree& tree_;
    int64 nextId_;
    bool takesLive_ = false;
    /// By folder, and what the names of a pair have in common.
    std::map<std::pair<int64, std::wstring>, ZFileTreeNode> descriptions_;
    std::map<std::pair<int64, std::wstring>, int64> folders_; ///< That it has made.
};

} // namespace kova
