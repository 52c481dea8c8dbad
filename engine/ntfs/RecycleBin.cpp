#include "engine/ntfs/RecycleBin.h"

#include "format/LittleEndian.h"
#include "format/WideText.h"

#include <algorithm>

namespace kova {

namespace {

/// Of a "$I" file. Since Windows 10 the path's length comes before it; earlier it has a fixed room.
constexpr std::size_t kVersionOffset = 0; ///< 8 bytes.
constexpr std::size_t kPathOffset1 = 24;
constexpr std::size_t kPathBytes1 = 520;
constexpr std::size_t kLengthOffset2 = 24; ///< 4 bytes: UTF-16 units, the final 0 included.
constexpr std::size_t kPathOffset2 = 28;
constexpr uint64 kFixedPath = 1;
constexpr uint64 kCountedPath = 2;

/// More folders one in the other than Windows lets people make.
constexpr std::size_t kMostParts = 256;

constexpr std::wstring_view kContent = L"$R";
constexpr std::wstring_view kDescription = L"$I";

bool startsWith(std::wstring_view name, std::wstring_view what) {
    return name.size() > what.size() && name.substr(0, what.size()) == what;
}

/// The parts of a path but for the drive; empty when it is none that a file can have had.
std::vector<std::wstring> partsOf(std::wstring_view path) {
    std::vector<std::wstring> parts;
    while (!path.empty()) {
        const std::size_t end = std::min(path.find(L'\\'), path.size());
        const std::wstring_view part = path.substr(0, end);
        path.remove_prefix(std::min(end + 1, path.size()));
        const bool isDrive = parts.empty() && part.size() == 2 && part[1] == L':';
        if (part.empty() || isDrive)
            continue;
        if (part == L"." || part == L".." || parts.size() == kMostParts)
            return {};
        parts.emplace_back(part);
    }
    return parts;
}

} // namespace

std::optional<std::wstring> RecycleBin::originalPath(std::span<const uint8> bytes) {
    if (bytes.size() < kPathOffset2)
        return std::nullopt;
    const auto version = format::loadLe<uint64>(bytes.data() + kVersionOffset);
    std::size_t offset = kPathOffset1;
    std::size_t length = kPathBytes1;
    if (version == kCountedPath) {
        offset = kPathOffset2;
        length = std::size_t{format::loadLe<uint32>(bytes.data() + kLengthOffset2)} * 2;
    } else if (version != kFixedPath) {
        return std::nullopt;
    }
    if (length > bytes.size() - offset)
        return std::nullopt;
    std::wstring path = format::wideFromUtf16Le(bytes.subspan(offset, length));
    path.erase(std::min(path.find(L'\0'), path.size()));
    if (path.empty())
        return std::nullopt;
    return path;
}

bool RecycleBin::isContent(std::wstring_view name) {
    return startsWith(name, kContent);
}

bool RecycleBin::isDescription(std::wstring_view name) {
    return startsWith(name, kDescription);
}

bool RecycleBin::mayDescribe(std::wstring_view name) {
    return name.starts_with(kDescription);
}

std::wstring RecycleBin::restOf(std::wstring_view name) {
    return std::wstring(name.substr(kContent.size()));
}

void RecycleBin::addLiveDescription(const ZFileTreeNode& file) {
    takesLive_ = true;
    descriptions_[{file.parentId, restOf(file.name)}] = file;
}

void RecycleBin::restore(const Read& read) {
    std::vector<const ZFileTreeNode*> contents;
    for (const auto& [id, node] : tree_.allNodes()) {
        if (!node.isDirectory && isDescription(node.name))
            descriptions_.try_emplace({node.parentId, restOf(node.name)}, node);
        else if ((!node.exists || takesLive_) && isContent(node.name))
            contents.push_back(&node);
    }
    std::vector<std::pair<int64, const ZFileTreeNode*>> pairs; // Thrown away, and its description.
    for (const ZFileTreeNode* content : contents) {
        const auto found = descriptions_.find({content->parentId, restOf(content->name)});
        if (found != descriptions_.end())
            pairs.emplace_back(content->id, &found->second);
    }
    for (const auto& [id, description] : pairs) {
        if (const auto path = originalPath(read(*description)))
            move(id, *path);
    }
}

void RecycleBin::move(int64 id, const std::wstring& path) {
    std::vector<std::wstring> parts = partsOf(path);
    if (parts.empty())
        return;
    ZFileTreeNode node = *tree_.find(id);
    node.name = parts.back();
    parts.pop_back();
    node.parentId = folderIn(tree_.rootId, L"Recycle bin");
    for (const std::wstring& part : parts)
        node.parentId = folderIn(node.parentId, part);
    tree_.insert(std::move(node));
}

int64 RecycleBin::folderIn(int64 parentId, const std::wstring& name) {
    const auto [known, isNew] = folders_.try_emplace({parentId, name}, nextId_);
    if (!isNew)
        return known->second;
    ZFileTreeNode folder;
    folder.id = nextId_++;
    folder.parentId = parentId;
    folder.name = name;
    folder.isDirectory = true;
    tree_.insert(std::move(folder));
    return known->second;
}

} // namespace kova
